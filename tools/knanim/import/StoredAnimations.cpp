#include "knanim/import/StoredAnimations.h"

#include "knanim/import/StoredContent.h"
#include "knanim/scene/BlockSwitch.h"
#include "knanim/scene/HungCurves.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_map>

namespace knanim {
namespace {

std::string nameOf(osg::AnimNodePtr const& node) {
  char const* const name = osg::NodeUtils::getName(node);
  return printable(name != nullptr ? name : "");
}

void add(AnimationSummary const& part, AnimationSummary& summary) {
  summary.keys += part.keys;
  summary.channels += part.channels;
  summary.morphChannels += part.morphChannels;
  summary.morphKeys += part.morphKeys;
  summary.durationSeconds = std::max(summary.durationSeconds, part.durationSeconds);
  summary.beginSeconds = std::min(summary.beginSeconds, part.beginSeconds);
}

/// What is counted of an animation.
struct Counting {
  Counting() {
    summary.beginSeconds = INFINITY;
    summary.durationSeconds = -INFINITY;
  }

  AnimationSummary summary;
  std::size_t node = ImportedNode::NoParent;  ///< the last one that was counted

  void addTime(TimeSpan const& span) {
    summary.beginSeconds = std::min(summary.beginSeconds, span.begin);
    summary.durationSeconds = std::max(summary.durationSeconds, span.end);
  }
  void addNode(std::size_t next) {
    summary.channels += next != node ? 1U : 0U;
    node = next;
  }
  void add(ImportedCurve const& curve) {
    (curve.kind == ChannelKind::Translation ? summary.keys.translation
     : curve.kind == ChannelKind::Rotation  ? summary.keys.rotation
                                            : summary.keys.scale) += curve.keys.size();
    addTime({curve.keys.front().time, curve.keys.back().time});
  }
  void add(osg::AnimNode const& cache) {
    ++summary.morphChannels;
    summary.morphKeys += osg::dcastTo<osg::TimeShapeCache>(cache.getCore())->getShapes().size();
    if (auto const span = timesOf(cache)) addTime(*span);
  }
};

/// Counts what hangs in a scene, each curve and cache once.
class Survey {
 public:
  Survey(SceneParts const& parts, std::vector<BlockName> const& names);

  AnimationSummary ofAllActive() const { return _active.summary; }
  AnimationSummary ofName(std::size_t index) const {
    AnimationSummary summary = _ofNames[index].summary;
    add(_common.summary, summary);
    return summary;
  }

 private:
  Counting* findPlace(osg::AnimNodePtr const& block);
  void addCurves(std::vector<HungCurve> curves);
  void addCaches(std::vector<ScenePart> const& meshes);

  std::vector<BlockName> const& _names;
  std::unordered_map<std::string, std::size_t> _places;  ///< of the names
  std::vector<Counting> _ofNames;                        ///< without what is common
  Counting _common;
  Counting _active;
};

Survey::Survey(SceneParts const& parts, std::vector<BlockName> const& names)
    : _names(names), _ofNames(names.size()) {
  for (std::size_t i = 0; i < names.size(); ++i) _places.emplace(names[i].name, i);
  addCurves(findCurves(parts.nodes).curves);
  addCaches(parts.meshes);
}

/// Where it is counted what stands in a block, as `switchTo` would switch it; null when it stays switched off.
Counting* Survey::findPlace(osg::AnimNodePtr const& block) {
  if (block == nullptr) return &_common;
  std::size_t const index = _places.at(nameOf(block));
  return _names[index].isActive && !block->isActive() ? nullptr : &_ofNames[index];
}

void Survey::addCurves(std::vector<HungCurve> curves) {
  std::erase_if(curves, [](HungCurve const& each) { return !each.isActiveInBlock; });
  std::stable_sort(curves.begin(), curves.end(), standsBefore);
  // The curves of a node follow each other. One that is common to all animations counts for none by itself.
  for (auto first = curves.begin(); first != curves.end();) {
    auto const last = std::find_if(first, curves.end(),
                                   [first](HungCurve const& each) { return each.node != first->node; });
    std::vector<Counting*> places;
    bool isCommon = false;
    for (auto each = first; each != last; ++each) {
      ImportedCurve const curve = describe(*each);
      Counting* const place = curve.keys.empty() ? nullptr : findPlace(each->block);
      if (place == nullptr) continue;
      place->add(curve);
      places.push_back(place);
      isCommon = isCommon || place == &_common;
      if (!each->isActive) continue;
      _active.add(curve);
      _active.addNode(curve.node);
    }
    for (Counting* const place : places) {
      if (!isCommon || place == &_common) place->addNode(first->node);
    }
    first = last;
  }
}

void Survey::addCaches(std::vector<ScenePart> const& meshes) {
  for (ScenePart const& mesh : meshes) {
    for (HungCache const& cache : findCachesInBlocks(mesh.node)) {
      if (Counting* const place = findPlace(cache.block)) place->add(*cache.node);
      if (cache.block == nullptr || cache.block->isActive()) _active.add(*cache.node);
    }
  }
}

/// The name that all shape caches have in common; empty when there is none.
std::string nameOfCaches(SceneParts const& parts) {
  std::optional<std::string> common;
  for (ScenePart const& mesh : parts.meshes) {
    for (osg::AnimNodePtr const& cache : findCaches(mesh.node)) {
      std::string const own = nameOf(cache);
      if (common.value_or(own) != own) return {};
      common = own;
    }
  }
  return common.value_or("");
}

}  // namespace

std::vector<AnimationSummary> summarizeAnimations(SceneParts const& parts, double rate) {
  std::vector<AnimationSummary> all;
  std::vector<BlockName> const names = blockNames(parts.all);
  Survey const survey(parts, names);
  auto const append = [&](AnimationSummary summary, std::string const& name) {
    summary.name = printable(name);
    summary.ticksPerSecond = rate;
    if (!std::isfinite(summary.beginSeconds)) summary.beginSeconds = summary.durationSeconds = 0;
    all.push_back(std::move(summary));
  };
  auto const active =
      std::count_if(names.begin(), names.end(), [](BlockName const& each) { return each.isActive; });
  AnimationSummary const whole = survey.ofAllActive();
  if (active != 1 && whole.keys.total() + whole.morphKeys != 0) {
    std::string const ofCaches = names.empty() ? nameOfCaches(parts) : "";
    append(whole, ofCaches.empty() ? kAllActive : ofCaches);
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    append(survey.ofName(i), names[i].name);
    // What is on comes first, as it is what plays.
    if (active == 1 && names[i].isActive) std::rotate(all.begin(), all.end() - 1, all.end());
  }
  return all;
}

}  // namespace knanim
