// Runs one pass of a host's loop and draws who calls whom, in which order. Prints docs/pictures/pass.svg.
#include <knAnimEvaluator.h>
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <knFramePlayer.h>
#include <model/camera/UberCamera.h>
#include <model/constraint/knConstraintManager.h>
#include <model/fields/ChangeList.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/utils/knUtils.h>

#include <map>
#include <optional>

#include "drawing.h"

namespace {

double now = 0;  // the host's clock in seconds
std::map<osg::UInt32, std::string> names;
std::optional<Picture> picture;  // none before the pass that is drawn
double row = 40;
std::size_t noted = 0;  // entries of the change list that were drawn

/// Draws what the library tells: the changes that came before it, and, unless it is empty, itself.
void tell(std::string const& words) {
  if (!picture) return;
  auto const& list = osg::WinThreadBase::getCurrentChangeList()->getEntries();
  std::vector<std::string> told;
  while (noted < list.size())
    told.push_back("changed() of the " + names[list[noted++].container.getContainerId()]);
  if (!words.empty()) told.push_back(words);
  for (std::string const& one : told) {
    picture->arrow({590, row}, {320, row}, Picture::Orange);
    picture->text({600, row + 4}, one, Picture::Orange);
    row += 20;
  }
}

void call(char const* words, void (*operation)()) {
  row += 10;
  picture->arrow({320, row}, {590, row}, Picture::Blue);
  picture->text({310, row + 4}, words, Picture::Blue, "end");
  row += 20;
  operation();
  tell("");
}

osg::NodePtr addNode(osg::NodeCorePtr const& core, char const* name) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  names[core.getContainerId()] = name;
  return node;
}

/// A door on the timeline, a camera that is aimed at it, and a fan that turns in the queue for one second by the tree in the result.
osg::AnimNodePtr makeScene() {
  osg::NodePtr const door = addNode(osg::Transform3D::create(), "door");
  osg::NodePtr const fan = addNode(osg::Transform3D::create(), "fan");
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  addNode(camera, "camera");
  camera->setAimNode(door);
  knAuthoring::setKeys(knAuthoring::makeCurve(door, "translation.X"), {{0, 0}, {2, 4}});
  osg::AnimCurvePtr const spin = knAuthoring::makeCurve(fan, "rotation.Y");
  knAuthoring::setKeys(spin, {{0, 0}, {1, 90}});
  knAnimManager::the()->setTreeActive(knAnimManager::getAnimAttachment(fan)->getAnimationRoot(), false);
  osg::AnimNodePtr const tree = osg::AnimNode::create();
  names[tree.getContainerId()] = "fan's tree";
  tree->setCore(spin);
  tree->registerFinishedAnimationCallback([](auto&&) { tell("callback: the tree has finished"); }, true);
  knAnimManager::the()->enqueue(tree, true);
  return tree;
}

}  // namespace

int main() {
  knSceneDataManager::beginScene();
  knAnimManager::setSimulationTimeCB([] { return tell("callback: the clock"), now; });
  auto const all = knUtils::listenToAll([](auto name, auto&&...) { tell("message " + std::string(name)); });
  osg::AnimNodePtr const tree = makeScene();
  knFramePlayer::the().play({.lastFrame = 50});
  knAnimEvaluator::the()->loop();
  osg::WinThreadBase::getCurrentChangeList()->clear();
  now = 1.5;
  picture.emplace(900, 430);
  call("player.tick()", [] { knFramePlayer::the().tick(); });
  call("player.apply()", [] { knFramePlayer::the().apply(); });
  call("evaluator.loop()", [] { knAnimEvaluator::the()->loop(); });
  call("evaluateConstraints()", [] { knConstraintManager::evaluateConstraints(); });
  picture->text({310, row + 14}, "reads the change list, draws, clears it", Picture::Ink, "end");
  for (double const x : {320., 590.}) picture->line({x, 34}, {x, row + 20}, Picture::Grey, 2);
  picture->text({320, 24}, "host", Picture::Ink, "middle");
  picture->text({590, 24}, "library", Picture::Ink, "middle");
  picture.reset();
  tree.subRef();
  knSceneDataManager::endScene();
}
