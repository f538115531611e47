#include "knFramePlayer.h"

#include "knAnimManager.h"
#include "model/constraint/knConstraintManager.h"
#include "model/utils/Broadcast.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double MinFrame = -2147483648.0;
constexpr double MaxFrame = 2147483647.0;

double clampFrame(double frame) { return std::clamp(frame, MinFrame, MaxFrame); }

knFramePlaybackParams normalise(knFramePlaybackParams params) {
  double const start = clampFrame(params.rangeStart);
  double const end = clampFrame(params.rangeEnd);
  params.rangeStart = std::min(start, end);
  params.rangeEnd = std::max(start, end);
  params.startFrame = params.loop ? std::clamp(params.startFrame, params.rangeStart, params.rangeEnd)
                                  : clampFrame(params.startFrame);
  return params;
}

/// The whole frame next to `raw` that best repeats the step which time really took; a tie goes up. With 10.5 after 9.5,
/// and frame 10 put out before, that is 11.
double closestStep(double raw, double previousRaw, double previousOutput) {
  if (raw < MinFrame) return MinFrame;
  if (raw > MaxFrame) return MaxFrame;
  double const step = raw - previousRaw;
  double const down = std::floor(raw);
  double const up = std::ceil(raw);
  return std::fabs(down - previousOutput - step) < std::fabs(up - previousOutput - step) ? down : up;
}
}  // namespace

knFramePlayer& knFramePlayer::the() {
  static knFramePlayer player;
  return player;
}

void knFramePlayer::start(knFramePlaybackParams const& params, bool external, void* user) {
  _params = params;
  _external = external;
  _active = true;
  _firstTick = true;
  _isTicked = _isApplied = false;
  changeUser(user);
}

void knFramePlayer::play(knPlayOptions const& options) {
  knFramePlaybackParams params;
  params.reverse = options.reverse;
  params.loop = options.loop;
  params.subframes = options.subframes;
  params.rangeStart = options.firstFrame;
  params.rangeEnd = options.lastFrame;
  params.startFrame = options.reverse ? options.lastFrame : options.firstFrame;
  knAnimManager& manager = *knAnimManager::the();
  if (!options.everyFrame) params.fps = options.fps > 0.0 ? options.fps : manager.fps();
  bool const showsFrame = options.showFirstFrame;
  start(params, options.external, options.user);
  // Who heard of the user may have stopped the player, or ticked.
  if (!showsFrame || !_active || !_firstTick) return;
  tick();
  bool const stoodThere = !_external && manager.currentTime() == _frame / manager.fps();
  _isTicked = false;
  apply();
  _isApplied = false;
  if (!stoodThere) return;
  manager.reevaluateAnimations(false);
  knConstraintManager::evaluateConstraints();
}

void knFramePlayer::stop(void* user) {
  _active = false;
  changeUser(user);
}

void knFramePlayer::changeUser(void* user) {
  if (user == _user) return;
  _user = user;
  send("framePlayerUserChanged", "user", user);
}

void knFramePlayer::tick() {
  if (!_active) return;
  _isTicked = true;
  if (!_firstTick) {
    doOtherTicks();
    return;
  }
  _firstTick = false;
  doFirstTick();
}

void knFramePlayer::doFirstTick() {
  _params.startTime = knAnimManager::getSimulationTime();
  _params = normalise(_params);
  _frame = _unwrappedFrame = _rawFrame = _params.startFrame;
  _loopCount = _previousLoopCount = 0;
  // Only different from the frame, so that the first apply delivers.
  _previousFrame = _params.startFrame >= 0.0 ? -1.0 : 1.0;
}

void knFramePlayer::doOtherTicks() {
  _previousFrame = _frame;
  _previousLoopCount = _loopCount;
  double value = 0.0;
  if (_params.fps > 0.0) {
    double const previousRaw = _rawFrame;
    double const elapsed = (knAnimManager::getSimulationTime() - _params.startTime) * _params.fps;
    _rawFrame = clampFrame((_params.reverse ? -elapsed : elapsed) + _params.startFrame);
    value = _params.subframes ? _rawFrame : closestStep(_rawFrame, previousRaw, _unwrappedFrame);
  } else {
    value = clampFrame(_unwrappedFrame + (_params.reverse ? -1.0 : 1.0));
  }
  _unwrappedFrame = value;
  _frame = wrap(value);
}

double knFramePlayer::wrap(double value) {
  _loopCount = 0;
  if (!_params.loop) return value;
  double const length = _params.rangeEnd - _params.rangeStart + 1.0;
  double const cycles = std::floor((value - _params.rangeStart) / length);
  // A clock that is no number makes no loops.
  if (!std::isnan(cycles)) _loopCount = static_cast<osg::Int32>(clampFrame(cycles));
  return value - length * cycles;
}

void knFramePlayer::apply() {
  if (!_active) return;
  _isApplied = true;
  if (_external) {
    applyExternal();
  } else {
    applyInternal();
  }
}

void knFramePlayer::applyExternal() const {
  // The loop first: who hears of the frame knows its cycle then. That receiver may tick.
  if (_previousLoopCount != _loopCount) send("framePlayerLoopChanged", "loop", static_cast<int>(_loopCount));
  if (_previousFrame != _frame) send("framePlayerFrameChanged", "frame", _frame);
}

void knFramePlayer::applyInternal() const {
  if (_previousFrame == _frame) return;
  knAnimManager::the()->setCurrentFrame(_frame, false, true);
  knConstraintManager::evaluateConstraints();
}
