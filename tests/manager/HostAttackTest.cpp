#include "knAnimHelper.h"
#include "knAuthoring.h"
#include "knFramePlayer.h"
#include "knSceneFile.h"
#include "model/scenefiles/SceneFileProgress.h"
#include "model/scenegraph/Cloning.h"
#include "support/SceneStage.h"

namespace kntest {

/// The host's code, wherever it is called: handlers, hooks, callbacks, receivers.
std::function<void()> onHostCall;
void callHost() {
  if (onHostCall) onHostCall();
}

#define HOST_OVERRIDE(Parent, name) \
  void name() override {            \
    Parent::name();                 \
    callHost();                     \
  }
#define HOST_TYPE(Name, Parent, ...)                              \
  class Name : public Parent {                                    \
    KN_CONTAINER(Name, Name, Parent)                              \
    KN_CONTAINER_END                                              \
    void changed(BitVector const& mask, UInt32 origin) override { \
      Parent::changed(mask, origin);                              \
      callHost();                                                 \
    }                                                             \
    HOST_OVERRIDE(Parent, fieldsAssigned)                         \
    bool hasChannelDescriptions() const override {                \
      callHost();                                                 \
      return false;                                               \
    }                                                             \
    __VA_ARGS__                                                   \
  };                                                              \
  KN_CONTAINER_TYPE(Name, Name, #Name)
#define HOST_NODE_TYPE(Name, Parent)                                                          \
  HOST_TYPE(Name, Parent,                                                                     \
            HOST_OVERRIDE(Parent, attachmentsChanged) HOST_OVERRIDE(Parent, structureChanged) \
                HOST_OVERRIDE(Parent, parentChanged))

HOST_NODE_TYPE(HostNode, Node)
HOST_NODE_TYPE(HostAnimNode, AnimNode)
HOST_TYPE(HostTransform, Transform3D, HOST_OVERRIDE(Transform3D, attachmentsChanged))
HOST_TYPE(HostGeometry, Geometry)
HOST_TYPE(HostComponent, ColorComponentSettings)
HOST_TYPE(HostMaterial, Material, HOST_OVERRIDE(Material, attachmentsChanged))
HOST_TYPE(HostCamera, UberCamera)
HOST_TYPE(HostCurve, AnimCurve)
HOST_TYPE(HostAttachment, AnimAttachment, HOST_OVERRIDE(AnimAttachment, parentsChanged))

namespace HostAttackTest {

knAnimManager& manager() { return *knAnimManager::the(); }
knAnimEvaluator& evaluator() { return *knAnimEvaluator::the(); }
knFramePlayer& player() { return knFramePlayer::the(); }

/// What operations are called with, by reference: it is freed in the middle of the call.
struct Arguments {
  NodePtr root, node, other, leaf, cameraNode;
  AnimNodePtr animationRoot, tree, clip, curveNode, loose;
  AnimAttachmentPtr attachment, otherAttachment;
  AttachmentPtr spare;
  AnimCurvePtr curve, looseCurve;
  AnimObjectPtr object;
  NodeCorePtr looseCore;
  MaterialPtr material;
  SwitchMaterialPtr alternatives;
  MaterialPoolPtr pool;
  UberCameraPtr camera;
  UberLightPtr light;
  std::vector<AnimNodePtr> trees;
  std::vector<AnimCurvePtr> curves;
  std::vector<knCurveData> records;
  std::set<FieldContainerPtr> owners;
  std::set<unsigned int> ids;
  knOSGChannelData channel;
  std::string name = "block";
  std::string suffix = "X";
  std::string fileName = testing::TempDir() + "HostAttackTestWhole.osb";
  std::vector<NodePtr> nodes;
  float time = 1.5F;
};

double now = 100.0;

/// A scene of the host's own types in which everything is animated, plays, and is listened to.
class HostileStage {
 public:
  HostileStage() : arguments(std::make_unique<Arguments>()) {
    now = 100.0;
    knSceneDataManager::beginScene();
    buildScene();
    connect();
    manager().enqueue(arguments->trees, true);
    manager().enqueue(arguments->clip, false);
    knAnimEvaluator::the()->loop();
    now = 200.0;
  }
  ~HostileStage() {
    onHostCall = nullptr;
    FieldContainerFactory::the().removeDeathHook(_hook);
    _listener.end();
    player().stop(nullptr);
    manager().dequeueAll();
    manager().clearClipStructure();
    manager().clearSceneStructure();
    manager().clearCopyBuffer();
    manager().setPlaybackContextHint(0);
    manager().setKeepKeysAtFrame(false);
    manager().setFPS(24);
    knSceneDataManager::getSceneData(0)->setFps(_formerFps);
    knSceneDataManager::endScene();
    evaluator().freeMemory();
    for (FieldContainerPtr const& one : _held) one.subRef();
    clearCallbacks();
  }

  void dropArguments() { arguments.reset(); }
  static void dropScene() {
    destroyContent();
    knSceneDataManager::endScene();
  }
  static void destroyContent() {
    if (NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot()) root->clearChildren();
    if (MaterialPoolPtr const pool = knSceneData::getMaterialPool()) {
      while (!pool->getMaterials().empty()) pool->sub(pool->getMaterials()[0]);
      pool->getCameraRoot()->clearChildren();
    }
    manager().clearClipStructure();
    manager().clearSceneStructure();
  }
  /// Turns things over without destroying everything, and calls whatever evaluates.
  void edit() {
    AnimNodePtr const tree = arguments->tree, clip = arguments->clip;
    AnimAttachmentPtr const attachment = arguments->attachment, other = arguments->otherAttachment;
    NodePtr const node = arguments->node, leaf = arguments->leaf;
    AnimCurvePtr const curve = arguments->curve;
    dropArguments();
    if (curve.isAlive()) curve->clear();
    if (other.isAlive() && tree.isAlive()) other->addAnimation(tree);
    if (attachment.isAlive() && clip.isAlive()) attachment->addAnimation(clip);
    if (node.isAlive()) node->setCore(Group::create());
    if (node.isAlive() && leaf.isAlive()) node->subChild(leaf);
    manager().dequeueAll();
    manager().setCurrentFrame(manager().currentFrame() + 1, true, true);
    evaluator().freeMemory();
    if (clip.isAlive()) evaluator().evaluateObject(clip, 2.F, false, true, true);
    evaluator().loop();
    if (clip.isAlive() && clip->getParent().isAlive()) clip->getParent()->subChild(clip);
  }

  std::unique_ptr<Arguments> arguments;

 private:
  NodePtr add(NodePtr const& parent, NodeCorePtr const& core) {
    NodePtr const node = HostNode::create();
    node->setCore(core);
    parent->addChild(node);
    return node;
  }
  template <class Handle>
  Handle hold(Handle const& handle) {
    handle.addRef();
    _held.push_back(handle);
    return handle;
  }
  static AnimCurvePtr newCurve(char const* field) {
    AnimCurvePtr const curve = HostCurve::create();
    curve->setName(field);
    curve->setChannelName(field);
    curve->setSuffix("X");
    for (float const x : {0.F, 10.F}) curve->addPoint({x, 10 * x}, {}, {}, 1, 1, false, true);
    return curve;
  }
  static AnimNodePtr newNode(NodeCorePtr const& core) {
    AnimNodePtr const node = HostAnimNode::create();
    node->setCore(core);
    return node;
  }
  static AnimNodePtr newTree(NodeCorePtr const& core, std::vector<AnimNodePtr> const& children) {
    AnimNodePtr const tree = newNode(core);
    for (AnimNodePtr const& child : children) tree->addChild(child);
    tree->registerFinishedAnimationCallback([](AnimNodePtr const&) { callHost(); }, false);
    return tree;
  }
  static AnimAttachmentPtr attach(AttachmentContainerPtr const& owner,
                                  std::vector<AnimNodePtr> const& trees) {
    AnimAttachmentPtr const attachment = HostAttachment::create();
    owner->addAttachment(attachment);
    attachment->setAnimationRoot(newNode(Group::create()));
    for (AnimNodePtr const& tree : trees) attachment->addAnimation(tree);
    return attachment;
  }

  void buildScene() {
    Arguments& a = *arguments;
    a.root = knSceneDataManager::getSceneData(0)->getRoot();
    a.pool = knSceneData::getMaterialPool();
    a.node = add(a.root, HostTransform::create());
    a.other = add(a.node, HostTransform::create());
    a.leaf = add(a.other, HostTransform::create());
    a.curve = newCurve("translation");
    a.curveNode = newNode(a.curve);
    a.tree = newTree(AnimBlock::create(), {a.curveNode});
    a.clip = newTree(AnimClip::create(),
                     {newTree(AnimBlock::create(), {newNode(a.curve)}), newNode(AnimSequence::create())});
    a.clip->setPostCycles(1);
    AnimNodePtr const single = newNode(newCurve("scale"));
    a.attachment = attach(a.node, {a.tree, single, newNode(newCurve("scale"))});
    a.animationRoot = a.attachment->getAnimationRoot();
    a.otherAttachment = attach(a.leaf, {a.clip});
    a.object = dcast<AnimObjectPtr>(a.tree->getCore());

    TimeShapeCachePtr const cache = TimeShapeCache::create();
    for (int i = 0; i < 2; ++i) {
      TimeShapeDataPtr const shape = TimeShapeData::create();
      shape->setTime(static_cast<float>(i * 4));
      cache->addShape(shape);
    }
    NodePtr const geometry = add(a.root, HostGeometry::create());
    attach(geometry, {newTree(AnimClip::create(), {newNode(cache)})});
    VertexAnimCurvesPtr const vertices = VertexAnimCurves::create();
    vertices->addPositionCurve(newCurve("positions"));
    knAnimManager::getAnimAttachment(geometry)->addAnimation(newNode(vertices));

    a.camera = HostCamera::create();
    a.cameraNode = add(a.pool->getCameraRoot(), a.camera);
    attach(a.cameraNode, {newTree(AnimBlock::create(), {newNode(newCurve("from")), newNode(newCurve("up")),
                                                        newNode(newCurve("roll"))})});
    a.material = HostMaterial::create();
    a.pool->add(a.material);
    attach(a.material, {newTree(AnimBlock::create(), {newNode(newCurve("visible"))})});

    a.alternatives = SwitchMaterial::create();
    a.alternatives->addMaterial(HostMaterial::create());
    a.pool->add(a.alternatives);
    a.light = UberLight::create();
    a.light->setDiffuse(HostComponent::create());
    add(a.root, a.light);

    a.loose = hold(newTree(AnimBlock::create(), {newNode(newCurve("translation"))}));
    a.looseCurve = hold(newCurve("translation"));
    a.looseCore = hold(NodeCorePtr(HostTransform::create()));
    a.spare = hold(AttachmentPtr(HostAttachment::create()));
    manager().addToClipStructure(newTree(AnimClip::create(), {newNode(a.curve)}));
    a.trees = {a.tree, single, a.clip};
    a.curves = {a.curve, a.looseCurve};
    a.records = {knCurveData(a.curveNode, a.curve)};
    a.owners = {a.node};
    a.nodes = {a.node, a.leaf};
    a.channel.containerId = a.node->getCore().getContainerId();
    a.channel.fieldName = a.channel.channelName = "translation";
  }

  void connect() {
    _hook = FieldContainerFactory::the().addDeathHook([](auto const&, UInt32) { callHost(); });
    _listener = knUtils::listenToAll([](auto, auto&, int) { callHost(); });
    knAnimManager::setSimulationTimeCB([] { return callHost(), now; });
    knAnimManager::setUpdateNavigatorCB([](bool) { callHost(); });
    knAnimManager::setEnableSimulationCB([](bool) { callHost(); });
    knAnimManager::setSimulationEnabledCB([] { return callHost(), true; });
    knAnimManager::setGetCurveEditorDataCB([](std::vector<knCurveData>& data) {
      callHost();
      data.emplace_back();
    });
    knAnimManager::setDestroyNodeCB([](NodePtr const& node) {
      NodePtr const copy = node;
      callHost();
      copy.subRef();
    });
    knAnimManager::setGetAllMaterialsCB([](NodePtr const&, std::vector<MaterialPtr>& materials) {
      callHost();
      if (MaterialPoolPtr const pool = knSceneData::getMaterialPool()) pool->get(materials);
    });
    knAnimManager::setGetUniqueNameCB([](std::string const& name, std::vector<std::string>& names) {
      std::string const unique = name + std::to_string(names.size());
      callHost();
      return unique;
    });
    knAnimEvaluator::setGetMaterialPoolCB([] { return callHost(), MaterialPoolPtr(); });
    knAnimEvaluator::setGetSceneMaterialsCB([](std::vector<MaterialPtr>& materials) {
      callHost();
      if (MaterialPoolPtr const pool = knSceneData::getMaterialPool()) pool->get(materials);
    });
  }

  double const _formerFps = knSceneDataManager::getSceneData(0)->getFps();
  UInt32 _hook = 0;
  knUtils::Subscription _listener;
  SceneFileProgress const _watch{[](auto...) { return callHost(), true; }};
  std::vector<FieldContainerPtr> _held;
};

struct Operation {
  char const* name;
  void (*call)(Arguments& a);
};

/// Drops what an operation made and nobody holds.
void drop(FieldContainerPtr const& made) {
  if (made.isAlive()) made.subRef();
}

template <class T>
T const& first(MField<T> const& list) {
  static T const none{};
  return list.size() > 0 ? list[0] : none;
}

/// A child of the root of a node's animations.
NodePtr childOf(NodePtr const& node, UInt32 place) {
  return knAnimManager::getAnimAttachment(node)->getAnimationRoot()->getChild(place);
}

AnimNodePtr newShotNode() {
  AnimNodePtr const node = AnimNode::create();
  AnimShotPtr const shot = AnimShot::create();
  shot->setTransitionType(2);
  node->setCore(shot);
  return node;
}

/// An operation of a few statements, which are its name.
#define OPERATION(...)                                                               \
  Operation {                                                                        \
    .name = #__VA_ARGS__, .call = []([[maybe_unused]] Arguments& a) { __VA_ARGS__; } \
  }

/// One entry for each operation. After the call nothing of `a` is looked at: it may be gone.
Operation const operations[] = {
    // evaluation
    OPERATION(evaluator().evaluate(a.time, false, {})),
    OPERATION(evaluator().evaluate(a.time, false, a.records)),
    OPERATION(evaluator().evaluateObject(a.trees[2], a.time, false, true, true)),
    OPERATION(evaluator().evaluateObject(a.attachment->getAnimationRoot(), a.tree->getLastEvaluationTime(),
                                         false, true, true)),
    OPERATION(evaluator().evaluateObject(a.clip, a.owners, a.time, false, true)),
    OPERATION(manager().reevaluate(a.trees[0], false)),
    OPERATION(manager().evaluateByTime(a.attachment->getAnimationRoot(), a.time, false, true, false)),
    OPERATION(manager().evaluateByFrame(a.clip, a.time, false, true, false)),
    OPERATION(evaluator().setOSGFieldValue(a.curve, a.time, true)),
    OPERATION(evaluator().setOSGFieldValue(a.channel, a.time, true)),
    OPERATION(evaluator().getFirstAim(a.looseCurve)),
    OPERATION(AnimNode::_changed = true; evaluator().updateSceneAnimParentMap(a.root)),
    // playing
    OPERATION(manager().enqueue(a.tree, true)),
    OPERATION(manager().enqueue(a.trees, true)),
    OPERATION(manager().dequeue(a.trees[0])),
    OPERATION(evaluator().dequeue(a.tree, true)),
    OPERATION(manager().dequeueAll()),
    OPERATION(evaluator().loop()),
    OPERATION(manager().reset(a.trees[0], true)),
    OPERATION(
        manager().pause(a.attachment->getAnimationRoot()->getChildren()[0] == a.tree ? a.tree : a.clip, true)),
    {"player",
     [](Arguments& a) {
       player().start({.loop = true, .rangeEnd = 9, .fps = 25}, a.time > 0, &a);
       for (int i = 0; i < 3; ++i, now += 1) {
         player().tick();
         player().apply();
       }
     }},
    OPERATION(player().start({.fps = 25}, false, nullptr); player().tick(); player().apply()),
    // timeline
    OPERATION(manager().setKeepKeysAtFrame(true); manager().setFPS(25); manager().setKeepKeysAtFrame(false);
              manager().setFPS(24)),
    OPERATION(manager().setCurrentFrame(static_cast<double>(a.time), true, true)),
    OPERATION(manager().setPlaybackContextHint(1); manager().setCurrentFrame(7, true, true)),
    OPERATION(manager().updateSceneAnimCurveData()),
    // reading, asking
    OPERATION(manager().getOSGFieldValue(a.looseCurve, FieldContainerPtr())),
    OPERATION(manager().find(a.name)),
    OPERATION(manager().find(a.curve->getName())),
    OPERATION(manager().findMaterialBlock(a.name)),
    OPERATION(manager().createCopyNameFrom(a.name)),
    OPERATION(manager().rename(a.trees[0], a.name.c_str())),
    OPERATION(std::set<std::string> names; manager().getBlockAndClipNames(names)),
    OPERATION(manager().getBlockNodes(true)),
    OPERATION(std::vector<knAnimNodeData> found; manager().getMaterialsWithAnimation(found)),
    OPERATION(knAnimHelper::getAllCurvesByName(a.node, a.name, a.curves)),
    OPERATION(manager().findChannelCurve("translation", "", a.attachment)),
    OPERATION(manager().findChannelCurveNode(a.channel, a.attachment)),
    OPERATION(manager().getChannelCurveNodes(a.attachment, a.trees)),
    OPERATION(manager().getChannelCurveNodes(a.node, a.trees)),
    OPERATION(manager().isAnimationRoot(a.tree); manager().getAnimationRoot(a.tree)),
    OPERATION(float start, end; manager().getBounds(a.tree, start, end); manager().getInfo(a.tree)),
    OPERATION(manager().findClipR(a.node, a.name); manager().findBlockR(a.node, a.name)),
    OPERATION(manager().findBlock(a.node, a.name)),
    OPERATION(manager().hasAnimations(a.node); manager().hasVertexAnimation(a.node)),
    OPERATION(std::vector<knAnimNodeData> found; manager().getNodesWithAnimation(a.node, found)),
    OPERATION(manager().isCompatible(a.node, a.other); manager().isCompatible(a.material, a.material)),
    OPERATION(manager().findFirstParentR(a.node, a.object)),
    // making
    OPERATION(manager().addAnimation(a.node, a.loose)),
    OPERATION(manager().addAnimation(a.other, a.trees[0])),
    OPERATION(manager().subAnimation(a.node, a.trees[0])),
    OPERATION(manager().createChannelCurveNode(a.attachment, a.curve->getName(), 0, a.suffix, a.name)),
    OPERATION(manager().createBlock(a.attachment, a.name)),
    OPERATION(manager().createBlock(a.node, a.name)),
    OPERATION(manager().importBlock(a.node, a.curves, a.curve->getName())),
    OPERATION(manager().importBlock(a.other, a.curves, a.name)),
    OPERATION(manager().setTreeActive(a.node, false)),
    OPERATION(manager().setTreeActive(a.attachment->getAnimationRoot(), false)),
    // structures
    OPERATION(NodePtr const node = a.leaf; manager().pushStructureAttachment(a.leaf);
              manager().removeStructureAttachment(node)),
    OPERATION(manager().pullStructureAttachment(first(a.root->getChildren()))),
    OPERATION(AnimAttachmentPtr const attachment = a.attachment; a.attachment->subAnimation(a.trees[1]);
              manager().mergeStructureAttachment(attachment)),
    OPERATION(NodePtr const node = a.node; manager().removeStructureAttachment(a.node);
              manager().pullStructureAttachment(node)),
    OPERATION(manager().mergeStructureAttachment(a.attachment)),
    OPERATION(manager().printStructureR(a.tree, "")),
    OPERATION(manager().addToClipStructure(a.trees[0])),
    OPERATION(manager().addToSceneStructure(a.clip)),
    OPERATION(manager().clearClipStructure()),
    // editing
    OPERATION(manager().copy(a.trees[0], a.node)),
    OPERATION(manager().copyFrom(a.node)),
    OPERATION(manager().cut(a.trees[0])),
    OPERATION(manager().cut(a.trees)),
    OPERATION(NodePtr const node = a.other, clip = a.clip; manager().copy(a.trees);
              manager().pasteTo(node, true, true); manager().pasteTo(clip, true, true)),
    OPERATION(std::vector<MaterialPtr> const targets = {a.material, a.material};
              manager().copyFrom(a.material); manager().pasteTo(targets, false, true)),
    OPERATION(AnimNodePtr const clip = a.clip; std::vector<NodePtr> const targets = {a.node, a.clip, a.other};
              manager().copy(a.trees); manager().clonePasteTo(targets, false, true);
              manager().clonePasteToWithOffset(clip, 3, true, true)),
    OPERATION(manager().copy(a.trees); manager().clearCopyBuffer()),
    OPERATION(manager().unshareFrom(a.trees[0], a.node)),
    OPERATION(manager().unshareClipsR(a.trees[2])),
    OPERATION(manager().createDuplicatesFromSharedR(a.root)),
    OPERATION(manager().createDuplicatesFromShared(a.material)),
    OPERATION(manager().moveBlockToNode(a.trees[0], a.node, a.leaf, true)),
    OPERATION(manager().moveBlockToMaterial(a.trees[0], a.material, a.material, true)),
    OPERATION(manager().blockSceneRefCount(a.trees[0])),
    OPERATION(manager().findFirstParent(a.object)),
    OPERATION(manager().setAllBlocksInactive(a.node)),
    OPERATION(manager().verifyToKeld60R(a.root)),
    OPERATION(manager().verifyClipStructure()),
    OPERATION(manager().verifyClipStructureByNodeR(a.animationRoot->getChild(0), a.ids)),
    OPERATION(manager().renameCurves(a.node, {{"translation", "scale.Y"}})),
    OPERATION(manager().updateSceneChannelNames(a.root)),
    OPERATION(manager().douglasPeuckerPointReduction(a.curves)),
    OPERATION(knAnimHelper::scaleAndOffsetCurveValues(a.curve, a.time, 1)),
    // files
    OPERATION(std::string const file = testing::TempDir() + "HostAttackTest.osb";
              AttachmentContainerPtr const target = a.other; manager().saveAnimations(file.c_str(), a.node);
              manager().loadAnimationsTo(target, file.c_str(), true)),
    {"convertXMLAnimations",
     [](Arguments& a) {
       NodePtr const node = a.node;
       knAnimManager::getAnimAttachment(node)->getOldFieldNumbers().push_back(7);
       knAnimManager::getAnimAttachment(node)->getOldRecordIds().push_back(3);
       manager().convertXMLAnimations(
           a.root,
           "<a><point id='1'><position>0 1</position></point><curve id='2' field='7' name='translationX'>"
           "<p id='1'/></curve><block id='3' name='b'><c id='2'/></block><track id='4'><b id='3'/></track>"
           "<clip id='5' name='c'><t id='4'/></clip></a>");
     }},
    OPERATION(manager().saveAnimations(a.fileName.c_str(), a.node)),
    OPERATION(knSceneFile::save(a.fileName)),
    // single calls
    OPERATION(std::vector<knOSGChannelData> channels; manager().getKeyableChannels(a.cameraNode, channels)),
    OPERATION(manager().prepareCameraAnimation(a.camera, a.camera, 2, {})),
    OPERATION(knAuthoring::makeCurve(a.node, a.channel.channelName)),
    OPERATION(knAuthoring::makeCurves(a.other, a.channel.channelName)),
    OPERATION(knAuthoring::makeClip(a.nodes, a.name)),
    OPERATION(drop(deepCopyContainer(a.camera, a.name))),
    // cameras
    OPERATION(UberCameraPtr const camera = a.camera; camera->setAimNode(a.leaf);
              manager().animateCamera(a.camera, camera, 2, {});
              manager().animateCamera(camera, Pnt3f(1, 2, 3), Vec3f(), 2);
              manager().animateCamera(camera, Matrix(), {1, 1, 1, 1}, {}, 2);
              manager().animateCamera(camera, {}, {1, 0, 0}, {0, 1, 0}, 40, 3, 2)),
    OPERATION(a.camera->setAimNode(a.leaf); a.camera->setAnimationRoot(HostAnimNode::create());
              manager().animateCamera(a.camera, Pnt3f(1, 2, 3), Vec3f(), 2)),
    {"animateCamera, onto a track",
     [](Arguments& a) {
       UberCameraPtr const camera = a.camera, fresh = HostCamera::create();
       NodePtr const track = Node::create();
       track->setCore(CameraTrack::create());
       for (int i = 0; i < 2; ++i) {
         track->addChild(Node::create());
         track->getChild(static_cast<UInt32>(i))->setCore(HostCamera::create());
       }
       a.cameraNode->addChild(track);
       if (track.isAlive() && camera.isAlive()) manager().animateCamera(camera, track, {});
       if (track.isAlive() && fresh.isAlive()) manager().animateCamera(fresh, track, {});
       drop(fresh);
     }},
    OPERATION(manager().animateCameraTurntable(a.camera)),
    {"track",
     [](Arguments& a) {
       NodePtr const track = Node::create();
       track->setCore(CameraTrack::create());
       a.cameraNode->addChild(track);
       if (!track.isAlive()) return;
       for (int i = 0; i < 2; ++i) manager().recreateCameraTrackBlockForNode(track);
       manager().updateCameraTrackBlockForNode(track);
     }},
    OPERATION(AnimNodePtr const clip = a.clip; NodePtr const cameraNode = a.cameraNode;
              clip->addChild(newShotNode()); manager().convertShotToCurvesR(clip, cameraNode);
              manager().updateCameraShotCurves(clip)),
    OPERATION(a.camera->setMotionBlur(true); a.camera->setAimNode(a.leaf);
              manager().applyMotionBlur(a.camera, a.time); manager().resetMotionBlur()),
    // the scene layer
    OPERATION(knSceneDataManager::beginScene()),
    OPERATION(knSceneDataManager::endScene()),
    OPERATION(a.node->setCore(a.looseCore)),
    OPERATION(a.curveNode->setCore({})),
    OPERATION(a.node->addChild(a.leaf)),
    OPERATION(a.clip->insertChild(0, a.trees[0])),
    OPERATION(a.root->subChild(first(a.root->getChildren()))),
    OPERATION(a.animationRoot->clearChildren()),
    OPERATION(a.root->subChildren(a.root->getChildren().getValues())),
    OPERATION(a.root->replaceChildBy(first(a.root->getChildren()), a.leaf)),
    OPERATION(a.node->addAttachment(a.spare)),
    OPERATION(a.node->subAttachment(first(a.node->getAttachments()).attachment)),
    OPERATION(NodeUtils::setName(a.node, a.name, true)),
    OPERATION(osg::traverse(a.node, [](NodePtr const&) { return callHost(), Action::Continue; })),
    OPERATION(a.attachment->setAnimationRoot(a.loose)),
    OPERATION(a.clip->unshareTree(a.name)),
    OPERATION(a.tree->setOffset({3, 0})),
    OPERATION(a.tree->finishedAnimation()),
    OPERATION(dcastTo<TimeShapeCache>(childOf(a.root->getChild(1), 0)->getChild(0)->getCore())->clearShapes()),
    OPERATION(dcastTo<VertexAnimCurves>(childOf(a.root->getChild(1), 1)->getCore())->clearCurves()),
    OPERATION(a.pool->add(a.material)),
    OPERATION(a.pool->sub(first(a.pool->getMaterials()))),
    OPERATION(a.pool->setCameraRoot({})),
    OPERATION(a.alternatives->subMaterial(first(a.alternatives->getMaterials()))),
    OPERATION(a.light->updateColorByTemperature()),
    OPERATION(a.camera->setAnimationRoot(a.loose)),
    OPERATION(announce(first(a.root->getChildren()), BitVector::all())),
    OPERATION(drop(cloneAnimTree(a.clip, true))),
    OPERATION(drop(deepCloneAnimTree(a.clip, a.name))),
};

void dropAll(HostileStage& stage, Operation const&) {
  stage.dropArguments();
  HostileStage::dropScene();
}
void callAgain(HostileStage& stage, Operation const& operation) {
  operation.call(*stage.arguments);
  dropAll(stage, operation);
}
void editAll(HostileStage& stage, Operation const&) { stage.edit(); }

/// Calls an operation; the host strikes when it is called for the `turn`th time. False when it was not called so often.
bool attack(Operation const& operation, void (*strike)(HostileStage&, Operation const&), int turn) {
  HostileStage stage;
  bool struck = false;
  onHostCall = [&] {
    if (struck || turn-- > 0) return;
    struck = true;
    strike(stage, operation);
  };
  operation.call(*stage.arguments);
  return struck;
}

struct Strike {
  char const* name;
  void (*act)(HostileStage&, Operation const&);
};

/// What the attacks on an operation left behind; empty where all is as it was.
std::string attackAll(Operation const& operation, int& attacks) {
  std::size_t const living = FieldContainerFactory::the().getLivingCount();
  for (Strike const strike : {Strike{"drop all", dropAll}, {"call again", callAgain}, {"edit", editAll}}) {
    // The first moments one by one, the later ones of long operations in growing steps.
    for (int turn = 0; attack(operation, strike.act, turn); turn += 1 + turn / 6) {
      ++attacks;
      std::size_t const left = FieldContainerFactory::the().getLivingCount() - living;
      if (left != 0) {
        return std::string(operation.name) + ", turn " + std::to_string(turn) + ", " + strike.name +
               " left " + std::to_string(static_cast<long>(left)) + "; ";
      }
    }
  }
  return {};
}

/// Every operation is called with references into what the host frees meanwhile, and the host strikes at each of the
/// moments at which its code runs. Memory checkers find what is used after it is gone, the count what is left behind.
TEST(HostAttackTest, OperationsSurviveWhatTheHostDoesMeanwhile) {
  manager();
  int attacks = 0;
  std::string leftBehind;
  testing::internal::CaptureStdout();
  for (Operation const& operation : operations) leftBehind += attackAll(operation, attacks);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(leftBehind, "");
  EXPECT_GT(attacks, 500) << "the host's code is not called where it was";
}

/// Handles of what is gone are answered as null ones are: nothing is made, touched or told.
TEST(HostAttackTest, DeadHandlesAreAnsweredAsNull) {
  manager();
  int called = 0;
  for (Operation const& operation : operations) {
    std::string_view const text = operation.name;
    bool const isAsked = text.find("(a.") != text.npos && text.find("(a.curves") == text.npos;
    if (!isAsked || text.find("->") != text.npos) continue;
    HostileStage stage;
    HostileStage::destroyContent();
    std::size_t const living = FieldContainerFactory::the().getLivingCount();
    testing::internal::CaptureStdout();
    Announced const announced;
    operation.call(*stage.arguments);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(announced.list.getEntries().empty()) << text;
    EXPECT_EQ(FieldContainerFactory::the().getLivingCount(), living) << text;
    ++called;
  }
  EXPECT_GT(called, 50);
}

}  // namespace HostAttackTest
}  // namespace kntest
