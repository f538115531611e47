#pragma once

#include "model/utils/Export.h"
#include "model/utils/knMessage.h"

#include <cstdint>
#include <functional>
#include <string_view>

/// Broadcast messages: a sender names what happened, receivers registered for that name run before the sender
/// goes on.
///
/// Everything here belongs to the host's main thread: sending, listening and ending a subscription. There is
/// no lock, so that a message nobody waits for costs a few nanoseconds.
///
/// Receivers run in the order in which they were registered, those of one name and those of every name in one
/// row. A receiver may send messages, register receivers and end subscriptions, its own included:
/// - a receiver whose subscription ended is not called any more, not even later in the running delivery;
/// - a receiver registered during a delivery does not see the message being delivered, but does see any sent
///   after it, those sent from inside the same delivery included.
class KNSCENE_API knUtils {
 public:
  /// Gets the name of the message, its payload (empty when it was sent without one; what a receiver sets is
  /// seen by the receivers after it and by the sender) and the number the sender gave along with it.
  using Receiver = std::function<void(std::string_view name, knMessage& message, int channel)>;

  /// Keeps a receiver registered for as long as it lives. It may be destroyed at any time, also while statics
  /// are being destroyed. A default-made or moved-from subscription holds nothing.
  class KNSCENE_API Subscription {
   public:
    /// None. Moving hands the subscription on.
    Subscription() = default;
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;
    Subscription(Subscription const&) = delete;
    Subscription& operator=(Subscription const&) = delete;
    ~Subscription() { end(); }

    /// Ends the subscription before its time. Harmless when it holds nothing.
    void end();
    /// Whether a receiver is registered by this subscription.
    bool isActive() const { return _id != 0; }

   private:
    friend class knUtils;
    explicit Subscription(std::uint64_t id) : _id(id) {}

    std::uint64_t _id = 0;
  };

  knUtils() = delete;

  /// Sends `message` under `name`; the receivers have run on return. A null or empty name sends nothing. The
  /// library's own messages all have `channel` 0; a host is free to use others for itself.
  static void call(char const* name, knMessage& message, int channel);
  /// Sends a message without payload, in all else like the other overload.
  static void call(char const* name, int channel);

  /// Whether anybody listens to a message of that name, or to all.
  static bool hasReceivers(std::string_view name);
  /// Registers `receiver` for the messages called exactly `name`. An empty name or an empty receiver
  /// registers nothing and gives a subscription that holds nothing.
  [[nodiscard]] static Subscription listen(std::string_view name, Receiver receiver);
  /// Registers `receiver` for every message. An empty receiver registers nothing.
  [[nodiscard]] static Subscription listenToAll(Receiver receiver);
};
