#include "model/fields/ChangeList.h"

#include "model/fields/FieldContainer.h"

namespace osg {
inline namespace knscene {

namespace {

// A thread's statics may announce changes after its lists are gone; nobody can read a list then.
thread_local bool listsAreGone = false;

struct ThreadLists {
  ChangeList own;
  ChangeList* current = &own;

  ThreadLists() = default;
  ThreadLists(ThreadLists const&) = delete;
  ThreadLists& operator=(ThreadLists const&) = delete;
  ~ThreadLists() { listsAreGone = true; }
};

ThreadLists& threadLists() {
  thread_local ThreadLists lists;
  return lists;
}

}  // namespace

void ChangeList::addChanged(FieldContainerPtr const& container, BitVector const& mask) {
  if (!container.isAlive()) return;
  notePlaces();
  ++_announcements;
  // A place from before the last clear, or of a dead container that had the id, shows by the entry that stands there.
  UInt32& place = placeOf(container);
  if (place < _entries.size() && _entries[place].container == container) {
    _entries[place].mask |= mask;
    return;
  }
  place = static_cast<UInt32>(_entries.size());
  _entries.push_back({container, mask});
  ++_noted;
}

/// Of entries that were added without a search. Their containers may have died since.
void ChangeList::notePlaces() {
  for (; _noted < _entries.size(); ++_noted)
    placeOf(_entries[_noted].container) = static_cast<UInt32>(_noted);
}

UInt32& ChangeList::placeOf(FieldContainerPtr const& container) {
  UInt32 const id = container.getStoreAddress()->id;
  if (id >= _places.size()) _places.resize(id + std::size_t{1});
  return _places[id];
}

void ChangeList::clear() {
  _entries.clear();
  _noted = 0;
  _announcements = 0;
}

ChangeList* WinThreadBase::getCurrentChangeList() { return listsAreGone ? nullptr : threadLists().current; }

void WinThreadBase::setCurrentChangeList(ChangeList* list) {
  if (!listsAreGone) threadLists().current = list;
}

}  // namespace knscene
}  // namespace osg
