#pragma once

#include "model/fields/BitVector.h"
#include "model/fields/FieldContainerPtr.h"

#include <utility>
#include <vector>

namespace osg {
inline namespace knscene {

/// Notes which fields of which containers have changed, one entry per container in order of first change. A host
/// reads and clears it once a frame. Not safe for use by several threads: each thread has a list of its own.
class KNSCENE_API ChangeList {
 public:
  /// One container that changed, and which of its fields.
  struct Entry {
    FieldContainerPtr container;  ///< may have died since
    BitVector mask;               ///< all fields announced since the last clear
  };

  ChangeList() = default;                   ///< an empty list
  ChangeList(ChangeList const&) = default;  ///< the same entries and count
  /// A list that was moved from is as after `clear`.
  ChangeList(ChangeList&& other) noexcept
      : _entries(std::move(other._entries)),
        _places(std::move(other._places)),
        _noted(std::exchange(other._noted, 0)),
        _announcements(std::exchange(other._announcements, 0)) {}
  ChangeList& operator=(ChangeList other) noexcept {
    _entries.swap(other._entries);
    _places.swap(other._places);
    _noted = other._noted;
    _announcements = other._announcements;
    return *this;
  }

  /// Adds the fields in `mask` to the container's entry. A null or dead handle is left alone. Constant time,
  /// without allocation for a container that the list already holds. Beside its entries a list takes four bytes for
  /// each id up to the highest it has held; ids of dead containers are used again, so that this stays bounded.
  void addChanged(FieldContainerPtr const& container, BitVector const& mask);
  /// The same for the entry at `place`, without a search; its container must be alive.
  void addChangedAt(std::size_t place, BitVector const& mask) {
    ++_announcements;
    _entries[place].mask |= mask;
  }
  /// The same without a search, for a living container that has no entry yet. The caller must know that.
  void addNew(FieldContainerPtr const& container, BitVector const& mask) {
    ++_announcements;
    _entries.push_back({container, mask});
  }

  /// The entries, in the order in which containers were first announced.
  std::vector<Entry> const& getEntries() const { return _entries; }
  /// How often addChanged was called with a living container since the last clear.
  std::size_t getAnnouncementCount() const { return _announcements; }
  /// Drops all entries and counts from 0 again.
  void clear();

 private:
  void notePlaces();
  UInt32& placeOf(FieldContainerPtr const& container);

  std::vector<Entry> _entries;
  std::vector<UInt32> _places;  ///< by container id: where the entry stands, or stood before the last clear
  std::size_t _noted = 0;       ///< how many of the entries have their place in there
  std::size_t _announcements = 0;
};

/// Access to the calling thread's change list.
class KNSCENE_API WinThreadBase {
 public:
  /// The thread's list; every thread begins with an empty one of its own. Null after it was set to null,
  /// and while the thread's statics are destroyed.
  static ChangeList* getCurrentChangeList();
  /// Makes `list` the thread's; null switches noting off. The caller keeps the list alive.
  static void setCurrentChangeList(ChangeList* list);
};

}  // namespace knscene
}  // namespace osg
