#include "HeaderExample.h"

#include <knAnimEvaluator.h>
#include <knAnimManager.h>
#include <model/camera/UberCamera.h>
#include <model/light/UberLight.h>
#include <model/materials/Material.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/sceneext/AnimAttachment.h>
#include <model/sceneext/AnimCurve.h>
#include <model/scenefiles/SceneFileHandler.h>

#include <cmath>
#include <cstdio>
#include <string>

// A host with containers of every kind of its own: made, animated, evaluated, saved and loaded. `Spin` comes from the
// example in the header of the declaring macros.

#define HOST_CONTAINER(Kind, Parent)            \
  class Kind : public Parent {                  \
    KN_CONTAINER(Kind, Kind, Parent)            \
   public:                                      \
    KN_SFIELD(osg::Real32, Amount, amount, 0.F) \
    KN_CONTAINER_END                            \
  };                                            \
  KN_CONTAINER_TYPE(Kind, Kind, "Host " #Kind)

namespace host {

HOST_CONTAINER(Door, osg::Node)
HOST_CONTAINER(Lens, osg::UberCamera)
HOST_CONTAINER(Lamp, osg::UberLight)
HOST_CONTAINER(Motion, osg::AnimNode)
HOST_CONTAINER(Motions, osg::AnimAttachment)
HOST_CONTAINER(Label, osg::Attachment)

class Paint : public osg::Material {
  KN_CONTAINER(Paint, Paint, osg::Material)
 public:
  KN_SFIELD(osg::Real32, Amount, amount, 0.F)
  KN_MFIELD(bool, Layers, layers)
  KN_CONTAINER_END
  void getChannelDescriptions(std::vector<osg::ChannelDescription>& out) const override {
    out.push_back({{getContainerId()}, "amount", "amount"});
  }
};
KN_CONTAINER_TYPE(Paint, Paint, "Host Paint")

}  // namespace host

namespace {

int faults = 0;

void check(bool isRight, char const* what) {
  if (isRight) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  ++faults;
}

bool isNear(float value, float wanted) { return std::abs(value - wanted) < 1e-4F; }

/// Runs the field from 0 at 0 s to 8 at 2 s, by an attachment and an animation node of the host's own.
void key(osg::AttachmentContainerPtr const& container, char const* field, char const* channel) {
  osg::AnimCurvePtr const curve = osg::AnimCurve::create();
  curve->setName(field);
  curve->setChannelName(channel);
  for (float const time : {0.F, 2.F}) {
    curve->addPoint({time, 4 * time}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
  }
  host::Motion::Ptr const motion = host::Motion::create();
  motion->setCore(curve);
  motion->setAmount(7);
  if (!knAnimManager::getAnimAttachment(container)) {
    container->addAttachment(host::Motions::create());
    container->addAttachment(host::Label::create());
  }
  knAnimManager::the()->addAnimation(container, motion);
}

osg::NodePtr addNode(osg::NodePtr const& node, osg::NodeCorePtr const& core) {
  node->setCore(core);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

template <class Handle>
Handle coreOfChild(osg::NodePtr const& root, std::size_t child) {
  return osg::dcast<Handle>(root->getChildren()[child]->getCore());
}

void checkValues(osg::NodePtr const& root) {
  check(root && root->getChildren().size() == 4, "the scene has four nodes");
  if (!root || root->getChildren().size() != 4) return;
  auto const door = osg::dcast<host::Door::Ptr>(root->getChildren()[0]);
  auto const spin = coreOfChild<Spin::Ptr>(root, 0);
  auto const lens = coreOfChild<host::Lens::Ptr>(root, 1);
  auto const lamp = coreOfChild<host::Lamp::Ptr>(root, 2);
  auto const group = coreOfChild<osg::MaterialGroupPtr>(root, 3);
  auto const paint = group ? osg::dcast<host::Paint::Ptr>(group->getMaterial()) : host::Paint::Ptr();
  check(door && isNear(door->getAmount(), 4), "the node");
  check(spin && isNear(spin->getSpeed(), 4) && isNear(spin->secondsPerTurn(), 0.25F), "the core");
  check(lens && isNear(lens->getAmount(), 4), "the camera");
  check(lamp && isNear(lamp->getAmount(), 4), "the light");
  check(paint && isNear(paint->getAmount(), 4), "the material");
  check(paint && paint->getLayers().size() == 2 && paint->getLayers()[1], "its list of bools");

  auto const motions = osg::dcast<host::Motions::Ptr>(knAnimManager::getAnimAttachment(door));
  std::vector<osg::AnimNodePtr> trees;
  if (motions) motions->getTopLevelAnimations(trees, true);
  auto const motion = trees.size() == 2 ? osg::dcast<host::Motion::Ptr>(trees[0]) : host::Motion::Ptr();
  check(motion && isNear(motion->getAmount(), 7), "the attachment and its animation node");
  check(door && door->findAttachment(host::Label::_type.getGroupId()), "the other attachment");
}

}  // namespace

int main(int count, char** arguments) {
  std::string const file = count > 1 ? arguments[1] : "own_containers.scene";
  knSceneDataManager::beginScene();
  knAnimEvaluator::setGetMaterialPoolCB([] { return knSceneData::getMaterialPool(); });
  osg::NodePtr const door = addNode(host::Door::create(), Spin::create());
  osg::NodePtr const camera = addNode(osg::Node::create(), host::Lens::create());
  osg::NodePtr const light = addNode(osg::Node::create(), host::Lamp::create());
  host::Paint::Ptr const paint = host::Paint::create();
  paint->getLayers() = {false, true};
  osg::MaterialGroupPtr const group = osg::MaterialGroup::create();
  group->setMaterial(paint);
  addNode(osg::Node::create(), group);
  knSceneData::getMaterialPool()->add(paint);

  key(door, "speed", "speed");
  key(door, "amount", "visible");  // a channel of this name belongs to the node and not to its core
  key(camera, "amount", "amount");
  key(light, "amount", "amount");
  key(paint, "amount", "amount");

  knAnimManager::the()->setFPS(25);
  knAnimManager::the()->setCurrentFrame(25, true, true);
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  checkValues(root);
  check(osg::saveSceneFile(root, file, true), "saving");
  knSceneDataManager::endScene();

  osg::NodePtr const loaded = osg::loadSceneFile(file);
  checkValues(loaded);
  loaded.subRef();
  return faults == 0 ? 0 : 1;
}
