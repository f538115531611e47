#include "diagnosis/MotionWarnings.h"
#include "evaluation/CurveValue.h"
#include "evaluation/FieldWrite.h"
#include "evaluation/GatheringBuffers.h"
#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "evaluation/WriteOrder.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimClip.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <cmath>
#include <tbb/parallel_for.h>
#include <unordered_map>

using osg::AnimNodePtr;

std::function<osg::MaterialPoolPtr()> knAnimEvaluator::_getMaterialPoolCB;
std::function<void(std::vector<osg::MaterialPtr>&)> knAnimEvaluator::_getSceneMaterialsCB;

// --- Lifetime -----------------------------------------------------------------------------------------------------

knAnimEvaluator::knAnimEvaluator() : _buffers(std::make_unique<GatheringBuffers>()) {}

knAnimEvaluator::~knAnimEvaluator() = default;

knAnimEvaluator::knAnimEvaluator(knAnimEvaluator const& other) : knAnimEvaluator() { *this = other; }

knAnimEvaluator& knAnimEvaluator::operator=(knAnimEvaluator const& other) {
  _curveData = other._curveData;
  _changedFields = other._changedFields;
  _animParentMap = other._animParentMap;
  _parentMapRoot = other._parentMapRoot;
  ++_parentMapRebuilds;
  ++_parentMapEdits;
  ++_queueEdits;
  _curveMap = other._curveMap;
  _timeShapeCaches = other._timeShapeCaches;
  _playingNodes = other._playingNodes;
  _pendingNodes = other._pendingNodes;
  _time = other._time;
  _blockSequenceEvaluation = other._blockSequenceEvaluation;
  _blockSceneplateEvaluation = other._blockSceneplateEvaluation;
  return *this;
}

knAnimEvaluator* knAnimEvaluator::the() {
  static knAnimEvaluator evaluator;
  return &evaluator;
}

void knAnimEvaluator::setGetMaterialPoolCB(std::function<osg::MaterialPoolPtr()> callback) {
  _getMaterialPoolCB = std::move(callback);
}

void knAnimEvaluator::setGetSceneMaterialsCB(std::function<void(std::vector<osg::MaterialPtr>&)> callback) {
  _getSceneMaterialsCB = std::move(callback);
}

/// Owners that are asked while curves are gathered may evaluate: what was gathered so far waits aside meanwhile.
class knAnimEvaluator::Aside {
 public:
  explicit Aside(knAnimEvaluator& evaluator) : _evaluator(evaluator), _isNeeded(evaluator._isAsking) {
    if (!_isNeeded) return;
    _buffers = std::make_unique<GatheringBuffers>();
    exchange();
  }
  Aside(Aside const&) = delete;
  Aside& operator=(Aside const&) = delete;
  ~Aside() {
    if (_isNeeded) exchange();
  }

 private:
  void exchange() {
    _evaluator._buffers.swap(_buffers);
    _evaluator._curveData.swap(_curveData);
    std::swap(_evaluator._curveMap, _curveMap);
    _evaluator._timeShapeCaches.swap(_timeShapeCaches);
    std::swap(_evaluator._isAsking, _isAsking);
    std::swap(_evaluator._hostRan, _hostRan);
    std::swap(_evaluator._time, _time);
  }

  knAnimEvaluator& _evaluator;
  bool const _isNeeded;
  std::unique_ptr<GatheringBuffers> _buffers;
  std::vector<knCurveData> _curveData;
  knIdTable<osg::UInt32> _curveMap;
  TimeShapeCacheMap _timeShapeCaches;
  bool _isAsking = false;
  bool _hostRan = false;
  float _time = 0.F;
};

void knAnimEvaluator::freeMemory() {
  Aside const aside(*this);
  _curveData = std::vector<knCurveData>();
  _curveMap.freeMemory();
  _timeShapeCaches.clear();
  *_buffers = {};
}

void knAnimEvaluator::emptyRecords() {
  _hostRan = false;
  _curveData.clear();
  _curveMap.clear();
  _timeShapeCaches.clear();
  _buffers->uncomputed.clear();
}

// --- The scene ----------------------------------------------------------------------------------------------------

void knAnimEvaluator::evaluate(float time, bool, std::vector<knCurveData> filter) {
  Aside const aside(*this);
  _time = time;
  if (!materialRoot().isAlive()) {
    MotionWarnings::noScene();
    return;
  }
  // First of all: the host may edit anything here, even evaluate.
  std::vector<osg::MaterialPtr> const materials = findSceneMaterials();
  _time = time;
  if (filter.empty()) {
    if (!evaluateByPlan(materials)) {
      emptyRecords();
      gatherSections(materials, 0, false, false, true);
      finishScene(time);
    }
    MotionWarnings::tellOfScene();
    return;
  }
  emptyRecords();
  // A filter compares with records that were never computed.
  gatherSections(materials, 0, false, false, false);
  keepMatching(_curveData, filter);
  std::vector<knCurveData> data = takeRecords();
  _timeShapeCaches.clear();
  knAnimManager::the()->computeCurveValues(data, time);
  setOSGFieldValues(data, true);
  giveBackRecords(std::move(data));
  MotionWarnings::tellOfScene();
}

/// What follows on gathering.
void knAnimEvaluator::finishScene(float time) {
  std::vector<std::size_t> const uncomputed = std::exchange(_buffers->uncomputed, {});
  // Setters announce while fields are written: whoever hears of it may come back here and finds no half-used list.
  std::vector<knCurveData> data = takeRecords();
  tbb::parallel_for(std::size_t{0}, uncomputed.size(),
                    [&](std::size_t i) { computeCurveValue(data[uncomputed[i]]); });
  TimeShapeCacheMap const caches = std::exchange(_timeShapeCaches, {});
  setOSGFieldValues(data, true);
  evaluateTimeShapeCaches(caches, time);
  giveBackRecords(std::move(data));
}

/// A filter record that was computed before, with a value of its own, matches nothing: that is how hosts know it.
void knAnimEvaluator::keepMatching(std::vector<knCurveData>& data,
                                   std::vector<knCurveData> const& filter) const {
  std::unordered_multimap<osg::UInt32, knCurveData const*> byCurve;
  for (knCurveData const& record : filter) byCurve.emplace(record.curveId, &record);
  std::erase_if(data, [&](knCurveData const& record) {
    auto const [first, last] = byCurve.equal_range(record.curveId);
    return std::none_of(first, last, [&](auto const& entry) { return *entry.second == record; });
  });
}

std::vector<knCurveData> knAnimEvaluator::takeRecords() {
  _curveMap.clear();
  return std::exchange(_curveData, {});
}

/// The larger memory is kept for the next evaluation.
void knAnimEvaluator::giveBackRecords(std::vector<knCurveData>&& data) {
  if (data.capacity() > _curveData.capacity()) _curveData = std::move(data);
  emptyRecords();
}

// --- One tree -----------------------------------------------------------------------------------------------------

void knAnimEvaluator::evaluateObject(AnimNodePtr node, float time, bool motionBlurOnly, bool commit,
                                     bool checkParentMap) {
  if (!node.isAlive()) return;
  if (checkParentMap) updateSceneAnimParentMap(sceneRoot());
  evaluateTree(node, time, motionBlurOnly, commit, true);
}

void knAnimEvaluator::evaluateObject(AnimNodePtr node, std::set<osg::FieldContainerPtr> const& parents,
                                     float time, bool motionBlurOnly, bool commit) {
  if (!node.isAlive() || parents.empty()) return;
  // The walk asks by the ids of cores, so this entry answers to none of them; it stays until the next rebuild.
  if (_animParentMap.emplace(node.getContainerId(), parents).second) ++_parentMapEdits;
  evaluateTree(node, time, motionBlurOnly, commit, false);
}

namespace {

/// A tree with keys was evaluated that nothing in the scene holds.
[[gnu::cold]] void warnOfIdle(AnimNodePtr const& tree, auto const& owners) {
  bool hasKeys = false;
  bool isHeld = false;
  forEachNode(tree, [&](osg::NodePtr const& node) {
    auto const* const curve = osg::dcastTo<osg::AnimCurve>(node->getCore());
    bool const isOn = node->isActive() && !isHeld;
    if (!isOn || curve == nullptr || curve->isEmpty()) return isOn;
    hasKeys = true;
    isHeld = owners.contains(curve->getContainerId());
    return true;
  });
  if (hasKeys && !isHeld) MotionWarnings::treeWithoutOwner(tree);
}

}  // namespace

void knAnimEvaluator::evaluateTree(AnimNodePtr node, float time, bool motionBlurOnly, bool commit,
                                   bool collectCameras) {
  // The host was asked for its materials, where owners were looked for.
  if (!node.isAlive()) return;
  Aside const aside(*this);
  emptyRecords();
  std::set<AnimNodePtr> sequences;
  _isAsking = true;
  getFullAnimDataR(node, time, sequences, motionBlurOnly);
  _isAsking = false;
  auto const byCurve = [](knCurveData const& a, knCurveData const& b) { return a.curveId < b.curveId; };
  if (!std::is_sorted(_curveData.begin(), _curveData.end(), byCurve)) {
    std::stable_sort(_curveData.begin(), _curveData.end(), byCurve);
  }
  std::vector<knCurveData> data = takeRecords();
  TimeShapeCacheMap const caches = std::exchange(_timeShapeCaches, {});
  bool const isIdle = data.empty() && caches.empty() && sequences.empty();
  float const lastTime = node.isAlive() ? node->getLastEvaluationTime() : time;
  bool const isClip = hasCore<osg::AnimClip>(node);
  knAnimManager::the()->computeCurveValues(data, time);
  WritePhase const phase(*this, commit && (isClip || !data.empty()), commit);
  if (isClip) {
    writeClip(data, collectCameras);
  } else {
    writeRecords(data);
  }
  if (commit && (isClip || !data.empty())) commitChangedFields();
  if (isClip) {
    for (auto const& [cache, geometries] : sortCaches(caches, time)) {
      evaluateTimeShapeCaches(cache, geometries, time);
    }
    evaluateSequences(sequences, time, lastTime);
  }
  if (node.isAlive()) {
    node->setLastEvaluationTime(time);
    announce(node, osg::AnimNodeBase::LastEvaluationTimeFieldMask);
  }
  giveBackRecords(std::move(data));
  // Who gives the owners, or asks for motion blur alone, knows why there may be none.
  if (isIdle && collectCameras && !motionBlurOnly && !osg::AnimNode::_changed)
    warnOfIdle(node, _animParentMap);
  MotionWarnings::tellRefusals();
}

void knAnimEvaluator::writeClip(std::vector<knCurveData> const& data, bool collectCameras) {
  CameraData cameras;
  for (std::size_t const place : sortCurves(data)) {
    setOSGFieldValue(data[place], collectCameras ? &cameras : nullptr);
  }
  setLegacyCameraFromAtUp(cameras);
}

std::vector<std::size_t> knAnimEvaluator::sortCurves(std::vector<knCurveData> const& data) const {
  knWriteOrder order;
  for (knCurveData const& record : data) order.add(record.node, record.time);
  return order.get();
}

void knAnimEvaluator::setOSGFieldValue(osg::AnimCurvePtr const& curve, float value, bool commit) {
  if (!curve.isAlive()) return;
  Aside const aside(*this);
  osg::UInt32 const id = curve.getContainerId();
  gatherAnimData(false, true, false);
  osg::UInt32 const* const place = _curveMap.find(id);
  if (place == nullptr) {
    emptyRecords();
    return;
  }
  knCurveData record = _curveData[*place];
  emptyRecords();
  record.value = value;
  writeOne(record, commit);
}

// --- The manager's entries ----------------------------------------------------------------------------------------

void knAnimManager::reevaluate(AnimNodePtr node, bool force) {
  evaluateByTime(node, static_cast<float>(_currentTime), force, true, false);
}

void knAnimManager::evaluateByTime(AnimNodePtr node, float time, bool force, bool commit,
                                   bool motionBlurOnly) {
  using MotionWarnings::Mistake;
  if (!node.isAlive()) [[unlikely]]
    MotionWarnings::tellMistake(Mistake::NoTreeToEvaluate, "a tree that is null or gone is not evaluated");
  if (!std::isfinite(time)) [[unlikely]]
    MotionWarnings::tellMistake(Mistake::TreeTime, "a tree is evaluated at a time that is not finite");
  if (!node.isAlive() || !node->getCore().isAlive() || !node->isActive()) return;
  if (!force && !simulationEnabled()) return;
  knAnimEvaluator::the()->evaluateObject(node, time, motionBlurOnly, commit, true);
}

void knAnimManager::evaluateByFrame(AnimNodePtr node, float frame, bool force, bool commit,
                                    bool motionBlurOnly) {
  evaluateByTime(node, static_cast<float>(static_cast<double>(frame) / fps()), force, commit, motionBlurOnly);
}
