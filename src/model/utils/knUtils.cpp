#include "model/utils/knUtils.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Entry {
  std::uint64_t id;
  std::string name;  // empty: every message
  knUtils::Receiver receiver;
  bool isEnded = false;

  bool takes(std::string_view messageName) const { return !isEnded && (name.empty() || name == messageName); }
};

class Registry {
 public:
  bool isEmpty() const { return _entries.empty(); }
  bool isHeard(std::string_view name) const {
    return std::any_of(_entries.begin(), _entries.end(),
                       [&](auto const& entry) { return entry->takes(name); });
  }

  std::uint64_t add(std::string_view name, knUtils::Receiver receiver) {
    std::uint64_t const id = ++_lastId;
    _entries.push_back(std::make_unique<Entry>(Entry{id, std::string(name), std::move(receiver)}));
    return id;
  }

  void remove(std::uint64_t id) {
    auto const found =
        std::lower_bound(_entries.begin(), _entries.end(), id,
                         [](auto const& entry, std::uint64_t wanted) { return entry->id < wanted; });
    if (found == _entries.end() || (*found)->id != id) return;
    if (_depth > 0) {  // the receiver may be the one that is running
      (*found)->isEnded = true;
      _hasEnded = true;
      return;
    }
    // A receiver's end may end other subscriptions: it dies only when the row is in order again.
    std::unique_ptr<Entry> const ended = std::move(*found);
    _entries.erase(found);
  }

  void deliver(std::string_view name, knMessage& message, int channel) {
    Delivery const delivery(*this);
    std::size_t const count = _entries.size();  // those registered from here on wait for the next message
    for (std::size_t i = 0; i < count; ++i) {
      Entry& entry = *_entries[i];
      if (entry.takes(name)) entry.receiver(name, message, channel);
    }
  }

 private:
  // While any delivery runs, entries are only appended, never removed.
  class Delivery {
   public:
    explicit Delivery(Registry& registry) : _registry(registry) { ++_registry._depth; }
    ~Delivery() {
      if (--_registry._depth == 0 && _registry._hasEnded) _registry.sweep();
    }
    Delivery(Delivery const&) = delete;
    Delivery& operator=(Delivery const&) = delete;

   private:
    Registry& _registry;
  };

  void sweep() {
    _hasEnded = false;
    auto const kept = std::stable_partition(_entries.begin(), _entries.end(),
                                            [](auto const& entry) { return !entry->isEnded; });
    std::vector<std::unique_ptr<Entry>> const ended(std::make_move_iterator(kept),
                                                    std::make_move_iterator(_entries.end()));
    _entries.erase(kept, _entries.end());
  }

  std::vector<std::unique_ptr<Entry>> _entries;  // in the order of registration, so of ids
  std::uint64_t _lastId = 0;
  int _depth = 0;
  bool _hasEnded = false;
};

// Made by the first registration and never destroyed, so that subscriptions held by statics can end at any
// time.
constinit Registry* registry = nullptr;

std::uint64_t addReceiver(std::string_view name, knUtils::Receiver receiver) {
  if (registry == nullptr) registry = new Registry;
  return registry->add(name, std::move(receiver));
}

bool isHeard(char const* name) {
  return name != nullptr && *name != '\0' && registry != nullptr && !registry->isEmpty();
}

}  // namespace

knUtils::Subscription::Subscription(Subscription&& other) noexcept : _id(std::exchange(other._id, 0)) {}

knUtils::Subscription& knUtils::Subscription::operator=(Subscription&& other) noexcept {
  std::uint64_t const taken = std::exchange(other._id, 0);  // first: other may be this one
  end();
  _id = taken;
  return *this;
}

void knUtils::Subscription::end() {
  if (_id != 0) registry->remove(std::exchange(_id, 0));
}

bool knUtils::hasReceivers(std::string_view name) { return registry != nullptr && registry->isHeard(name); }

void knUtils::call(char const* name, knMessage& message, int channel) {
  if (isHeard(name)) registry->deliver(name, message, channel);
}

void knUtils::call(char const* name, int channel) {
  if (!isHeard(name)) return;
  knMessage empty;
  registry->deliver(name, empty, channel);
}

knUtils::Subscription knUtils::listen(std::string_view name, Receiver receiver) {
  if (name.empty() || !receiver) return {};
  return Subscription(addReceiver(name, std::move(receiver)));
}

knUtils::Subscription knUtils::listenToAll(Receiver receiver) {
  if (!receiver) return {};
  return Subscription(addReceiver({}, std::move(receiver)));
}
