#pragma once

#include "knanim/playing/FrameRange.h"
#include "model/fields/ChangeList.h"

#include <cstdint>
#include <functional>

namespace knanim {

/// What the library did for the frames that were played.
struct PlaybackRecord {
  std::size_t frames = 0;
  std::uint64_t fields = 0;         ///< container fields that changed, once for each frame and field
  std::uint64_t announcements = 0;  ///< of changed containers
  std::uint64_t mostAnnouncements = 0;
  double seconds = 0;  ///< of evaluation, for all frames
  double slowestSeconds = 0;
  double slowestFrame = 0;
};

/// What one move of the timeline took, and what it changed.
struct Evaluation {
  double seconds = 0;
  std::uint64_t fields = 0;
  std::uint64_t announcements = 0;
};

/// The fields of scene objects that were announced. Masks can be wider than their containers, and animation trees
/// announce their own progress: neither counts.
std::uint64_t countFields(osg::ChangeList const& changes);

/// Plays the library's current scene, as a host does: it moves the timeline from frame to frame, and reads from the
/// thread's change list what became of it.
class Playback {
 public:
  /// Sets up the library's timeline.
  explicit Playback(FrameRange const& frames);

  /// Moves to a frame, which need not be whole. The scene's fields then have their values.
  void show(double frame);
  /// The same, and keeps account of it.
  void play(long long frame);

  /// Looks on while `move` moves the timeline, by whatever means.
  Evaluation measure(std::function<void()> const& move);
  /// Keeps account of a frame that was moved to.
  void account(double frame, Evaluation const& evaluation);

  PlaybackRecord const& record() const { return _record; }

 private:
  PlaybackRecord _record;
};

}  // namespace knanim
