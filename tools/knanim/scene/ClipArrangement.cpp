#include "knanim/scene/ClipArrangement.h"

#include "knanim/scene/AnimationTrees.h"
#include "model/sceneext/AnimClip.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace knanim {
namespace {

constexpr std::size_t kFewestClips = 3;
constexpr std::size_t kMostClips = 6;
constexpr double kFasterEachTime = 0.6;
constexpr double kOverlap = 0.4;  ///< of the shorter one of two clips
constexpr double kGap = 0.3;

bool isSameChannel(SceneCurve const& a, SceneCurve const& b) {
  return a.target == b.target && a.kind == b.kind && a.component == b.component;
}

TimeSpan keySpan(std::span<SceneCurve const> curves) {
  TimeSpan span{INFINITY, -INFINITY};
  for (SceneCurve const& curve : curves) {
    auto const range = curve.curve->getTimeRange();
    if (!range) continue;
    span = {std::min<double>(span.begin, range->min), std::max<double>(span.end, range->max)};
  }
  return span;
}

std::vector<SceneCurve> curvesOfClips(ClipArrangement const& arrangement, SceneCurve const& channel) {
  std::vector<SceneCurve> curves;
  for (PlacedClip const& clip : arrangement.clips()) {
    if (SceneCurve const* const curve = clip.find(channel)) curves.push_back(*curve);
  }
  return curves;
}

}  // namespace

SceneCurve const* PlacedClip::find(SceneCurve const& channel) const {
  auto const found = std::find_if(curves.begin(), curves.end(),
                                  [&](SceneCurve const& curve) { return isSameChannel(curve, channel); });
  return found == curves.end() ? nullptr : &*found;
}

ClipArrangement::ClipArrangement(std::span<ClipSource const> sources)
    : _root(makeTree(osg::AnimClipBase::create(), "clips")) {
  knAnimManager::the()->addToClipStructure(_root);
  std::vector<ClipSource const*> lasting;
  for (ClipSource const& source : sources) {
    TimeSpan const span = keySpan(source.curves);
    if (span.end > span.begin && lasting.size() < kMostClips) lasting.push_back(&source);
  }
  if (lasting.empty()) return;
  std::size_t const count = std::max(kFewestClips, lasting.size());
  for (std::size_t i = 0; i < count; ++i) {
    ClipSource const& source = *lasting[i % lasting.size()];
    std::size_t const timesBefore = i / lasting.size();
    double const scale = std::pow(kFasterEachTime, static_cast<double>(timesBefore));
    TimeSpan const keys = keySpan(source.curves);
    double const length = (keys.end - keys.begin) * scale;
    double begin = keys.begin;
    if (!_clips.empty()) {
      TimeSpan const& before = _clips.back().span;
      double const shorter = std::min(length, before.end - before.begin);
      begin = before.end + shorter * (i % 2 == 1 ? -kOverlap : kGap);
    }
    addClip(source, scale, begin);
  }
}

ClipArrangement::~ClipArrangement() { knAnimManager::the()->clearClipStructure(); }

void ClipArrangement::addClip(ClipSource const& source, double scale, double begin) {
  PlacedClip& clip = _clips.emplace_back();
  clip.name = source.name;
  clip.scale = scale;
  clip.node = makeClip(source.name, source.curves, clip.curves);
  clip.node->setScale(static_cast<float>(scale));
  clip.node->setOffset({static_cast<float>(begin - keySpan(source.curves).begin * scale), 0.F});
  _root->addChild(clip.node);
  clip.span = spanOf(clip.node);
}

void ClipArrangement::evaluate(double time) const {
  knAnimManager::the()->evaluateByTime(_root, static_cast<float>(time), true, true, false);
}

ClipProbe::ClipProbe(ClipArrangement const& arrangement, SceneCurve const& channel)
    : _arrangement(arrangement), _channel(channel), _reader(curvesOfClips(arrangement, channel)) {
  std::size_t next = 0;
  for (PlacedClip const& clip : arrangement.clips())
    _places.push_back(clip.find(channel) != nullptr ? std::optional(next++) : std::nullopt);
}

ClipSample ClipProbe::sample(double time) {
  ClipSample result;
  result.time = time;
  _reader.evaluate(time);
  float unlike = 1;
  for (std::size_t i = 0; i < _reader.size(); ++i)
    unlike = std::max(unlike, 2 * std::abs(_reader.value(i)) + 1);
  _channel.setFieldValue(unlike);
  _arrangement.evaluate(time);
  float const found = _channel.fieldValue();
  if (found != unlike) result.written = found;
  for (std::size_t clip = 0; clip < _places.size(); ++clip) {
    float const own = _places[clip] ? _reader.value(*_places[clip]) : std::numeric_limits<float>::quiet_NaN();
    result.own.push_back(own);
    if (result.written && own == found) result.writers.push_back(clip);
  }
  return result;
}

std::vector<double> tellingTimes(std::span<PlacedClip const> clips) {
  std::vector<double> ends;
  for (PlacedClip const& clip : clips) {
    ends.push_back(clip.span.begin);
    ends.push_back(clip.span.end);
  }
  std::sort(ends.begin(), ends.end());
  ends.erase(std::unique(ends.begin(), ends.end()), ends.end());
  if (ends.empty()) return {};
  double const margin = 0.08 * (ends.back() - ends.front());
  std::vector<double> times = {ends.front() - margin};
  for (std::size_t i = 1; i < ends.size(); ++i) times.push_back((ends[i - 1] + ends[i]) / 2);
  times.push_back(ends.back() + margin);
  return times;
}

}  // namespace knanim
