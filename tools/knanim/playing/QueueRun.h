#pragma once

#include "knanim/playing/QueueModels.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/HostClock.h"
#include "model/utils/knMessage.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace knanim {

/// A time during which one model or all of them stand still, in seconds of the run.
struct QueuePause {
  std::optional<std::size_t> model;  ///< its number; all when it is not given
  TimeSpan time;
};

struct QueueSettings {
  double stagger = 0.5;  ///< seconds from the start of one model to that of the next
  double rate = 60;      ///< passes a second
  std::vector<QueuePause> pauses;
  int cycles = 0;                 ///< repetitions after the first run; -1 repeats without end
  std::optional<TimeSpan> range;  ///< the part to play, in seconds of the animations
  std::optional<double> seconds;  ///< ends the run
  bool resetAtEnd = false;
};

/// Something that became of a model.
struct QueueEvent {
  double time = 0;        ///< seconds of the run
  std::size_t model = 0;  ///< index into `QueueModels::parts`
  std::string what;
  std::string detail;
};

/// When a model played, in seconds of the run.
struct QueueTrack {
  std::optional<TimeSpan> playing;  ///< pauses included; the end is the pass that noticed it
  std::vector<TimeSpan> pauses;
  std::vector<TimeSpan> outside;  ///< while the range was before its animation or behind it
  bool finished = false;          ///< it came to its end by itself
};

/// What the library did in the passes of a run.
struct QueueRecord {
  std::vector<QueueTrack> tracks;
  double end = 0;  ///< time of the last pass
  std::uint64_t passes = 0;
  std::uint64_t queued = 0;     ///< trees in the queue, summed over all passes, as the library announces it
  std::uint64_t evaluated = 0;  ///< those that were not paused
  std::uint64_t fields = 0;     ///< fields of the scene that changed, once for each pass and field
  double seconds = 0;           ///< of evaluation, for all passes
  double slowestSeconds = 0;
  double slowestTime = 0;         ///< when the slowest pass was, in seconds of the run
  std::uint64_t missedSlots = 0;  ///< passes that could not be in time
};

/// Plays the models of a scene by the library's playing queue: for each model a tree of its own, which shares the
/// curves that hang in the scene and so moves what they move. The library's clock is that of the run, and moves
/// between passes only; what is due happens at the next pass. One run at a time, main thread.
class QueueRun {
 public:
  using EventReceiver = std::function<void(QueueEvent const&)>;
  using PassReceiver = std::function<void(double time)>;

  /// `scene` was made of `models`; it and the models live as long as this.
  QueueRun(QueueModels const& models, AnimatedScene const& scene, QueueSettings settings);
  ~QueueRun();
  QueueRun(QueueRun const&) = delete;
  QueueRun& operator=(QueueRun const&) = delete;

  /// When the last model will have come to its end, or the run is ended before that. Infinite when nothing ends it.
  double plannedEnd() const;

  /// Plays on `clock` until all models have come to their ends, or the run's seconds are over. `onEvent` is told what
  /// happens in the order in which it happens, `onPass` of each pass with what it did. Fails with `Failed` when
  /// interrupted.
  std::optional<Failure> play(HostClock& clock, EventReceiver const& onEvent, PassReceiver const& onPass);

  QueueRecord const& record() const { return _record; }
  /// Pauses during which no model of theirs played.
  std::vector<QueuePause> unmetPauses() const;

 private:
  struct Tree {
    osg::AnimNodePtr node;
    double start = 0;
    std::vector<TimeSpan> pauses;  ///< in order, none touching the next
    TimeSpan span;                 ///< of the animation with its repetitions, in its own time
    bool isOutside = false;        ///< the last pass showed a time outside of `span`
  };

  void addTree(QueueModel const& part, AnimatedScene const& scene);
  double plannedEnd(Tree const& tree) const;
  void hear(std::string_view name, knMessage const& message);
  void tell(std::size_t model, std::string what, std::string detail = {}) const;
  void act(std::size_t model);
  void start(std::size_t model);
  void finish(std::size_t model);
  void stop(std::size_t model);
  void pass();
  void noteWhetherOutside(std::size_t model);
  bool isOver() const;
  bool playToTheEnd(HostClock& clock, PassReceiver const& onPass);

  QueueModels const& _models;
  QueueSettings _settings;
  std::vector<Tree> _trees;
  QueueRecord _record;
  EventReceiver _onEvent;
  double _now = 0;  ///< time of the present pass, in seconds of the run
};

}  // namespace knanim
