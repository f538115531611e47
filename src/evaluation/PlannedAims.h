#pragma once

#include "evaluation/WriteRule.h"
#include "model/fields/ChangeList.h"
#include "model/scenegraph/Transform3D.h"

#include <utility>
#include <vector>

/// Announces containers of which nothing hears: all that is left of `announce` is the change list, in which they are
/// found by where they stood. Nothing of the host's may run while one is used.
class PlainAnnouncing {
 public:
  PlainAnnouncing() : _list(osg::WinThreadBase::getCurrentChangeList()) {
    if (_list != nullptr && _list->getEntries().empty()) _ownEntries = 0;
  }

  /// Announces a living container. `entry` is where it stood last, or any number, and becomes where it stands now.
  void tell(osg::FieldContainerPtr const& container, osg::BitVector const& mask, osg::UInt32& entry) {
    if (_list == nullptr) return;
    auto const& entries = _list->getEntries();
    std::size_t const count = entries.size();
    if (entry < count && entries[entry].container == container) {
      _list->addChangedAt(entry, mask);
      return;
    }
    // In a list that began empty, each container stands where it was put.
    if (count == _ownEntries) {
      ++_ownEntries;
      _list->addNew(container, mask);
    } else {
      _list->addChanged(container, mask);
    }
    if (entries.size() > count) entry = static_cast<osg::UInt32>(count);
  }

 private:
  osg::ChangeList* _list;
  std::size_t _ownEntries = ~std::size_t{0};  ///< all that the list has, when it began empty
};

/// The containers that values at known places go to, each once, and what is written there.
class PlannedAims {
 public:
  osg::UInt32 add(osg::FieldContainerPtr const& container) {
    _aims.push_back(
        {container, {}, container.getContainerId(), 0, container.findType() == &osg::Transform3DBase::_type});
    return static_cast<osg::UInt32>(_aims.size() - 1);
  }
  osg::FieldContainerPtr const& operator[](osg::UInt32 aim) const { return _aims[aim].container; }
  osg::UInt32 size() const { return static_cast<osg::UInt32>(_aims.size()); }

  /// Plain fields are marked; turned transforms, of which nothing hears, are announced at once.
  [[gnu::always_inline]] void store(osg::UInt32 aim, WriteRule const& rule, float* place, float value,
                                    PlainAnnouncing& announcing) {
    if (*place == value) return;
    *place = value;
    Aim& written = _aims[aim];
    if (rule.kind == WriteRule::Kind::Field) {
      if (written.marks.none()) {
        _marked.push_back(aim);
        _arePlain = _arePlain && written.isPlain;
      }
      written.marks |= rule.mask;
    } else {
      announcing.tell(written.container, rule.mask, written.entry);
    }
  }
  /// Whether all containers with marks are plain.
  bool arePlain() const { return _arePlain; }
  /// Announces those with marks, in the order of their first marks; all must be plain.
  void announceMarks(PlainAnnouncing& announcing) {
    for (osg::UInt32 const aim : _marked)
      announcing.tell(_aims[aim].container, _aims[aim].marks, _aims[aim].entry);
  }
  /// Passes the marks on, in that order: `mark(container, its id, fields)`. None are left.
  template <class Mark>
  void moveMarks(Mark mark) {
    for (osg::UInt32 const aim : _marked)
      mark(_aims[aim].container, _aims[aim].id, std::exchange(_aims[aim].marks, {}));
    _marked.clear();
    _arePlain = true;
  }

 private:
  struct Aim {
    osg::FieldContainerPtr container;
    osg::BitVector marks;  ///< fields that were written
    osg::UInt32 id;
    osg::UInt32 entry;  ///< where it stood in the change list
    bool isPlain;       ///< nothing hears of what is announced of it
  };
  std::vector<Aim> _aims;
  std::vector<osg::UInt32> _marked;  ///< in the order of their first marks
  bool _arePlain = true;             ///< all that are marked
};
