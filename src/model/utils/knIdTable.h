#pragma once

#include "model/utils/BaseTypes.h"

#include <algorithm>
#include <utility>
#include <vector>

/// A table from container ids to small values, made to be filled and emptied once a frame: entries stand in one
/// array in order of insertion, and emptying keeps the memory. Linear probing; ids that follow each other, as those
/// of objects made together do, stand side by side in it.
template <class Value>
class knIdTable {
 public:
  /// One entry.
  struct Entry {
    /// An id and what is kept for it.
    osg::UInt32 id;
    Value value;
  };

  /// The entries in order of insertion, and how many.
  std::vector<Entry> const& entries() const { return _entries; }
  bool empty() const { return _entries.empty(); }
  std::size_t size() const { return _entries.size(); }

  /// The value of an id, null when absent. Valid until the next insertion.
  Value* find(osg::UInt32 id) {
    if (_entries.empty()) return nullptr;
    osg::UInt32 const place = _slots[findSlot(id)];
    return place != 0 ? &_entries[place - 1].value : nullptr;
  }

  /// The value of an id and whether it was inserted now; an id that is there keeps its value.
  std::pair<Value&, bool> insert(osg::UInt32 id, Value const& value) {
    if ((_entries.size() + 1) * 2 > _slots.size()) rebuild(std::max<std::size_t>(16, _slots.size() * 2));
    std::size_t slot = findSlot(id);
    if (_slots[slot] != 0) return {_entries[_slots[slot] - 1].value, false};
    if (isCrowded(id, slot)) {
      _spread = true;
      rebuild(_slots.size());
      slot = findSlot(id);
    }
    _entries.push_back({id, value});
    _slots[slot] = static_cast<osg::UInt32>(_entries.size());
    return {_entries.back().value, true};
  }

  /// Removes all entries and keeps the memory.
  void clear() {
    if (_entries.size() < _slots.size() / 16) {
      // From the last to the first: a chain of probes then ends at its own entry, never at a hole.
      for (std::size_t i = _entries.size(); i-- > 0;) _slots[findSlot(_entries[i].id)] = 0;
    } else {
      std::fill(_slots.begin(), _slots.end(), 0U);
    }
    _entries.clear();
  }
  /// Removes all entries with their memory.
  void freeMemory() {
    _entries = std::vector<Entry>();
    _slots = std::vector<osg::UInt32>();
  }

 private:
  /// Ids that follow each other stand side by side. Where that makes crowds, they are spread from then on.
  std::size_t firstSlot(osg::UInt32 id) const {
    if (_spread) id = (id * 0x9E3779B1U) ^ ((id * 0x9E3779B1U) >> 15);
    return id & (_slots.size() - 1);
  }
  std::size_t nextSlot(std::size_t slot) const { return (slot + 1) & (_slots.size() - 1); }

  /// The slot of an id, or the empty one where it would stand.
  std::size_t findSlot(osg::UInt32 id) const {
    std::size_t slot = firstSlot(id);
    while (_slots[slot] != 0 && _entries[_slots[slot] - 1].id != id) slot = nextSlot(slot);
    return slot;
  }

  bool isCrowded(osg::UInt32 id, std::size_t slot) const {
    return !_spread && ((slot - firstSlot(id)) & (_slots.size() - 1)) > Crowd;
  }

  void rebuild(std::size_t slotCount) {
    _slots.assign(slotCount, 0U);
    for (std::size_t i = 0; i < _entries.size(); ++i) {
      std::size_t slot = firstSlot(_entries[i].id);
      while (_slots[slot] != 0) slot = nextSlot(slot);
      _slots[slot] = static_cast<osg::UInt32>(i + 1);
    }
  }

  static constexpr std::size_t Crowd = 32;

  std::vector<Entry> _entries;
  bool _spread = false;
  std::vector<osg::UInt32> _slots;  ///< the place of an entry plus 1, 0 for none; a power of two
};
