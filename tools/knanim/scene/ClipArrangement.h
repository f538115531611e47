#pragma once

#include "knanim/scene/AnimatedScene.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace knanim {

/// An animation whose curves hang in the scene.
struct ClipSource {
  std::string name;
  std::vector<SceneCurve> curves;
};

/// A clip on the timeline.
struct PlacedClip {
  std::string name;
  osg::AnimNodePtr node;           ///< its core is an `AnimClip`
  std::vector<SceneCurve> curves;  ///< the scene's curves, on the clip's own nodes
  TimeSpan span;                   ///< as the library measures it, in seconds of the timeline
  double scale = 1;

  /// The curve that writes the same field component as `channel`; null when the clip has none.
  SceneCurve const* find(SceneCurve const& channel) const;
};

/// Animations of one scene as clips that overlap on one timeline: a clip of clips in the library's clip
/// structure, each of which holds blocks with the curves of one animation. Some clips overlap, between others
/// there is a gap. With less than three animations that last, some come again, faster. The structure is empty
/// before and after. Main thread.
class ClipArrangement {
 public:
  /// Animations without length are left out; without any the arrangement is empty.
  explicit ClipArrangement(std::span<ClipSource const> sources);
  ~ClipArrangement();
  ClipArrangement(ClipArrangement const&) = delete;
  ClipArrangement& operator=(ClipArrangement const&) = delete;

  std::span<PlacedClip const> clips() const { return _clips; }

  /// Lets the library evaluate the clips at a time in seconds. The scene's fields then have their values.
  void evaluate(double time) const;

 private:
  void addClip(ClipSource const& source, double scale, double begin);

  osg::AnimNodePtr _root;
  std::vector<PlacedClip> _clips;
};

/// What became of one channel at one time.
struct ClipSample {
  double time = 0;
  std::optional<float> written;      ///< the field's value; empty when nothing wrote it
  std::vector<float> own;            ///< each clip's own value; not a number for a clip without such a curve
  std::vector<std::size_t> writers;  ///< the clips whose own value was written
};

/// Evaluates an arrangement, and finds out which clip had its way with one channel.
class ClipProbe {
 public:
  /// `channel` is a curve of the scene that the clips move.
  ClipProbe(ClipArrangement const& arrangement, SceneCurve const& channel);

  /// Puts a value that no clip has into the field, evaluates, and compares what is there then with what each
  /// clip gives by itself.
  ClipSample sample(double time);

 private:
  ClipArrangement const& _arrangement;
  SceneCurve _channel;
  std::vector<std::optional<std::size_t>> _places;  ///< of the clips in `_reader`
  CurveReader _reader;
};

/// Times that show the arrangement: before all clips, between any two of their begins and ends, and after
/// all.
std::vector<double> tellingTimes(std::span<PlacedClip const> clips);

}  // namespace knanim
