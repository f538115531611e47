#pragma once

#include <chrono>
#include <cstdint>

namespace knanim {

/// The time a host loop goes by, in seconds, and its way of waiting.
class HostClock {
 public:
  virtual ~HostClock() = default;
  /// Never goes back.
  virtual double now() = 0;
  /// Returns at once for a time that has passed.
  virtual void sleepUntil(double time) = 0;
};

/// The time since the clock was made; waits in earnest.
class MonotonicClock : public HostClock {
 public:
  double now() override;
  void sleepUntil(double time) override;

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point _begin = Clock::now();
};

/// Stands still but for waiting, which takes no time.
class SimulatedClock : public HostClock {
 public:
  double now() override { return _now; }
  void sleepUntil(double time) override;
  /// Lets time pass, as work does.
  void advance(double seconds) { _now += seconds; }

 private:
  double _now = 0;
};

/// While one of these lives, the library's simulation clock shows the time it was given, the same throughout a pass. The
/// clock that was there before comes back at its end.
class SimulationTime {
 public:
  SimulationTime();
  ~SimulationTime();
  SimulationTime(SimulationTime const&) = delete;
  SimulationTime& operator=(SimulationTime const&) = delete;

  void set(double time);

 private:
  double (*_former)();
};

/// Begins passes at an even rate, as a display does: a pass that takes too long costs the slots it runs into, and the
/// next one begins with the slot after them.
class PassPacer {
 public:
  /// `rate` in passes per second; 0 never waits.
  PassPacer(HostClock& clock, double rate) : _clock(clock), _rate(rate), _begin(clock.now()) {}

  /// Waits until the next pass is due, and gives the time since the first one; 0 for the first.
  double next();

  /// Slots that went by without a pass.
  std::uint64_t missedSlots() const { return _missedSlots; }
  /// How long after the slot that follows the pass before it the latest pass began, in seconds.
  double worstLateness() const { return _worstLateness; }

 private:
  HostClock& _clock;
  double _rate;
  double _begin;
  double _slot = -1;  ///< a whole number
  std::uint64_t _missedSlots = 0;
  double _worstLateness = 0;
};

}  // namespace knanim
