#pragma once

#include "knAnimExport.h"
#include "model/utils/BaseTypes.h"

/// How frames are to be played. Frames need not be whole; times are in seconds.
struct knFramePlaybackParams {
  bool reverse = false;     ///< play backwards
  bool loop = false;        ///< stay in the range, starting again at its end; else the range is not used
  bool subframes = false;   ///< frames with fractions; else whole ones
  double rangeStart = 0.0;  ///< first frame of the range
  double rangeEnd = 0.0;    ///< last frame of the range; it is played, too
  double startFrame = 0.0;  ///< where playing begins
  double startTime = 0.0;   ///< simulation time of the first tick; overwritten by it
  double fps = 0.0;         ///< frames per second; not above 0: one frame a tick, however long a tick takes
};

/// How `knFramePlayer::play` plays. By default: forwards, in a loop, whole frames at the manager's rate.
struct knPlayOptions {
  double firstFrame = 0.0;  ///< where playing begins, and begins again in a loop
  double lastFrame = 0.0;   ///< the end of the loop, which is played too; playing begins here if `reverse`
  /// Start again after the last frame. Otherwise frames run on past the end until `stop`: to play once, call
  /// `knFramePlayer::stop` after the `apply` that has brought `knAnimManager::currentFrame` there.
  bool loop = true;
  bool reverse = false;     ///< from the last frame backwards
  bool subframes = false;   ///< also frames with fractions
  bool everyFrame = false;  ///< one frame a tick, however long a tick takes; ignores `fps`
  double fps = 0.0;         ///< frames per second; not above 0: `knAnimManager::fps` at the time of the call
  bool showFirstFrame =
      true;               ///< show the first frame within the call; otherwise the first `tick` and `apply` do
  bool external = false;  ///< as for `knFramePlayer::start`
  void* user = nullptr;   ///< as for `knFramePlayer::start`
};

/// Plays frames in real time. The host calls `tick` and then `apply` once per pass of its loop. The frame is computed from
/// the time since the first tick, so that errors do not add up; a slow pass skips frames. Playing ends only by `stop`.
///
/// With whole frames, the player shows one of the two frames next to time * fps: the one whose step from the previous
/// frame better matches the time between the ticks. This keeps an even cadence where the host's rate and `fps` do not
/// divide each other. So the frame depends on earlier ticks: at 10 fps, 0.25 s after the first tick, it can be 2 or 3.
/// For exact frames ask for `subframes`, or set them with `knAnimManager::setCurrentFrame`.
///
/// Main thread. A `tick` reads the clock once and allocates nothing, nor does an `apply` without a new frame.
class KNANIM_API knFramePlayer {
 public:
  /// The one player, made at first use.
  static knFramePlayer& the();

  knFramePlayer(knFramePlayer const&) = delete;
  knFramePlayer& operator=(knFramePlayer const&) = delete;

  /// Begins to play, or starts again while playing. The clock of the run starts with the first tick. With `external`,
  /// frames go out as messages and the scene is left alone. `user` is any pointer that tells who plays; if it differs
  /// from the former one, "framePlayerUserChanged" is sent with "user", a void pointer.
  void start(knFramePlaybackParams const& params, bool external, void* user);
  /// Begins playing as most hosts want it. The first frame is shown when the call returns, and evaluated even if the
  /// timeline stands on it already. For that the first tick is made within the call, so the clock of the run starts here,
  /// whenever the host ticks next. `start`, and `showFirstFrame = false`, leave all of it to the host's first `tick` and
  /// `apply`. Frames come at the manager's rate, unless the options give another one.
  void play(knPlayOptions const& options);
  /// Ends playing, whoever calls it, and makes `user` the current user as `start` does.
  void stop(void* user);
  /// Computes the frame of this moment; nothing while not playing.
  void tick();
  /// Shows the frame of the last tick if it differs from that of the tick before: by `knAnimManager::setCurrentFrame`,
  /// after which cameras are turned to their aims. In external mode it sends "framePlayerFrameChanged" with "frame", a
  /// double, instead, and before that "framePlayerLoopChanged" with "loop", an int, when the number of completed loops
  /// has changed. Nothing while not playing. A second call without a tick does the same again.
  void apply();

  /// Whether it was started and not stopped.
  bool isActive() const { return _active; }
  /// Whether the host has called `tick` since playing began; what `play` does within the call does not count.
  bool isTicked() const { return _isTicked; }
  /// The same for `apply`.
  bool isApplied() const { return _isApplied; }
  /// What `start` was given; after the first tick, with the range sorted, the start frame clamped to it, and the start
  /// time set.
  knFramePlaybackParams getPlaybackParams() const { return _params; }
  /// Who plays, as `start` or `stop` was told last.
  void* getUser() const { return _user; }

 private:
  knFramePlayer() = default;

  void changeUser(void* user);
  void doFirstTick();
  void doOtherTicks();
  void applyExternal() const;
  void applyInternal() const;
  double wrap(double value);

  bool _active = false;
  bool _firstTick = false;
  bool _isTicked = false;
  bool _isApplied = false;
  double _frame = 0.0;          ///< of this tick, within the range
  double _previousFrame = 0.0;  ///< of the tick before
  osg::Int32 _loopCount = 0;    ///< whole ranges passed; negative when running back past the start
  osg::Int32 _previousLoopCount = 0;
  double _unwrappedFrame = 0.0;   ///< after rounding, before the range
  double _rawFrame = 0.0;         ///< before rounding
  knFramePlaybackParams _params;  ///< what the ticks use, once normalised
  bool _external = false;
  void* _user = nullptr;
};
