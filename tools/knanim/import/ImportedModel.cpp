#include "knanim/import/ImportedModel.h"

#include <algorithm>

namespace knanim {

char const* channelName(ChannelKind kind) {
  switch (kind) {
    case ChannelKind::Translation:
      return "translation";
    case ChannelKind::Rotation:
      return "rotation";
    case ChannelKind::Scale:
      break;
  }
  return "scale";
}

double framesPerSecond(AnimationSummary const& animation) {
  constexpr double kFewest = 5;
  constexpr double kMost = 300;
  constexpr double kElse = 30;
  double const ticks = animation.ticksPerSecond;
  return !animation.ticksAreGuessed && ticks >= kFewest && ticks <= kMost ? ticks : kElse;
}

KeyCounts& KeyCounts::operator+=(KeyCounts const& other) {
  translation += other.translation;
  rotation += other.rotation;
  scale += other.scale;
  return *this;
}

std::string ImportedModel::curveName(ImportedCurve const& curve) const {
  return nodes[curve.node].name + '.' + channelName(curve.kind) + '.' + kComponentSuffixes[curve.component];
}

std::size_t ImportedModel::keyCount() const {
  std::size_t count = 0;
  for (ImportedCurve const& curve : curves) count += curve.keys.size();
  return count;
}

std::optional<TimeSpan> timeSpan(ImportedModel const& model) {
  std::optional<TimeSpan> span;
  auto const extend = [&span](auto const& keys) {
    if (!span) span = TimeSpan{keys.front().time, keys.back().time};
    span->begin = std::min(span->begin, keys.front().time);
    span->end = std::max(span->end, keys.back().time);
  };
  for (ImportedCurve const& curve : model.curves) extend(curve.keys);
  for (ImportedMorph const& morph : model.morphs) extend(morph.keys);
  if (span) span->end = std::max(span->end, model.summary.animations[model.animation].durationSeconds);
  return span;
}

}  // namespace knanim
