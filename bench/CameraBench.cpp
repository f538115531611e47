// What cameras cost: a flight that is started anew with every move of the mouse, many flights at once beside a scene of
// as many curves, and motion blur of one object among many.
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/camera/UberCamera.h"
#include "model/fields/ChangeList.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenegraph/Group.h"

#include <benchmark/benchmark.h>

namespace {

constexpr double Fps = 30.0;

double simulationTime = 0.0;
double readSimulationTime() { return simulationTime; }

void clearChanges() { osg::WinThreadBase::getCurrentChangeList()->clear(); }

osg::NodePtr addNode(osg::NodeCorePtr const& core) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

osg::UberCameraPtr addCamera() {
  osg::UberCameraPtr const camera = osg::UberCameraBase::create();
  addNode(camera);
  camera->setViewByFromAtUp({1, 2, 3}, {0, 0, 0}, {0, 1, 0});
  return camera;
}

osg::AnimNodePtr addMover() {
  osg::NodePtr const node = addNode(osg::Transform3DBase::create());
  osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  for (osg::UInt32 i = 0; i < 3; ++i) {
    auto const [curveNode, curve] = knAnimManager::the()->createCurve("translation", i == 0   ? "X"
                                                                                     : i == 1 ? "Y"
                                                                                              : "Z");
    for (int key = 0; key < 10; ++key) {
      curve->addPoint({static_cast<float>(key * 100), static_cast<float>(key % 3)}, {}, {},
                      osg::SmoothTangent, osg::SmoothTangent, false, true);
    }
    attachment->addAnimation(curveNode);
  }
  node->addAttachment(attachment);
  return attachment->getAnimationRoot();
}

class Scene {
 public:
  Scene() {
    knSceneDataManager::beginScene();
    knAnimManager::setSimulationTimeCB(readSimulationTime);
    knAnimManager::the()->setFPS(Fps);
  }
  ~Scene() {
    knAnimManager::the()->dequeueAll();
    knAnimManager::setSimulationTimeCB(nullptr);
    knSceneDataManager::endScene();
    clearChanges();
  }
};

// --- Starting a flight --------------------------------------------------------------------------------------------

enum Target { ToAPoint, ToAMatrix, ToAView, ToACamera };

/// Starts a flight and lets the queue take a pass, over and over, in a scene of 1,000,000 static nodes and as many
/// animated ones as the argument says.
void flyByMouse(benchmark::State& state, Target target) {
  Scene const scene;
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  for (int i = 0; i < 1'000'000; ++i) {
    osg::NodePtr const node = osg::Node::create();
    node->setCore(osg::GroupBase::create());
    root->addChild(node);
  }
  for (int i = 0; i < state.range(0); ++i) addMover();
  osg::UberCameraPtr const camera = addCamera();
  osg::UberCameraPtr const viewpoint = addCamera();
  knAnimManager& manager = *knAnimManager::the();
  float step = 0;
  for (auto _ : state) {
    step = step < 10 ? step + 0.1F : 0;
    simulationTime += 1 / Fps;
    if (target == ToAPoint) manager.animateCamera(camera, osg::Pnt3f(step, 0, 0), osg::Vec3f(), 1);
    if (target == ToAMatrix) manager.animateCamera(camera, osg::Matrix::translation({step, 1, 2}), {}, {}, 1);
    if (target == ToAView) manager.animateCamera(camera, {step, 1, 2}, {}, {0, 1, 0}, 45, 0, 1);
    if (target == ToACamera) manager.animateCamera(camera, viewpoint, 1, {});
    knAnimEvaluator::the()->loop();
    clearChanges();
  }
}
#define KN_FLIGHT(target)                       \
  BENCHMARK_CAPTURE(flyByMouse, target, target) \
      ->Arg(0)                                  \
      ->Arg(10'000)                             \
      ->ArgName("animated")                     \
      ->Unit(benchmark::kMicrosecond)           \
      ->UseRealTime();
KN_FLIGHT(ToAPoint)
KN_FLIGHT(ToAMatrix)
KN_FLIGHT(ToAView)
KN_FLIGHT(ToACamera)

// --- Many flights -------------------------------------------------------------------------------------------------

/// 10,000 cameras, each with the eleven curves of a flight to a view.
std::vector<osg::UberCameraPtr> makeFlights() {
  std::vector<osg::UberCameraPtr> cameras;
  for (int i = 0; i < 10'000; ++i) {
    cameras.push_back(addCamera());
    knAnimManager::the()->animateCamera(cameras.back(), {5, 6, static_cast<float>(i % 7)}, {1, 0, 0},
                                        {0, 1, 0}, 60, 10, 1.0e6F);
  }
  return cameras;
}

void flyManyCameras(benchmark::State& state) {
  Scene const scene;
  makeFlights();
  for (auto _ : state) {
    simulationTime += 1 / Fps;
    knAnimEvaluator::the()->loop();
    clearChanges();
  }
}
BENCHMARK(flyManyCameras)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// The same curves on the same cameras, as animations of the scene.
void sameCurvesAsScene(benchmark::State& state) {
  Scene const scene;
  for (osg::UberCameraPtr const& camera : makeFlights()) {
    osg::AnimNodePtr const root = camera->getAnimationRoot();
    osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
    while (root->getNChildren() > 0)
      attachment->addAnimation(osg::dcast<osg::AnimNodePtr>(root->getChild(0)));
    camera->getCameraNode()->addAttachment(attachment);
  }
  double frame = 0;
  for (auto _ : state) {
    knAnimManager::the()->setCurrentFrame(++frame, true, false);
    clearChanges();
  }
}
BENCHMARK(sameCurvesAsScene)->Unit(benchmark::kMicrosecond)->UseRealTime();

// --- Motion blur --------------------------------------------------------------------------------------------------

/// Samples of one object in a scene of so many animated ones.
void blurOneObject(benchmark::State& state) {
  Scene const scene;
  osg::UberCameraPtr const camera = addCamera();
  camera->setMotionBlur(true);
  osg::AnimNodePtr const object = addMover();
  for (int i = 1; i < state.range(0); ++i) addMover();
  knAnimManager& manager = *knAnimManager::the();
  manager.setMotionBlurObjectID(object.getContainerId());
  float sample = 0;
  for (auto _ : state) {
    sample = sample < 0.9F ? sample + 0.1F : 0;
    manager.applyMotionBlur(camera, sample);
    clearChanges();
  }
  manager.resetMotionBlurObjectID();
}
BENCHMARK(blurOneObject)->Arg(1)->Arg(10'000)->ArgName("animated")->UseRealTime();

}  // namespace
