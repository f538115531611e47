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
  ++_announcements;
  UInt32 const id = container.getContainerId();
  if (id >= _places.size()) _places.resize(id + std::size_t{1});
  // A place from before the last clear, or of a dead container that had the id, shows by the entry that stands there.
  UInt32& place = _places[id];
  if (place < _entries.size() && _entries[place].container == container) {
    _entries[place].mask |= mask;
    return;
  }
  place = static_cast<UInt32>(_entries.size());
  _entries.push_back({container, mask});
}

void ChangeList::clear() {
  _entries.clear();
  _announcements = 0;
}

ChangeList* WinThreadBase::getCurrentChangeList() { return listsAreGone ? nullptr : threadLists().current; }

void WinThreadBase::setCurrentChangeList(ChangeList* list) {
  if (!listsAreGone) threadLists().current = list;
}

}  // namespace knscene
}  // namespace osg
