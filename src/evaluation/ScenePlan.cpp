// What each evaluation reads of the objects that a plan names.
#include "evaluation/ScenePlan.h"

#include "evaluation/CurveValue.h"
#include "evaluation/SegmentBatch.h"
#include "model/fields/StructureCounter.h"
#include "model/scenedata/SceneRoots.h"

#include <cstring>

using osg::AnimCurve;
using osg::AnimNode;
using osg::CCPnt;

namespace {

bool isActive(AnimNode const& node) { return node.isActive() && !node.getHidden(); }

[[gnu::always_inline]] inline void prefetchObjects(ScenePlan::Item const& item) {
  prefetchSpan(std::as_const(*item.node).getTravMask(), item.node->getAccumulatedParentScale());
  if (item.curve != nullptr) prefetchSpan(item.curve->getName(), item.curve->getControlPoints());
}

/// The segment that was read last.
[[gnu::always_inline]] inline void prefetchSegment(AnimCurve const& curve) {
  auto const& keys = curve.getControlPoints();
  std::size_t const hint = curve.getSegmentHint();
  if (hint + 1 < keys.size()) {
    prefetchSpan(keys[hint], keys[hint + 1]);
  } else if (!keys.empty()) {
    __builtin_prefetch(&keys.front());
    __builtin_prefetch(&keys.back());
  }
}

/// Names are short, and mostly equal: no call for what two words can tell, which may overlap.
[[gnu::always_inline]] inline bool equals(std::string const& a, std::string const& b) {
  std::size_t const size = a.size();
  if (size != b.size()) return false;
  auto const areEqual = [&](auto word) {
    auto const difference = [&](std::size_t at) {
      decltype(word) first;
      decltype(word) second;
      std::memcpy(&first, a.data() + at, sizeof(first));
      std::memcpy(&second, b.data() + at, sizeof(second));
      return first ^ second;
    };
    return (difference(0) | difference(size - sizeof(word))) == 0;
  };
  if (size > 16 || size < 4) return std::memcmp(a.data(), b.data(), size) == 0;
  return size < 8 ? areEqual(osg::UInt32{}) : areEqual(osg::UInt64{});
}

}  // namespace

bool ScenePlan::isSound() const { return _structure == osg::StructureCounter::get(); }

bool ScenePlan::holds(std::vector<osg::MaterialPtr> const& materials) const {
  return isSound() && _roots[0] == sceneRoot() && _roots[1] == knSceneDataManager::getSceneplateRoot(0) &&
         _materials == materials && std::all_of(_gates.begin(), _gates.end(), [](Gate const& gate) {
           return gate.geometry->isComponent() == gate.isComponent;
         });
}

bool ScenePlan::writesAsPlanned(AnimCurve const& curve, WriteRule const& rule, osg::UInt32 valueIndex) {
  return curve.getValueIndex() == valueIndex && equals(curve.getName(), *rule.name);
}

bool ScenePlan::isAsPlanned(AnimCurve const& curve, WriteRule const& rule, osg::UInt32 valueIndex) {
  constexpr std::string_view ToTheNode = "visible";
  return writesAsPlanned(curve, rule, valueIndex) && curve.getChannelName() != ToTheNode;
}

void ScenePlan::setIdle(std::span<Target> targets) {
  for (Target& target : targets) target.state = State::Idle;
}

osg::UInt32 ScenePlan::targetsBefore(osg::UInt32 item) const {
  return item < items.size() ? items[item].target : static_cast<osg::UInt32>(targets.size());
}

bool ScenePlan::look(Chunk const& chunk, float time) {
  constexpr osg::UInt32 NodesAhead = 12;
  constexpr osg::UInt32 KeysAhead = 6;
  osg::UInt32 i = chunk.first;
  auto const passOver = [&](osg::UInt32 end) {
    end = std::min(end, chunk.end);
    osg::UInt32 const first = targetsBefore(i);
    setIdle(std::span(targets).subspan(first, targetsBefore(end) - first));
    i = end;
  };
  for (osg::UInt32 k = chunk.firstAncestor; k < chunk.endAncestor && i == chunk.first; ++k) {
    Item const& above = items[ancestors[k]];
    if (!isActive(*above.node)) passOver(above.end);
  }
  bool differs = false;
  SegmentBatch batch;
  for (osg::UInt32 k = i; k < std::min(i + NodesAhead, chunk.end); ++k) prefetchObjects(items[k]);
  while (i < chunk.end) {
    if (i + NodesAhead < chunk.end) prefetchObjects(items[i + NodesAhead]);
    if (i + KeysAhead < chunk.end && items[i + KeysAhead].curve != nullptr)
      prefetchSegment(*items[i + KeysAhead].curve);
    Item const& item = items[i];
    if (!isActive(*item.node)) {
      passOver(item.end);
      continue;
    }
    if (item.curve != nullptr && lookAt(item, targets[item.target], time, batch)) differs = true;
    ++i;
  }
  return differs;
}

bool ScenePlan::takesPart(Cache const& cache) {
  for (AnimNode const* node = cache.node; node != nullptr;) {
    if (!isActive(*node)) return false;
    if (node == cache.tree) return true;
    node = osg::dcastTo<AnimNode>(node->getParent());
  }
  return false;
}

bool ScenePlan::lookAt(Item const& item, Target& target, float time, SegmentBatch& batch) {
  if (item.curve->isEmpty()) {
    target.state = State::Idle;
    return false;
  }
  bool const isDirect = target.kind == Kind::Direct || target.kind == Kind::Turn;
  bool const isAsPlannedNow = isDirect && isAsPlanned(*item.curve, *target.rule, target.valueIndex);
  target.state = isAsPlannedNow ? State::Direct : State::Asked;
  if (!target.isLate) {
    CurveResult result{0.F, time, 0.F};
    SegmentKeys segment;
    if (findCurveValue(*item.node, *item.curve, result, segment)) {
      batch.add(segment, result.time, result.value, result.cycleValueOffset, target.value);
    } else {
      target.value = result.value + result.cycleValueOffset;
    }
  }
  return isDirect && !isAsPlannedNow;
}
