#include "knanim/support/HostClock.h"

#include "knAnimManager.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace knanim {
namespace {

/// A pass that ends this near after a slot, in slots, still makes it: times are rarely exact.
constexpr double kSlack = 1e-6;

double simulationTime = 0;

}  // namespace

double MonotonicClock::now() { return std::chrono::duration<double>(Clock::now() - _begin).count(); }

void MonotonicClock::sleepUntil(double time) {
  auto const since = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(time));
  std::this_thread::sleep_until(_begin + since);
}

void SimulatedClock::sleepUntil(double time) { _now = std::max(_now, time); }

SimulationTime::SimulationTime() : _former(knAnimManager::_timeCB) {
  simulationTime = 0;
  knAnimManager::setSimulationTimeCB([] { return simulationTime; });
}

SimulationTime::~SimulationTime() { knAnimManager::setSimulationTimeCB(_former); }

void SimulationTime::set(double time) { simulationTime = time; }

double PassPacer::next() {
  bool const isFirst = _slot < 0;
  double const expected = _slot + 1;
  _slot = expected;
  if (isFirst) return 0;
  if (_rate <= 0) return _clock.now() - _begin;
  _slot = std::max(expected, std::ceil((_clock.now() - _begin) * _rate - kSlack));
  _missedSlots += static_cast<std::uint64_t>(_slot - expected);
  _clock.sleepUntil(_begin + _slot / _rate);
  double const time = _clock.now() - _begin;
  _worstLateness = std::max(_worstLateness, time - expected / _rate);
  return time;
}

}  // namespace knanim
