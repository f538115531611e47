// What hosts do while the scene layer is at work: whatever drops a reference, or announces, can come back with the
// container that is being edited destroyed. The address sanitizer sees what is touched afterwards.
#include "model/camera/UberCamera.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/light/UberLight.h"
#include "model/materials/SurfaceMaterials.h"
#include "model/scenedata/MaterialPool.h"
#include "model/sceneext/AnimAttachment.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/Group.h"

#include <functional>

namespace ReleasingTest {

using namespace osg;
using namespace kntest;

using ReleasingTest = SceneTest;

std::function<void()> onChange;

class LoudNode;
class LoudNodeBase : public AnimNode {
  KN_CONTAINER(LoudNodeBase, LoudNode, AnimNode)
  KN_CONTAINER_END
};
class LoudNode : public LoudNodeBase {
 public:
  void changed(BitVector const&, UInt32) override {
    if (onChange) std::exchange(onChange, {})();
  }
};

class LoudComponent;
class LoudComponentBase : public ColorComponentSettings {
  KN_CONTAINER(LoudComponentBase, LoudComponent, ColorComponentSettings)
  KN_CONTAINER_END
};
class LoudComponent : public LoudComponentBase {
 public:
  void changed(BitVector const&, UInt32) override {
    if (onChange) std::exchange(onChange, {})();
  }
};

/// Fails unless the container dies of the operation, and with it what it alone holds. Where that is nothing, the
/// operation announces something.
void expectDeath(char const* name, FieldContainerPtr const& container, FieldContainerPtr const& held,
                 std::function<void()> const& run) {
  SCOPED_TRACE(name);
  container.addRef();
  UInt32 const hook = FieldContainerFactory::the().addDeathHook([&](FieldContainerPtr const& dying, UInt32) {
    if (held && dying == held) container.subRef();
  });
  if (!held) onChange = [&] { container.subRef(); };
  run();
  FieldContainerFactory::the().removeDeathHook(hook);
  EXPECT_FALSE(container.isAlive() || held.isAlive());
  EXPECT_FALSE(onChange) << "nobody was told";
}

template <class Container, class Held, class Hold, class Drop>
void expectDeath(char const* name, Hold hold, Drop drop) {
  typename Container::Ptr const container = Container::create();
  typename Held::Ptr const held = Held::create();
  hold(container, held);
  expectDeath(name, container, held, [&] { drop(container, held); });
}

TEST_F(ReleasingTest, TheContainerMayDieOfWhatIsDroppedFromIt) {
  auto const hang = [](auto c, auto held) { c->addAttachment(held); };
  auto const adopt = [](auto c, auto held) { c->addChild(held); };
  auto const root = [](auto c, auto held) { c->setAnimationRoot(held); };
  expectDeath<AnimNode, Mark>("replaced attachment", hang,
                              [](auto c, auto) { c->addAttachment(Mark::create()); });
  expectDeath<AnimNode, Mark>("attachment", hang,
                              [](auto c, auto) { c->subAttachment(c->getAttachments()[0].attachment); });
  expectDeath<AnimNode, Node>("child", adopt, [](auto c, auto) { c->subChild(c->getChildren()[0]); });
  expectDeath<AnimNode, Node>("children", adopt,
                              [](auto c, auto) { c->subChildren(c->getChildren().getValues()); });
  expectDeath<AnimNode, Node>("all children", adopt, [](auto c, auto) { c->clearChildren(); });
  expectDeath<AnimNode, Node>("replaced child", adopt,
                              [](auto c, auto held) { c->replaceChildBy(held, AnimNode::create()); });
  expectDeath<AnimNode, Group>(
      "core", [](auto c, auto held) { c->setCore(held); }, [](auto c, auto) { c->setCore({}); });
  expectDeath<TimeShapeCache, TimeShapeData>(
      "shapes", [](auto c, auto held) { c->addShape(held); }, [](auto c, auto) { c->clearShapes(); });
  expectDeath<VertexAnimCurves, AnimCurve>(
      "vertex curves", [](auto c, auto held) { c->addPositionCurve(held); },
      [](auto c, auto) { c->clearCurves(); });
  expectDeath<AnimAttachment, AnimNode>("animation root", root,
                                        [](auto c, auto) { c->setAnimationRoot(AnimNode::create()); });
  expectDeath<AnimAttachment, AnimNode>(
      "animation", [](auto c, auto held) { c->addAnimation(held); },
      [](auto c, auto held) { c->subAnimation(held); });
  expectDeath<UberCamera, AnimNode>("flights", root, [](auto c, auto) { c->setAnimationRoot({}); });
  expectDeath<MaterialPool, Material>(
      "material of the pool", [](auto c, auto held) { c->add(held); },
      [](auto c, auto) { c->sub(c->getMaterials()[0]); });
  expectDeath<MaterialPool, Node>(
      "cameras of the pool", [](auto c, auto held) { c->setCameraRoot(held); },
      [](auto c, auto) { c->setCameraRoot({}); });
  expectDeath<SwitchMaterial, Material>(
      "material of a switch", [](auto c, auto held) { c->addMaterial(held); },
      [](auto c, auto) { c->subMaterial(c->getMaterials()[0]); });
}

TEST_F(ReleasingTest, TheContainerMayDieOfWhatItAnnounces) {
  AnimAttachmentPtr const attachment = AnimAttachment::create();
  attachment->setAnimationRoot(dcast<AnimNodePtr>(LoudNodeBase::_type.createFieldContainer()));
  expectDeath("animation", attachment, {}, [&] { attachment->addAnimation(AnimNode::create()); });
  NodePtr const loud = dcast<NodePtr>(LoudNodeBase::_type.createFieldContainer());
  expectDeath("name", loud, {}, [&] { NodeUtils::setName(loud, "name", true); });
  UberLightPtr const light = UberLight::create();
  light->setDiffuse(dcast<ColorComponentSettingsPtr>(LoudComponentBase::_type.createFieldContainer()));
  expectDeath("colours", light, {}, [&] { light->updateColorByTemperature(); });
}

KN_CONTAINER_TYPE(LoudNodeBase, LoudNode, "TestLoudNode")
KN_CONTAINER_TYPE(LoudComponentBase, LoudComponent, "TestLoudComponent")

}  // namespace ReleasingTest
