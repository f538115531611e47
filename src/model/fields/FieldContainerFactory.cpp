#include "model/fields/FieldContainerFactory.h"

#include "model/fields/StructureCounter.h"
#include "model/utils/knLog.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <exception>
#include <string>
#include <utility>

namespace osg {
inline namespace knscene {

namespace {

/// Two types of one name, in the order in which they came.
struct NameClash {
  FieldContainerType* first;
  FieldContainerType* second;
};

/// Types come while statics are constructed, when no host has set a sink for its log yet. What is wrong with their names
/// waits for the first container that is made.
struct NameClashes {
  std::mutex mutex;
  std::vector<NameClash> waiting;
};
NameClashes& nameClashes() {
  static auto& clashes = *new NameClashes;
  return clashes;
}
constinit std::atomic<bool> hasNameClashes = false;

/// A type without its name, as "derived from Group, with the fields matrix, center".
std::string describe(FieldContainerType const& type) {
  constexpr std::size_t MostFields = 4;
  FieldContainerType const* const parent = type.getParent();
  std::string text = parent != nullptr ? "derived from " + parent->getName().str() : "derived from no other";
  auto const own = type.getFieldDescriptions().subspan(parent != nullptr ? parent->getNumFieldDescs() : 0);
  if (own.empty()) return text + ", without fields of its own";
  text += ", with the fields ";
  for (std::size_t i = 0; i < std::min(own.size(), MostFields); ++i)
    text.append(i > 0 ? ", " : "").append(own[i].getCName());
  return own.size() > MostFields ? text + " and others" : text;
}

void tellNameClashes() {
  std::vector<NameClash> clashes;
  {
    std::lock_guard const lock(nameClashes().mutex);
    clashes.swap(nameClashes().waiting);
    hasNameClashes.store(false, std::memory_order_relaxed);
  }
  for (auto const& [first, second] : clashes) {
    // Another thread may still be at it.
    second->initialise();
    knLog::error(
        ("two container types are called '" + second->getName().str() + "': one " + describe(*first) +
         ", which came first and keeps the name, and one " + describe(*second) +
         "; files and lookups by name make the first in the place of the second, which needs another name")
            .c_str());
  }
}

// The place of the container that this thread is about to construct.
thread_local StoreEntry* placeOfNext = nullptr;

/// Sorts numbers that differ from each other. Ids are dense: each gets a bit, in less time than comparing takes.
void sortDescending(std::vector<UInt32>& ids) {
  if (ids.empty()) return;
  auto const [lowest, highest] = std::ranges::minmax(ids);
  constexpr UInt32 WordSize = 64;
  std::vector<UInt64> words((highest - lowest) / WordSize + 1);
  for (UInt32 const id : ids) words[(id - lowest) / WordSize] |= UInt64{1} << ((id - lowest) % WordSize);
  auto next = ids.begin();
  for (std::size_t i = words.size(); i-- > 0;) {
    while (words[i] != 0) {
      auto const bit = static_cast<UInt32>(std::bit_width(words[i]) - 1);
      words[i] ^= UInt64{1} << bit;
      *next++ = lowest + static_cast<UInt32>(i) * WordSize + bit;
    }
  }
}

}  // namespace

FieldContainerFactory& FieldContainerFactory::the() {
  static auto* const factory = new FieldContainerFactory;
  return *factory;
}

FieldContainerFactory::FieldContainerFactory() {
  // Id 0 means "none" in records, so no container gets it.
  _entries.grow_by(1);
  _store.grow_by(1);
}

FieldContainerType* FieldContainerFactory::findType(char const* name) const {
  if (name == nullptr) return nullptr;
  std::lock_guard const lock(_typesMutex);
  auto const found = std::find_if(_types.begin(), _types.end(),
                                  [name](FieldContainerType const* type) { return type->getName() == name; });
  return found != _types.end() ? *found : nullptr;
}

std::vector<FieldContainerType*> FieldContainerFactory::getTypes() const {
  std::lock_guard const lock(_typesMutex);
  return _types;
}

UInt32 FieldContainerFactory::registerType(FieldContainerType& type) {
  std::lock_guard const lock(_typesMutex);
  auto const namesake =
      std::ranges::find(_types, std::string_view(type.getName()),
                        [](FieldContainerType const* other) { return std::string_view(other->getName()); });
  if (namesake != _types.end()) {
    std::lock_guard const clashLock(nameClashes().mutex);
    nameClashes().waiting.push_back({*namesake, &type});
    hasNameClashes.store(true, std::memory_order_release);
  }
  _types.push_back(&type);
  return static_cast<UInt32>(_types.size());
}

StoreEntry& FieldContainerFactory::takePlace() {
  // Growing a vector of the store makes places, of which another thread may still be making some when this one
  // has its own already. So one thread at a time.
  std::lock_guard const lock(_placesMutex);
  if (_ready.empty() && _resting.size() >= RestOfIds) wakePlaces();
  if (!_ready.empty()) {
    StoreEntry& place = _entries[_ready.back()];
    _ready.pop_back();
    return place;
  }
  auto const place = _entries.grow_by(1);
  place->id = static_cast<UInt32>(place - _entries.begin());
  _store.grow_by(1);
  return *place;
}

/// Places are used again in batches, those with the lowest ids first: what is made one after the other gets ascending
/// ids and lies together in memory, whatever the order of deaths was. A batch waits until the next one is full, so each
/// place rests as long as was promised.
void FieldContainerFactory::wakePlaces() {
  _ready.swap(_rested);
  _rested.swap(_resting);
  _resting.clear();
  sortDescending(_ready);
}

void FieldContainerFactory::giveBack(StoreEntry& place) {
  std::lock_guard const lock(_placesMutex);
  UInt32 const id = place.id;
  _store[id] = FieldContainerPtr();
  place.object = nullptr;
  // A place rests so long between two containers that its generations last for as long as any process.
  ++place.generation;
  _resting.push_back(id);
}

FieldContainerPtr FieldContainerFactory::create(FieldContainerType const& type) {
  if (hasNameClashes.load(std::memory_order_acquire)) [[unlikely]]
    tellNameClashes();
  if (type._create == nullptr) return {};
  StoreEntry& place = takePlace();
  place.type = &type;
  StoreEntry* const outer = std::exchange(placeOfNext, &place);
  FieldContainer* container = nullptr;
  try {
    container = type._create();
  } catch (...) {
    // The host's constructor threw.
    placeOfNext = outer;
    giveBack(place);
    throw;
  }
  placeOfNext = outer;
  if (container == nullptr) {
    giveBack(place);
    return {};
  }
  container->_isSafeFromDropping = false;
  _living.fetch_add(1, std::memory_order_relaxed);
  return FieldContainerPtr(container);
}

// Called by the first of a container's constructors, so that those that follow can make handles.
void FieldContainerFactory::beginLife(FieldContainer& container) {
  StoreEntry* const place = std::exchange(placeOfNext, nullptr);
  if (place == nullptr) return;
  place->object = &container;
  container._entry = place;
  container._containerId = place->id;
  container._isSafeFromDropping = true;
  _store[place->id] = FieldContainerPtr(&container);
}

void FieldContainerFactory::destroy(FieldContainer& container) {
  // A container's death drops references, which can be the last of others. They wait here for their turn, so
  // that a tree of any depth dies without recursion. The list is no thread's static: containers may die after
  // those are gone.
  thread_local std::vector<FieldContainer*>* waiting = nullptr;
  if (container._isSafeFromDropping) return;
  container._isSafeFromDropping = true;
  if (waiting != nullptr) {
    waiting->push_back(&container);
    return;
  }
  std::vector<FieldContainer*> dying{&container};
  waiting = &dying;
  std::exception_ptr thrown;
  while (!dying.empty()) {
    FieldContainer* const next = dying.back();
    dying.pop_back();
    try {
      bury(*next);
    } catch (...) {
      // The host's code threw. The container stays, as there may still be links to it; the others go all the same.
      next->_isSafeFromDropping = false;
      if (!thrown) thrown = std::current_exception();
    }
  }
  waiting = nullptr;
  if (thrown) std::rethrow_exception(thrown);
}

void FieldContainerFactory::bury(FieldContainer& container) {
  FieldContainerPtr const handle(&container);
  tellDeathHooks(handle);
  container.onDestroy();
  giveBack(*std::exchange(container._entry, nullptr));
  _living.fetch_sub(1, std::memory_order_relaxed);
  StructureCounter::advanceFor(container);
  delete &container;
}

void FieldContainerFactory::tellDeathHooks(FieldContainerPtr const& dying) {
  // By number and not by place, and with a copy of each: hooks may add and remove hooks, themselves included.
  for (UInt32 told = 0;;) {
    auto const next = std::ranges::upper_bound(_deathHooks, told, {}, &NumberedHook::number);
    if (next == _deathHooks.end()) return;
    told = next->number;
    DeathHook const hook = next->hook;
    if (hook) hook(dying, dying.getContainerId());
  }
}

UInt32 FieldContainerFactory::addDeathHook(DeathHook hook) {
  _deathHooks.push_back({_nextHookNumber, std::move(hook)});
  return _nextHookNumber++;
}

void FieldContainerFactory::removeDeathHook(UInt32 number) {
  std::erase_if(_deathHooks, [number](NumberedHook const& hook) { return hook.number == number; });
}

}  // namespace knscene
}  // namespace osg
