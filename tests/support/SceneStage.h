#pragma once

#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/camera/UberCamera.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/materials/SurfaceMaterials.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimSequence.h"
#include "model/sceneext/AnimShot.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/sceneext/CameraTrack.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/ClipPlane.h"
#include "model/scenegraph/Traverse.h"
#include "model/sceneplate/Sceneplate.h"
#include "model/utils/knUtils.h"
#include "support/TestContainers.h"

/// The evaluator's inner steps, one by one.
struct knAnimEvaluatorAccess {
  using Sequences = std::set<osg::AnimNodePtr>;

  static knAnimEvaluator& evaluator() { return *knAnimEvaluator::the(); }
  static knAnimEvaluator::ParentMap& parents() { return evaluator()._animParentMap; }
  static float time() { return evaluator()._time; }
  static void updateParents() {
    osg::AnimNode::_changed = true;
    evaluator().updateSceneAnimParentMap(knSceneDataManager::getSceneData(0)->getRoot());
  }
  static void removeParents(osg::NodePtr const& tree) { evaluator().removeAnimParentsByNodeR(tree); }

  static std::vector<knCurveData> gatherScene(bool motionBlurOnly = false, bool keepEmpty = false) {
    evaluator().emptyRecords();
    evaluator().gatherAnimData(motionBlurOnly, keepEmpty, false);
    return takeRecords();
  }
  static std::vector<knCurveData> gatherTree(osg::AnimNodePtr const& tree, float time,
                                             bool motionBlurOnly = false, Sequences* found = nullptr) {
    Sequences sequences;
    evaluator().emptyRecords();
    evaluator().getFullAnimDataR(tree, time, sequences, motionBlurOnly);
    if (found != nullptr) *found = sequences;
    return takeRecords();
  }
  static std::vector<knCurveData> takeRecords() {
    std::vector<knCurveData> records = evaluator()._curveData;
    evaluator().emptyRecords();
    return records;
  }

  static void write(std::vector<knCurveData> const& records, bool commit = true) {
    evaluator().setOSGFieldValues(records, commit);
  }
  static void writeAlone(knCurveData const& record) { evaluator().setOSGFieldValue(record, nullptr); }
  /// Whether scene evaluations may keep plans, and what they keep.
  static bool& keepsPlans() { return evaluator()._keepsPlans; }
  static auto& buffers() { return *evaluator()._buffers; }
  static auto const& marks() { return evaluator()._changedFields.entries(); }
  static void commit() { evaluator().commitChangedFields(); }
  static void clearMarks() { evaluator()._changedFields.clear(); }
  static std::size_t markCount() { return evaluator()._changedFields.size(); }
  static osg::BitVector markOf(osg::FieldContainerPtr const& container) {
    auto const* const mark = evaluator()._changedFields.find(container.getContainerId());
    return mark != nullptr ? mark->mask : osg::BitVector();
  }
};

namespace kntest {

using Access = knAnimEvaluatorAccess;

/// A curve for one component of a field. Its channel is called as the field, unless it is given.
inline osg::AnimCurvePtr newFieldCurve(std::string const& field, osg::UInt32 index,
                                       std::initializer_list<osg::Pnt2f> keys,
                                       std::string const& channel = {}) {
  osg::AnimCurvePtr const curve = newCurve(keys);
  curve->setName(field);
  curve->setChannelName(channel.empty() ? field : channel);
  curve->setValueIndex(index);
  return curve;
}
inline osg::AnimNodePtr newCurveNode(std::string const& field, osg::UInt32 index,
                                     std::initializer_list<osg::Pnt2f> keys,
                                     std::string const& channel = {}) {
  return newAnimNode(newFieldCurve(field, index, keys, channel));
}
inline osg::AnimCurvePtr curveOf(osg::AnimNodePtr const& node) {
  return osg::dcast<osg::AnimCurvePtr>(node->getCore());
}

/// A node with a new core and children.
template <class Core>
osg::AnimNodePtr newGroup(std::vector<osg::AnimNodePtr> const& children) {
  osg::AnimNodePtr const node = newAnimNode(Core::create());
  for (osg::AnimNodePtr const& child : children) node->addChild(child);
  return node;
}

/// Hangs a top-level animation on a node or material, and returns it.
inline osg::AnimNodePtr animate(osg::AttachmentContainerPtr const& owner, osg::AnimNodePtr const& tree) {
  if (!knAnimManager::getAnimAttachment(owner)) owner->addAttachment(osg::AnimAttachment::create());
  knAnimManager::getAnimAttachment(owner)->addAnimation(tree);
  return tree;
}

/// Makes all callbacks of the host empty.
inline void clearCallbacks() {
  knAnimManager::setSimulationTimeCB(nullptr);
  knAnimManager::setUpdateNavigatorCB(nullptr);
  knAnimManager::setEnableSimulationCB(nullptr);
  knAnimManager::setSimulationEnabledCB(nullptr);
  knAnimManager::setGetCurveEditorDataCB(nullptr);
  knAnimManager::setDestroyNodeCB({});
  knAnimManager::setGetAllMaterialsCB({});
  knAnimManager::setGetUniqueNameCB({});
  knAnimEvaluator::setGetMaterialPoolCB({});
  knAnimEvaluator::setGetSceneMaterialsCB({});
}

/// A new scene at time 0 and 24 frames per second, without callbacks, and what is announced. Callbacks are gone when
/// the test is.
class SceneStage : public SceneTest {
 protected:
  SceneStage() : _formerList(osg::WinThreadBase::getCurrentChangeList()) {
    knSceneDataManager::beginScene();
    clearCallbacks();
    knAnimManager::the()->setFPS(24);
    knAnimManager::the()->setCurrentTimeNoEvaluation(0, false);
    knAnimEvaluatorAccess::clearMarks();
    osg::WinThreadBase::setCurrentChangeList(&changes);
  }
  ~SceneStage() override {
    osg::WinThreadBase::setCurrentChangeList(_formerList);
    knAnimManager::the()->setFPS(24);
    knSceneDataManager::getSceneData(0)->setFps(_formerFps);
    knAnimEvaluator::the()->blockSceneplateEvaluation(false);
    knSceneDataManager::endScene();
    clearCallbacks();
  }

  static osg::NodePtr root() { return knSceneDataManager::getSceneData(0)->getRoot(); }
  static osg::NodePtr addNode(osg::NodeCorePtr const& core, osg::NodePtr const& parent = root()) {
    osg::NodePtr const node = osg::Node::create();
    node->setCore(core);
    parent->addChild(node);
    return node;
  }
  template <class Core>
  static typename Core::Ptr coreOf(osg::NodePtr const& node) {
    return osg::dcast<typename Core::Ptr>(node->getCore());
  }
  static osg::Vec3f placeOf(osg::NodePtr const& node) {
    return coreOf<osg::Transform3D>(node)->getTranslation();
  }
  template <class Handle>
  static Handle named(Handle const& container, std::string const& name) {
    osg::NodeUtils::setName(container, name, false);
    return container;
  }
  /// Empty for none.
  static std::string nameOf(osg::AttachmentContainerPtr const& container) {
    char const* const name = osg::NodeUtils::getName(container);
    return name != nullptr ? name : "";
  }
  /// The top-level animations of a container.
  static std::vector<osg::AnimNodePtr> treesOf(osg::AttachmentContainerPtr const& owner) {
    std::vector<osg::AnimNodePtr> trees;
    if (auto const attachment = knAnimManager::getAnimAttachment(owner))
      attachment->getTopLevelAnimations(trees, true);
    return trees;
  }
  /// The curve of a tree's children that is for a component of a field.
  static osg::AnimCurvePtr curveIn(osg::NodePtr const& tree, std::string const& field, osg::UInt32 index) {
    for (osg::NodePtr const& child : tree->getChildren()) {
      auto const curve = osg::dcast<osg::AnimCurvePtr>(child->getCore());
      if (curve && curve->getName() == field && curve->getValueIndex() == index) return curve;
    }
    return {};
  }
  /// Times and values of the keys.
  static std::vector<osg::Pnt2f> keysOf(osg::AnimCurvePtr const& curve) {
    osg::MField<osg::Pnt2f> points;
    curve->points(points);
    return points.getValues();
  }
  /// All fields of the container that were announced.
  osg::BitVector announced(osg::FieldContainerPtr const& container) const {
    for (auto const& entry : changes.getEntries())
      if (entry.container == container) return entry.mask;
    return {};
  }
  static void evaluate(float time) { knAnimEvaluator::the()->evaluate(time, false, {}); }

  knAnimManager& manager = *knAnimManager::the();
  osg::ChangeList changes;

 private:
  osg::ChangeList* const _formerList;
  double const _formerFps = knSceneDataManager::getSceneData(0)->getFps();
};

}  // namespace kntest
