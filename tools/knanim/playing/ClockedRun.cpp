#include "knanim/playing/ClockedRun.h"

#include "knAnimManager.h"
#include "knFramePlayer.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/Text.h"
#include "model/constraint/knConstraintManager.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace knanim {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kMostPasses = 10'000'000;
constexpr double kFastestRate = 100'000;
constexpr double kUsualRate = 60;
constexpr long long kDefaultRounds = 3;
/// What the player can tell apart.
constexpr long long kLargestFrame = std::numeric_limits<std::int32_t>::max();
/// Steps of subframes are sorted by tenths of a frame.
constexpr double kSubframeResolution = 0.1;

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

std::optional<long long> wholeNumber(std::string_view text) {
  long long number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  bool const isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole ? std::optional(number) : std::nullopt;
}

/// Sets the ends of the range that is to be played over and over; false when `text` is no such range.
bool readLoop(std::string_view text, FrameRange& frames) {
  std::size_t const colon = text.find(':');
  if (colon == std::string_view::npos) return false;
  auto const a = wholeNumber(text.substr(0, colon));
  auto const b = wholeNumber(text.substr(colon + 1));
  if (!a || !b) return false;
  frames.first = std::min(*a, *b);
  frames.last = std::max(*a, *b);
  return true;
}

std::optional<Failure> check(RunPlan const& plan, bool isRealtime) {
  double const rate = plan.rate;
  if (plan.frames.first < -kLargestFrame || plan.frames.last > kLargestFrame)
    return usage("frames played on a clock must have numbers from -" + std::to_string(kLargestFrame) +
                 " to " + std::to_string(kLargestFrame));
  if (!isRealtime && plan.duration() * rate > kMostPasses)
    return usage(brief(plan.duration()) + " s at " + brief(rate) +
                 " passes per second are more passes than can be played; give a lower --rate or --seconds");
  return std::nullopt;
}

/// The host loop.
class ClockedRun {
 public:
  ClockedRun(RunPlan const& plan, HostClock& clock, Playback& playback, FrameShown const& frameShown)
      : _plan(plan), _playback(playback), _frameShown(frameShown), _pacer(clock, plan.rate) {
    if (plan.subframes) _record.cadence = CadenceRecord(kSubframeResolution);
  }

  RunRecord run();

 private:
  void start();
  /// False when the run is over.
  bool pass();
  bool showEnd();
  bool show(Evaluation const& evaluation);
  double distanceOf(double frame) const;
  bool isOver(double distance) const;
  double currentFrame() const;

  RunPlan const& _plan;
  Playback& _playback;
  FrameShown const& _frameShown;
  PassPacer _pacer;
  SimulationTime _simulationTime;
  knFramePlayer& _player = knFramePlayer::the();
  RunRecord _record;
  double _distance = 0;  ///< frames from the start to the one that is shown, through all rounds
};

RunRecord ClockedRun::run() {
  start();
  while (pass()) {
  }
  _player.stop(nullptr);
  _record.missedSlots = _pacer.missedSlots();
  _record.worstLateness = _pacer.worstLateness();
  return _record;
}

void ClockedRun::start() {
  // Frames count as new by their time alone: from elsewhere the first one is evaluated as well.
  knAnimManager::the()->setCurrentFrameNoEvaluation(_plan.startFrame() - 1, false);
  knFramePlaybackParams params;
  params.reverse = _plan.reverse;
  params.loop = _plan.loop;
  params.subframes = _plan.subframes;
  params.rangeStart = static_cast<double>(_plan.frames.first);
  params.rangeEnd = static_cast<double>(_plan.frames.last);
  params.startFrame = _plan.startFrame();
  params.fps = _plan.frames.framesPerSecond;
  _player.start(params, false, this);
}

bool ClockedRun::pass() {
  _record.seconds = _pacer.next();
  _simulationTime.set(_record.seconds);
  if (InterruptionGuard::isInterrupted()) {
    _record.end = RunEnd::Interrupted;
    return false;
  }
  if (_plan.seconds && _record.seconds >= *_plan.seconds) return false;

  double const before = currentFrame();
  Evaluation const evaluation = _playback.measure([this] {
    _player.tick();
    _player.apply();
  });
  if (_record.cadence.passes() == 0) {
    _record.cadence.addFirst();
    return show(evaluation);
  }
  double const frame = currentFrame();
  double const distance = distanceOf(frame);
  if (isOver(distance)) return showEnd();
  _record.cadence.addStep(distance - _distance);
  _distance = distance;
  return frame == before || show(evaluation);
}

/// The player runs on past the end, or has begun another round: the host puts the timeline on the last frame.
bool ClockedRun::showEnd() {
  Evaluation const evaluation = _playback.measure([this] {
    knAnimManager::the()->setCurrentFrame(_plan.endFrame(), false, true);
    knConstraintManager::evaluateConstraints();
  });
  double const rest = _plan.length() - 1 - _distance;
  if (rest <= 0) return false;
  _record.cadence.addStep(rest);
  show(evaluation);
  return false;
}

bool ClockedRun::show(Evaluation const& evaluation) {
  double const frame = currentFrame();
  _playback.account(frame, evaluation);
  if (_frameShown(frame, _record.seconds)) return true;
  _record.end = RunEnd::Refused;
  return false;
}

/// A frame of a loop stands for one in every round; which round it is follows from the time.
double ClockedRun::distanceOf(double frame) const {
  double const distance = _plan.reverse ? _plan.startFrame() - frame : frame - _plan.startFrame();
  if (!_plan.loop) return distance;
  double const round = static_cast<double>(_plan.frames.count());
  double const expected = _record.seconds * _plan.frames.framesPerSecond;
  return distance + round * std::round((expected - distance) / round);
}

/// Between the last frame of a loop and the first one again subframes go on; elsewhere the last frame is the end.
bool ClockedRun::isOver(double distance) const {
  double const length = _plan.length();
  return _plan.loop && _plan.subframes ? distance >= length : distance > length - 1;
}

double ClockedRun::currentFrame() const {
  double const frame = knAnimManager::the()->currentFrame();
  return _plan.subframes ? frame : std::round(frame);
}

}  // namespace

double RunPlan::length() const {
  return rounds ? static_cast<double>(*rounds) * static_cast<double>(frames.count()) : kInfinite;
}

double RunPlan::duration() const {
  return std::min(length() / frames.framesPerSecond, seconds.value_or(kInfinite));
}

std::optional<Failure> checkClock(ClockOptions const& options) {
  double const rate = options.rate.value_or(kUsualRate);
  if (!std::isfinite(rate) || (rate != 0 && (rate < 1 || rate > kFastestRate)))
    return usage("--rate must be from 1 to " + brief(kFastestRate, 6) +
                 " passes per second, or 0 with --realtime");
  if (rate == 0 && !options.realtime)
    return usage("--rate 0 requires --realtime: a simulated clock would stand still");
  if (options.seconds && (!std::isfinite(*options.seconds) || *options.seconds <= 0))
    return usage("--seconds must be finite and above 0");
  FrameRange loop;
  if (options.loop && !readLoop(*options.loop, loop))
    return usage("--loop takes two whole frame numbers like 10:50, not " + printable(*options.loop));
  return std::nullopt;
}

std::variant<RunPlan, Failure> planRun(ClockOptions const& options, FrameRange const& frames) {
  if (auto failure = checkClock(options)) return std::move(*failure);
  RunPlan plan{.frames = frames,
               .loop = options.loop.has_value(),
               .reverse = options.reverse,
               .subframes = options.subframes,
               .rate = options.rate.value_or(kUsualRate),
               .seconds = options.seconds};
  if (plan.loop) {
    readLoop(*options.loop, plan.frames);
    plan.rounds = options.rounds;
    if (!options.rounds && !options.seconds) plan.rounds = kDefaultRounds;
  }
  if (auto failure = check(plan, options.realtime)) return std::move(*failure);
  return plan;
}

RunRecord runOnClock(RunPlan const& plan, HostClock& clock, Playback& playback,
                     FrameShown const& frameShown) {
  return ClockedRun(plan, clock, playback, frameShown).run();
}

}  // namespace knanim
