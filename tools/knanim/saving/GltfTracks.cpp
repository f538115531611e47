#include "knanim/saving/GltfTracks.h"

#include "knanim/import/EulerAngles.h"
#include "knanim/scene/AnimatedScene.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <set>

namespace knanim {
namespace {

using Vector3 = std::array<double, 3>;

/// What a curve does between two of its keys.
enum class Shape : std::uint8_t { Held, Straight, Cubic, Bent };

/// A stretch between two keys, in evaluation time. `Cubic` means a cubic of time, by the slopes at its ends.
struct Stretch {
  double begin = 0;
  double end = 0;
  double first = 0;
  double last = 0;
  double slopeBefore = 0;
  double slopeAfter = 0;
  Shape shape = Shape::Bent;

  /// The value of a shape that is no `Bent` one, and its slope.
  double valueAt(double time) const;
  double slopeAt(double time) const;
};

double Stretch::valueAt(double time) const {
  if (shape == Shape::Held) return time < end ? first : last;
  double const s = end > begin ? (time - begin) / (end - begin) : 0;
  if (shape == Shape::Straight) return first + s * (last - first);
  double const width = end - begin;
  double const s2 = s * s;
  double const s3 = s2 * s;
  return (2 * s3 - 3 * s2 + 1) * first + (s3 - 2 * s2 + s) * width * slopeBefore + (3 * s2 - 2 * s3) * last +
         (s3 - s2) * width * slopeAfter;
}

double Stretch::slopeAt(double time) const {
  if (shape == Shape::Held || end <= begin) return 0;
  double const width = end - begin;
  if (shape == Shape::Straight) return (last - first) / width;
  double const s = (time - begin) / width;
  return (6 * s * s - 6 * s) * (first - last) / width + (3 * s * s - 4 * s + 1) * slopeBefore +
         (3 * s * s - 2 * s) * slopeAfter;
}

/// A tangent without an extent in time, as evaluation sees it.
bool isShort(std::array<float, 2> const& tangent, float scale) {
  constexpr float kShort = 0.0001F;
  float const x = tangent[0] * scale;
  return x < kShort || (x == kShort && tangent[1] < kShort);
}

bool isAlong(std::array<float, 2> const& tangent, double scale, double width, double rise) {
  double const x = tangent[0] * scale;
  double const cross = tangent[1] * width - x * rise;
  return std::abs(cross) <= 1e-6 * std::hypot(x, tangent[1]) * std::hypot(width, rise);
}

/// One component of a channel: a curve, or what the field holds.
class Component {
 public:
  explicit Component(double constant) : _constant(constant) {}
  explicit Component(SceneCurve const& curve);

  bool hasCurve() const { return !_times.empty(); }
  std::vector<double> const& times() const { return _times; }
  double at(double time) const;
  /// The stretch around the middle of an interval between keys of the channel.
  Stretch stretchAt(double middle) const;
  bool isHeldSomewhere() const {
    return std::any_of(_stretches.begin(), _stretches.end(),
                       [](Stretch const& each) { return each.shape == Shape::Held; });
  }

 private:
  void verify(Stretch& stretch) const;

  double _constant = 0;
  mutable std::optional<CurveReader> _reader;
  std::vector<double> _times;
  std::vector<Stretch> _stretches;
  bool _isConstantOutside = true;
};

Stretch describe(BezierKey const& a, BezierKey const& b, CurveForm const& form) {
  Stretch result;
  result.begin = a.time * form.scale + form.offset;
  result.end = b.time * form.scale + form.offset;
  result.first = a.value;
  result.last = b.value;
  double const width = result.end - result.begin;
  double const rise = result.last - result.first;
  double const out = static_cast<double>(a.out[0]) * form.scale;
  double const in = static_cast<double>(b.in[0]) * form.scale;
  constexpr double kThird = 1e-5;
  if (form.isStraight) {
    result.shape = Shape::Straight;
  } else if (isShort(a.out, form.scale) && isShort(b.in, form.scale)) {
    result.shape = Shape::Held;
  } else if (isAlong(a.out, form.scale, width, rise) && isAlong(b.in, form.scale, width, rise)) {
    result.shape = Shape::Straight;
  } else if (std::abs(3 * out / width - 1) < kThird && std::abs(3 * in / width + 1) < kThird) {
    result.shape = Shape::Cubic;
    result.slopeBefore = a.out[1] / out;
    result.slopeAfter = b.in[1] / in;
  }
  return result;
}

Component::Component(SceneCurve const& curve) {
  CurveForm const form = formOf(*curve.curve, *curve.node);
  _reader.emplace(std::span<SceneCurve const>(&curve, 1));
  _isConstantOutside = (form.before == osg::ConstantInfinity || form.before > osg::OscillateInfinity) &&
                       (form.after == osg::ConstantInfinity || form.after > osg::OscillateInfinity);
  std::set<double> times;
  for (BezierKey const& key : form.keys) {
    float const time = key.time * form.scale + form.offset;
    if (std::isfinite(time)) times.insert(time);
  }
  _times.assign(times.begin(), times.end());
  // A node that turns time round, and keys that do not ascend, are left to sampling.
  if (form.scale <= 0 || _times.size() != form.keys.size()) {
    for (std::size_t i = 1; i < _times.size(); ++i) _stretches.push_back({_times[i - 1], _times[i]});
    return;
  }
  for (std::size_t i = 1; i < form.keys.size(); ++i) {
    Stretch stretch = describe(form.keys[i - 1], form.keys[i], form);
    stretch.begin = _times[i - 1];
    stretch.end = _times[i];
    verify(stretch);
    _stretches.push_back(stretch);
  }
}

/// What evaluation makes of a stretch decides.
void Component::verify(Stretch& stretch) const {
  if (stretch.shape == Shape::Held && stretch.first == stretch.last) stretch.shape = Shape::Straight;
  if (stretch.shape == Shape::Bent) return;
  double const size = std::max({std::abs(stretch.first), std::abs(stretch.last), 1e-3});
  for (double const share : {0.21, 0.5, 0.83}) {
    double const time = static_cast<float>(stretch.begin + share * (stretch.end - stretch.begin));
    if (time <= stretch.begin || time >= stretch.end) continue;
    if (std::abs(at(time) - stretch.valueAt(time)) > 4e-6 * size) stretch.shape = Shape::Bent;
  }
}

double Component::at(double time) const {
  if (!_reader) return _constant;
  _reader->evaluate(time);
  return _reader->value(0);
}

Stretch Component::stretchAt(double middle) const {
  Stretch flat{middle, middle, _constant, _constant, 0, 0, Shape::Straight};
  if (_stretches.empty() || middle < _times.front() || middle > _times.back()) {
    if (!hasCurve()) return flat;
    // A curve of one key has its value everywhere.
    if (!_isConstantOutside && _times.size() > 1) return {};
    double const value = at(middle);
    flat.first = value;
    flat.last = value;
    return flat;
  }
  auto const after = std::upper_bound(_times.begin(), _times.end(), middle);
  auto const index = static_cast<std::size_t>(std::max<std::ptrdiff_t>(after - _times.begin() - 1, 0));
  return _stretches[std::min(index, _stretches.size() - 1)];
}

/// The values of one channel at a time.
using Values = std::array<double, 4>;

/// A channel while its samples are looked for.
struct Sampling {
  std::size_t size = 3;
  double tolerance = 0;
  std::function<Values(double)> evaluate;
  std::function<Values(Values const&, Values const&, double)> mix;
  std::function<double(Values const&, Values const&)> distance;
};

Values mixLines(Values const& a, Values const& b, double share) {
  Values result{};
  for (std::size_t i = 0; i < 3; ++i) result[i] = a[i] + share * (b[i] - a[i]);
  return result;
}

double largestDifference(Values const& a, Values const& b) {
  return std::max({std::abs(a[0] - b[0]), std::abs(a[1] - b[1]), std::abs(a[2] - b[2])});
}

Rotation toRotation(Values const& v) { return {v[3], v[0], v[1], v[2]}; }
Values toValues(Rotation const& r) { return {r.x, r.y, r.z, r.w}; }
double dot(Values const& a, Values const& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3]; }

/// As glTF has it: on the shorter arc, at an even pace.
Values mixRotations(Values const& a, Values const& b, double share) {
  double const cosine = std::min(std::abs(dot(a, b)), 1.0);
  double const sign = dot(a, b) < 0 ? -1 : 1;
  double const angle = std::acos(cosine);
  double const first = angle < 1e-7 ? 1 - share : std::sin((1 - share) * angle) / std::sin(angle);
  double const second = sign * (angle < 1e-7 ? share : std::sin(share * angle) / std::sin(angle));
  Values result{};
  for (std::size_t i = 0; i < 4; ++i) result[i] = first * a[i] + second * b[i];
  return result;
}

double angleOf(Values const& a, Values const& b) { return angleBetween(toRotation(a), toRotation(b)); }

void append(GltfTrack& track, double time, Values values, std::size_t size) {
  if (!track.times.empty() && static_cast<float>(time) <= track.times.back()) return;
  // One way of naming a turn after the other: readers go the shorter way.
  std::size_t const count = track.values.size();
  if (size == 4 && count >= 4) {
    Values const former = {track.values[count - 4], track.values[count - 3], track.values[count - 2],
                           track.values[count - 1]};
    if (dot(former, values) < 0) {
      for (double& each : values) each = -each;
    }
  }
  track.times.push_back(static_cast<float>(time));
  for (std::size_t i = 0; i < size; ++i) track.values.push_back(static_cast<float>(values[i]));
}

bool isNear(Sampling const& sampling, double begin, Values const& first, double end, Values const& last) {
  for (double const share : {0.5, 0.25, 0.75}) {
    double const time = begin + share * (end - begin);
    if (sampling.distance(sampling.evaluate(time), sampling.mix(first, last, share)) > sampling.tolerance / 2)
      return false;
  }
  return true;
}

/// Samples between two times, without the first one.
void refine(Sampling const& sampling, double begin, double end, GltfTrack& track) {
  std::vector<double> ends{end};
  Values first = sampling.evaluate(begin);
  while (!ends.empty()) {
    Values const last = sampling.evaluate(ends.back());
    double const middle = static_cast<float>((begin + ends.back()) / 2);
    bool const isWhole = middle <= begin || middle >= ends.back();
    if (!isWhole && !isNear(sampling, begin, first, ends.back(), last)) {
      ends.push_back(middle);
      continue;
    }
    append(track, ends.back(), last, sampling.size);
    begin = ends.back();
    first = last;
    ends.pop_back();
  }
}

/// A channel that is not what glTF can say by itself. Before a jump the value that was held has a sample of its own.
GltfTrack sample(std::string const& path, std::set<double> const& times, bool hasJumps,
                 Sampling const& sampling) {
  GltfTrack track;
  track.path = path;
  track.isSampled = true;
  append(track, *times.begin(), sampling.evaluate(*times.begin()), sampling.size);
  double former = *times.begin();
  for (auto each = std::next(times.begin()); each != times.end(); ++each) {
    double const before = std::nextafter(static_cast<float>(*each), -INFINITY);
    if (hasJumps && before > former) {
      refine(sampling, former, before, track);
      former = before;
    }
    if (hasJumps && former == before)
      append(track, *each, sampling.evaluate(*each), sampling.size);
    else
      refine(sampling, former, *each, track);
    former = *each;
  }
  return track;
}

using Components = std::array<Component, 3>;

std::set<double> timesOf(Components const& components) {
  std::set<double> times;
  for (Component const& each : components) times.insert(each.times().begin(), each.times().end());
  return times;
}

/// What all components together are between each two keys.
struct Common {
  bool canHold = true;
  bool canBeStraight = true;
  bool canBeCubic = true;
};

Common commonShape(Components const& components, std::vector<double> const& times) {
  Common common;
  for (std::size_t i = 1; i < times.size(); ++i) {
    for (Component const& component : components) {
      Stretch const stretch = component.stretchAt((times[i - 1] + times[i]) / 2);
      bool const isFlat = stretch.shape == Shape::Straight && stretch.first == stretch.last;
      common.canHold = common.canHold && (stretch.shape == Shape::Held || isFlat);
      common.canBeStraight = common.canBeStraight && (stretch.shape == Shape::Straight);
      common.canBeCubic =
          common.canBeCubic && (stretch.shape == Shape::Straight || stretch.shape == Shape::Cubic);
    }
  }
  return common;
}

Values valuesAt(Components const& components, double time) {
  return {components[0].at(time), components[1].at(time), components[2].at(time), 0};
}

/// Slopes from both sides at every key.
void appendCubic(Components const& components, std::vector<double> const& times, GltfTrack& track) {
  auto const slopes = [&](std::size_t interval, double time) {
    for (Component const& component : components)
      track.values.push_back(
          static_cast<float>(component.stretchAt((times[interval] + times[interval + 1]) / 2).slopeAt(time)));
  };
  for (std::size_t i = 0; i < times.size(); ++i) {
    track.times.push_back(static_cast<float>(times[i]));
    slopes(i == 0 ? 0 : i - 1, times[i]);
    Values const values = valuesAt(components, times[i]);
    for (std::size_t k = 0; k < 3; ++k) track.values.push_back(static_cast<float>(values[k]));
    slopes(i + 1 == times.size() ? i - 1 : i, times[i]);
  }
}

GltfTrack vectorTrack(std::string const& path, Components const& components, ExportOptions const& options) {
  std::set<double> const distinct = timesOf(components);
  std::vector<double> const times(distinct.begin(), distinct.end());
  Common const common = commonShape(components, times);
  GltfTrack track;
  track.path = path;
  if (common.canHold || common.canBeStraight) {
    track.interpolation = common.canBeStraight ? GltfInterpolation::Linear : GltfInterpolation::Step;
    for (double const time : times) append(track, time, valuesAt(components, time), 3);
    return track;
  }
  if (common.canBeCubic) {
    track.interpolation = GltfInterpolation::Cubic;
    appendCubic(components, times, track);
    return track;
  }
  double largest = 0;
  for (double const time : times) {
    for (double const value : valuesAt(components, time)) largest = std::max(largest, std::abs(value));
  }
  Sampling sampling;
  sampling.tolerance = options.share * (largest > 0 ? largest : 1);
  sampling.evaluate = [&components](double time) { return valuesAt(components, time); };
  sampling.mix = mixLines;
  sampling.distance = largestDifference;
  bool const hasJumps =
      std::any_of(components.begin(), components.end(), std::mem_fn(&Component::isHeldSomewhere));
  return sample(path, distinct, hasJumps, sampling);
}

Rotation frameOf(osg::Transform3D const& transform) {
  osg::Vec3f const angles = transform.getEulerRotationOrientation();
  return knanim::toRotation(EulerDegrees{angles.x(), angles.y(), angles.z()});
}

GltfTrack rotationTrack(Components const& components, Rotation const& frame, ExportOptions const& options) {
  std::set<double> const distinct = timesOf(components);
  std::vector<double> const times(distinct.begin(), distinct.end());
  Sampling sampling;
  sampling.size = 4;
  sampling.tolerance = options.degrees;
  sampling.evaluate = [&](double time) {
    Values const angles = valuesAt(components, time);
    Rotation rotation = frame * knanim::toRotation(EulerDegrees{angles[0], angles[1], angles[2]});
    normalize(rotation);
    return toValues(rotation);
  };
  sampling.mix = mixRotations;
  sampling.distance = angleOf;
  if (commonShape(components, times).canHold) {
    GltfTrack track;
    track.path = "rotation";
    track.interpolation = GltfInterpolation::Step;
    for (double const time : times) append(track, time, sampling.evaluate(time), 4);
    return track;
  }
  bool const hasJumps =
      std::any_of(components.begin(), components.end(), std::mem_fn(&Component::isHeldSomewhere));
  return sample("rotation", distinct, hasJumps, sampling);
}

Vector3 toArray(osg::Vec3f const& v) { return {v.x(), v.y(), v.z()}; }

osg::Vec3f fieldOf(osg::Transform3D const& transform, ChannelKind kind) {
  return kind == ChannelKind::Translation ? transform.getTranslation()
         : kind == ChannelKind::Rotation  ? transform.getEulerRotation()
                                          : transform.getScale();
}

/// Nothing when no curve with keys moves the channel.
std::optional<Components> componentsOf(std::span<HungCurve const> curves, ChannelKind kind) {
  osg::Transform3D const& target = *curves.front().curve.target;
  osg::Vec3f const field = fieldOf(target, kind);
  Components components = {Component(field.x()), Component(field.y()), Component(field.z())};
  bool isAnimated = false;
  for (HungCurve const& each : curves) {
    if (each.curve.kind != kind || each.curve.curve->isEmpty()) continue;
    components[each.curve.component] = Component(each.curve);
    isAnimated = isAnimated || components[each.curve.component].hasCurve();
  }
  if (!isAnimated) return std::nullopt;
  return components;
}

Vector3 turned(Rotation const& rotation, Vector3 const& v) {
  Matrix3 const m = toMatrix(rotation);
  Vector3 result{};
  for (std::size_t i = 0; i < 3; ++i) result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
  return result;
}

/// Where the origin of a transform with a pivot gets to: translation + pivot - turned pivot.
Vector3 withPivot(Vector3 translation, Vector3 const& pivot, Rotation const& rotation) {
  Vector3 const moved = turned(rotation, pivot);
  for (std::size_t i = 0; i < 3; ++i) translation[i] += pivot[i] - moved[i];
  return translation;
}

/// With a pivot a turn moves the origin: both channels go into the translation.
GltfTrack pivotTrack(osg::Transform3D const& target, std::optional<Components> const& translation,
                     std::optional<Components> const& rotation, ExportOptions const& options) {
  auto const constant = [&target](ChannelKind kind) {
    osg::Vec3f const field = fieldOf(target, kind);
    return Components{Component(field.x()), Component(field.y()), Component(field.z())};
  };
  Components const moves = translation ? *translation : constant(ChannelKind::Translation);
  Components const turns = rotation ? *rotation : constant(ChannelKind::Rotation);
  std::set<double> times = timesOf(moves);
  times.merge(timesOf(turns));
  Rotation const frame = frameOf(target);
  Vector3 const pivot = toArray(target.getRotatePivot());
  Sampling sampling;
  sampling.evaluate = [&](double time) {
    Values const angles = valuesAt(turns, time);
    Values const way = valuesAt(moves, time);
    Vector3 const place =
        withPivot({way[0], way[1], way[2]}, pivot,
                  frame * knanim::toRotation(EulerDegrees{angles[0], angles[1], angles[2]}));
    return Values{place[0], place[1], place[2], 0};
  };
  sampling.mix = mixLines;
  sampling.distance = largestDifference;
  double largest = 0;
  for (double const time : times)
    largest = std::max(largest, largestDifference(sampling.evaluate(time), Values{}));
  sampling.tolerance = options.share * (largest > 0 ? largest : 1);
  return sample("translation", times, true, sampling);
}

}  // namespace

std::vector<GltfTrack> makeTracks(std::span<HungCurve const> curves, ExportOptions const& options) {
  std::vector<GltfTrack> tracks;
  if (curves.empty()) return tracks;
  osg::Transform3D const& target = *curves.front().curve.target;
  auto const translation = componentsOf(curves, ChannelKind::Translation);
  auto const rotation = componentsOf(curves, ChannelKind::Rotation);
  auto const scale = componentsOf(curves, ChannelKind::Scale);
  bool const hasPivot = osg::length(target.getRotatePivot()) > 0;
  if (hasPivot && (translation || rotation))
    tracks.push_back(pivotTrack(target, translation, rotation, options));
  else if (translation)
    tracks.push_back(vectorTrack("translation", *translation, options));
  if (rotation) tracks.push_back(rotationTrack(*rotation, frameOf(target), options));
  if (scale) tracks.push_back(vectorTrack("scale", *scale, options));
  return tracks;
}

GltfPlace placeOf(osg::Transform3D const& transform) {
  osg::Vec3f const angles = transform.getEulerRotation();
  Rotation rotation =
      frameOf(transform) * knanim::toRotation(EulerDegrees{angles.x(), angles.y(), angles.z()});
  normalize(rotation);
  return {withPivot(toArray(transform.getTranslation()), toArray(transform.getRotatePivot()), rotation),
          toValues(rotation), toArray(transform.getScale())};
}

}  // namespace knanim
