// How a plan is made of the present scene.
#include "evaluation/AnimOwner.h"
#include "evaluation/ChunkGathering.h"
#include "evaluation/FieldContents.h"
#include "evaluation/ScenePlan.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/fields/StructureCounter.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneplate/Sceneplate.h"
#include "model/utils/knIdTable.h"

#include <algorithm>

using osg::AnimCurve;
using osg::AnimNode;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::UInt32;

namespace {

template <class T>
UInt32 countOf(std::vector<T> const& list) {
  return static_cast<UInt32>(list.size());
}

ScenePlan::Kind kindOf(WriteRule const& rule) {
  return rule.kind == WriteRule::Kind::Field ? ScenePlan::Kind::Direct : ScenePlan::Kind::Turn;
}

}  // namespace

/// Everything that is needed while a plan is made, and no longer.
class ScenePlanning {
 public:
  explicit ScenePlanning(ScenePlan& plan) : _plan(plan) {}

  void addNodes(osg::NodePtr const& root) {
    std::vector<osg::NodePtr> pending;
    std::vector<AnimatedOwner> animated;
    std::vector<osg::GeometryPtr> gates;
    findAnimatedNodes(root, pending, animated, &gates);
    for (osg::GeometryPtr const& gate : gates) _plan._gates.push_back({&*gate, gate->isComponent()});
    addSection(animated);
  }

  void addMaterials(std::vector<osg::MaterialPtr> const& materials) {
    std::vector<AnimatedOwner> animated;
    for (osg::MaterialPtr const& material : materials) {
      if (!material.isAlive()) continue;
      osg::StructureCounter::watch(*material);
      osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(material);
      if (!attachment) continue;
      osg::StructureCounter::watch(*attachment);
      animated.push_back(makeAnimatedOwner(material, attachment));
    }
    addSection(animated);
  }

  /// Sorts out who shares a curve with whom, when all have been added.
  void finish() {
    for (UInt32 v = 0; v < countOf(_plan.visits); ++v) countVisit(_plan.visits[v]);
    for (UInt32 v = 0; v < countOf(_plan.visits); ++v) planVisit(v);
    makePools();
    for (UInt32 v = 0; v < countOf(_plan.visits); ++v) {
      ScenePlan::Visit& visit = _plan.visits[v];
      visit.isAsked = std::any_of(_plan.targets.begin() + visit.first, _plan.targets.begin() + visit.end,
                                  [](auto const& target) { return target.kind == ScenePlan::Kind::Asked; });
      if (visit.isAsked) _plan.askedVisits.push_back(v);
    }
    for (auto* const list : {&_plan.askedVisits, &_plan.pooledTargets, &_plan.ancestors})
      list->shrink_to_fit();
    _plan.items.shrink_to_fit();
    _plan.targets.shrink_to_fit();
    _plan.visits.shrink_to_fit();
  }

 private:
  static constexpr UInt32 ChunkSize = 192;

  struct Pending {
    AnimNodePtr node;
    UInt32 parent;
  };

  void addSection(std::vector<AnimatedOwner> const& animated) {
    ScenePlan::Section section{};
    section.firstChunk = countOf(_plan.chunks);
    section.firstVisit = countOf(_plan.visits);
    for (AnimatedOwner const& one : animated) addVisit(one);
    closeChunk();
    section.endChunk = countOf(_plan.chunks);
    section.endVisit = countOf(_plan.visits);
    section.endTarget = countOf(_plan.targets);
    _plan.sections.push_back(section);
  }

  void addVisit(AnimatedOwner const& one) {
    UInt32 const position = countOf(_plan.targets);
    auto const [first, isNew] = _visitOfTree.insert(one.tree.getContainerId(), countOf(_plan.visits));
    ScenePlan::Visit visit{one.owner, position, position, position, one.isFurther};
    if (isNew) {
      _firstCache = countOf(_plan.caches);
      addTree(one.tree);
      visit.end = countOf(_plan.targets);
    } else {
      visit.first = _plan.visits[first].first;
      visit.end = _plan.visits[first].end;
    }
    addCaches(isNew, first);
    _plan.visits.push_back(visit);
  }

  /// The caches of a tree belong to each of its owners.
  void addCaches(bool isNew, UInt32 firstVisit) {
    UInt32 const visit = countOf(_plan.visits);
    if (isNew) {
      for (UInt32 i = _firstCache; i < countOf(_plan.caches); ++i) _plan.caches[i].visit = visit;
      return;
    }
    std::size_t const count = _plan.caches.size();
    for (std::size_t i = 0; i < count; ++i) {
      ScenePlan::Cache cache = _plan.caches[i];
      if (cache.visit != firstVisit) continue;
      cache.visit = visit;
      _plan.caches.push_back(cache);
    }
  }

  void addTree(AnimNodePtr const& tree) {
    _pending.assign(1, {tree, ScenePlan::None});
    while (!_pending.empty()) {
      auto const [node, parent] = _pending.back();
      _pending.pop_back();
      if (!node.isAlive()) continue;
      closeItems(parent);
      UInt32 const item = countOf(_plan.items);
      if (_open.empty() ? item - _chunkStart >= ChunkSize : item - _chunkStart >= 2 * ChunkSize) closeChunk();
      addItem(*node, *tree);
      _open.push_back(item);
      auto const& children = std::as_const(*node).getChildren();
      for (std::size_t i = children.size(); i-- > 0;)
        _pending.push_back({osg::dcast<AnimNodePtr>(children[i]), item});
    }
    closeItems(ScenePlan::None);
  }

  void addItem(AnimNode const& node, AnimNode const& tree) {
    osg::StructureCounter::watch(node, true);
    if (node.getCore().isAlive()) osg::StructureCounter::watch(*node.getCore());
    AnimCurve const* const curve = osg::dcastTo<AnimCurve>(node.getCore());
    _plan.items.push_back({&node, curve, 0, countOf(_plan.targets)});
    if (curve != nullptr) {
      ScenePlan::Target& target = _plan.targets.emplace_back();
      target.nodeId = node.getContainerId();
      target.curveId = curve->getContainerId();
    } else if (isCache(node.getCore().findType())) {
      _plan.caches.push_back({&node, &tree, 0});
    }
  }

  /// Items end where one begins that hangs on another above them.
  void closeItems(UInt32 parent) {
    while (!_open.empty() && _open.back() != parent) {
      _plan.items[_open.back()].end = countOf(_plan.items);
      _open.pop_back();
    }
  }

  void closeChunk() {
    UInt32 const end = countOf(_plan.items);
    if (end > _chunkStart)
      _plan.chunks.push_back({_chunkStart, end, _firstAncestor, countOf(_plan.ancestors)});
    _chunkStart = end;
    _firstAncestor = countOf(_plan.ancestors);
    _plan.ancestors.insert(_plan.ancestors.end(), _open.begin(), _open.end());
  }

  void countVisit(ScenePlan::Visit const& visit) {
    for (UInt32 t = visit.first; t < visit.end; ++t) ++_uses.insert(_plan.targets[t].curveId, {}).first.count;
  }

  UInt32 aimOf(FieldContainerPtr const& container) {
    auto const [place, isNew] = _aims.insert(container.getContainerId(), _plan.aims.size());
    if (isNew) _plan.aims.add(container);
    return place;
  }

  /// The entry of the container that takes an owner's curves itself; none where more has to be asked.
  UInt32 plainAimOf(ScenePlan::Visit const& visit) {
    bool const isAsked =
        !visit.isPlain || !visit.core || osg::dcastTo<osg::Sceneplate>(visit.core) != nullptr;
    return isAsked ? ScenePlan::None : aimOf(visit.core);
  }

  void planVisit(UInt32 number) {
    ScenePlan::Visit& visit = _plan.visits[number];
    if (visit.first == visit.end) return;
    AnimOwner const owner(visit.owner);
    visit.isPlain = owner.isPlain();
    visit.core = owner.getCore();
    UInt32 const aim = plainAimOf(visit);
    bool const isFirst = visit.first == visit.position;
    for (UInt32 t = visit.first; t < visit.end; ++t) {
      ScenePlan::Target& target = _plan.targets[t];
      Use& use = *_uses.find(target.curveId);
      if (use.count > 1) {
        use.isPooled = use.isPooled && aim != ScenePlan::None;
        _shared.push_back({target.curveId, {number, t}, aim});
        if (isFirst) target.isLate = visit.isFurther;
      }
      if (isFirst) planTarget(target, aim, use.count > 1);
    }
  }

  void planTarget(ScenePlan::Target& target, UInt32 aim, bool isShared) {
    auto const node = osg::dcast<AnimNodePtr>(osg::FieldContainerFactory::the().getContainer(target.nodeId));
    auto const& curve = *osg::dcastTo<AnimCurve>(node->getCore());
    target.valueIndex = curve.getValueIndex();
    target.isLate = isShared && (target.isLate || node->isFurtherUserOfCore());
    if (isShared || aim == ScenePlan::None || curve.getChannelName() == "visible") return;
    FieldContainerPtr const& container = _plan.aims[aim];
    WriteRule const& rule = WriteRule::find(*container.findType(), curve.getName());
    float* const place = findPlace(container, rule, target.valueIndex);
    if (place == nullptr) return;
    target.rule = &rule;
    target.place = place;
    target.aim = aim;
    target.kind = kindOf(rule);
  }

  /// Curves whose owners all take them by one rule go to a list of places that is sorted once.
  void makePools() {
    std::stable_sort(_shared.begin(), _shared.end(),
                     [](Shared const& a, Shared const& b) { return a.curveId < b.curveId; });
    for (auto first = _shared.begin(); first != _shared.end();) {
      auto const last = std::find_if(first, _shared.end(),
                                     [&](Shared const& one) { return one.curveId != first->curveId; });
      if (_uses.find(first->curveId)->isPooled) makePool({first, last});
      first = last;
    }
  }

  struct Use {
    UInt32 count = 0;
    bool isPooled = true;
  };
  struct Shared {
    UInt32 curveId;
    ScenePlan::Occurrence where;
    UInt32 aim;
  };

  void makePool(std::span<Shared const> shared) {
    auto const* const curve =
        osg::dcastTo<AnimCurve>(osg::FieldContainerFactory::the().getContainer(shared.front().curveId));
    if (curve->getChannelName() == "visible") return;
    osg::FieldContainerType const* const type = _plan.aims[shared.front().aim].findType();
    WriteRule const& rule = WriteRule::find(*type, curve->getName());
    std::vector<UInt32> aims;
    for (Shared const& one : shared) aims.push_back(one.aim);
    auto const handle = [&](UInt32 aim) -> FieldContainerPtr const& { return _plan.aims[aim]; };
    std::sort(aims.begin(), aims.end(), [&](UInt32 a, UInt32 b) { return handle(a) < handle(b); });
    aims.erase(std::unique(aims.begin(), aims.end()), aims.end());
    std::vector<ScenePlan::Place> places;
    for (UInt32 const aim : aims) {
      float* const place =
          handle(aim).findType() == type ? findPlace(handle(aim), rule, curve->getValueIndex()) : nullptr;
      if (place == nullptr) return;
      places.push_back({aim, place});
    }
    addPool(shared, {curve, &rule, curve->getValueIndex(), 0, 0, 0, 0, 0, 0}, places);
  }

  void addPool(std::span<Shared const> shared, ScenePlan::Pool pool,
               std::vector<ScenePlan::Place> const& places) {
    pool.firstOccurrence = countOf(_plan.occurrences);
    pool.firstTarget = countOf(_plan.pooledTargets);
    pool.firstPlace = countOf(_plan.places);
    for (Shared const& one : shared) {
      _plan.occurrences.push_back(one.where);
      ScenePlan::Target& target = _plan.targets[one.where.target];
      if (target.kind == ScenePlan::Kind::Pooled) continue;
      target.kind = ScenePlan::Kind::Pooled;
      target.aim = countOf(_plan.pools);
      _plan.pooledTargets.push_back(one.where.target);
    }
    _plan.places.insert(_plan.places.end(), places.begin(), places.end());
    pool.endOccurrence = countOf(_plan.occurrences);
    pool.endTarget = countOf(_plan.pooledTargets);
    pool.endPlace = countOf(_plan.places);
    _plan.pools.push_back(pool);
  }

  ScenePlan& _plan;
  knIdTable<UInt32> _visitOfTree;
  knIdTable<UInt32> _aims;
  knIdTable<Use> _uses;  ///< by curve
  std::vector<Shared> _shared;
  std::vector<Pending> _pending;
  std::vector<UInt32> _open;  ///< items whose end is not known yet
  UInt32 _chunkStart = 0;
  UInt32 _firstAncestor = 0;
  UInt32 _firstCache = 0;
};

ScenePlan::ScenePlan(std::vector<osg::MaterialPtr> const& materials)
    : _structure(osg::StructureCounter::get()),
      _roots{sceneRoot(), knSceneDataManager::getSceneplateRoot(0)},
      _materials(materials) {
  ScenePlanning planning(*this);
  for (osg::NodePtr const& root : _roots) planning.addNodes(root);
  planning.addMaterials(materials);
  planning.finish();
}
