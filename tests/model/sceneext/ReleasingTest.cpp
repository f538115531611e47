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
  void changed(BitVector const& mask, UInt32 origin) override {
    LoudNodeBase::changed(mask, origin);
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
  void changed(BitVector const& mask, UInt32 origin) override {
    LoudComponentBase::changed(mask, origin);
    if (onChange) std::exchange(onChange, {})();
  }
};

/// A container, what it alone holds, and an operation on the container that drops that, or announces it.
struct Stage {
  FieldContainerPtr container;
  FieldContainerPtr held;  ///< null where the operation announces
  std::function<void()> run;
};

template <class Container, class Handle, class Hold, class Drop>
Stage drops(Container container, Handle held, Hold hold, Drop drop) {
  hold(container, held);
  return {container, held, [container, held, drop] { drop(container, held); }};
}

struct Case {
  char const* name;
  std::function<Stage()> make;
};

std::vector<Case> cases() {
  auto const hang = [](auto const& c, auto const& held) { c->addAttachment(held); };
  auto const adopt = [](auto const& c, auto const& held) { c->addChild(held); };
  auto const node = [] { return AnimNodePtr(AnimNode::create()); };
  return {
      {"replaced attachment",
       [=] {
         return drops(node(), Mark::Ptr(Mark::create()), hang,
                      [](auto const& c, auto const&) { c->addAttachment(Mark::create()); });
       }},
      {"attachment",
       [=] {
         return drops(node(), Mark::Ptr(Mark::create()), hang, [](auto const& c, auto const&) {
           c->subAttachment(c->getAttachments()[0].attachment);
         });
       }},
      {"child",
       [=] {
         return drops(node(), NodePtr(Node::create()), adopt,
                      [](auto const& c, auto const&) { c->subChild(c->getChildren()[0]); });
       }},
      {"children",
       [=] {
         return drops(node(), NodePtr(Node::create()), adopt,
                      [](auto const& c, auto const&) { c->subChildren(c->getChildren().getValues()); });
       }},
      {"all children",
       [=] {
         return drops(node(), NodePtr(Node::create()), adopt,
                      [](auto const& c, auto const&) { c->clearChildren(); });
       }},
      {"replaced child",
       [=] {
         return drops(node(), NodePtr(Node::create()), adopt,
                      [](auto const& c, auto const& held) { c->replaceChildBy(held, AnimNode::create()); });
       }},
      {"core",
       [=] {
         return drops(
             node(), NodeCorePtr(Group::create()), [](auto const& c, auto const& held) { c->setCore(held); },
             [](auto const& c, auto const&) { c->setCore({}); });
       }},
      {"shapes",
       [] {
         return drops(
             TimeShapeCachePtr(TimeShapeCache::create()), TimeShapeDataPtr(TimeShapeData::create()),
             [](auto const& c, auto const& held) { c->addShape(held); },
             [](auto const& c, auto const&) { c->clearShapes(); });
       }},
      {"vertex curves",
       [] {
         return drops(
             VertexAnimCurvesPtr(VertexAnimCurves::create()), newCurve({{0, 0}}),
             [](auto const& c, auto const& held) { c->addPositionCurve(held); },
             [](auto const& c, auto const&) { c->clearCurves(); });
       }},
      {"animation root",
       [=] {
         return drops(
             AnimAttachmentPtr(AnimAttachment::create()), node(),
             [](auto const& c, auto const& held) { c->setAnimationRoot(held); },
             [](auto const& c, auto const&) { c->setAnimationRoot(AnimNode::create()); });
       }},
      {"animation",
       [=] {
         return drops(
             AnimAttachmentPtr(AnimAttachment::create()), node(),
             [](auto const& c, auto const& held) { c->addAnimation(held); },
             [](auto const& c, auto const& held) { c->subAnimation(held); });
       }},
      {"flights",
       [=] {
         return drops(
             UberCameraPtr(UberCamera::create()), node(),
             [](auto const& c, auto const& held) { c->setAnimationRoot(held); },
             [](auto const& c, auto const&) { c->setAnimationRoot({}); });
       }},
      {"material of the pool",
       [] {
         return drops(
             MaterialPoolPtr(MaterialPool::create()), MaterialPtr(Material::create()),
             [](auto const& c, auto const& held) { c->add(held); },
             [](auto const& c, auto const&) { c->sub(c->getMaterials()[0]); });
       }},
      {"cameras of the pool",
       [] {
         return drops(
             MaterialPoolPtr(MaterialPool::create()), NodePtr(Node::create()),
             [](auto const& c, auto const& held) { c->setCameraRoot(held); },
             [](auto const& c, auto const&) { c->setCameraRoot({}); });
       }},
      {"material of a switch",
       [] {
         return drops(
             SwitchMaterialPtr(SwitchMaterial::create()), MaterialPtr(Material::create()),
             [](auto const& c, auto const& held) { c->addMaterial(held); },
             [](auto const& c, auto const&) { c->subMaterial(c->getMaterials()[0]); });
       }},
      {"announced animation",
       [] {
         AnimAttachmentPtr const attachment = AnimAttachment::create();
         attachment->setAnimationRoot(dcast<AnimNodePtr>(LoudNodeBase::_type.createFieldContainer()));
         return Stage{attachment, {}, [attachment] { attachment->addAnimation(AnimNode::create()); }};
       }},
      {"announced name",
       [] {
         NodePtr const loud = dcast<NodePtr>(LoudNodeBase::_type.createFieldContainer());
         return Stage{loud, {}, [loud] { NodeUtils::setName(loud, "name", true); }};
       }},
      {"announced colours",
       [] {
         UberLightPtr const light = UberLight::create();
         light->setDiffuse(dcast<ColorComponentSettingsPtr>(LoudComponentBase::_type.createFieldContainer()));
         return Stage{light, {}, [light] { light->updateColorByTemperature(); }};
       }},
  };
}

TEST_F(ReleasingTest, TheContainerMayDieOfWhatIsDoneToIt) {
  for (Case const& one : cases()) {
    SCOPED_TRACE(one.name);
    Stage const stage = one.make();
    stage.container.addRef();
    auto& factory = FieldContainerFactory::the();
    UInt32 const hook = factory.addDeathHook([&](FieldContainerPtr const& dying, UInt32) {
      if (stage.held && dying == stage.held) stage.container.subRef();
    });
    if (!stage.held) onChange = [&stage] { stage.container.subRef(); };
    stage.run();
    factory.removeDeathHook(hook);
    EXPECT_FALSE(stage.container.isAlive());
    EXPECT_FALSE(stage.held.isAlive());
    EXPECT_FALSE(onChange) << "nobody was told";
  }
}

KN_CONTAINER_TYPE(LoudNodeBase, LoudNode, "TestLoudNode")
KN_CONTAINER_TYPE(LoudComponentBase, LoudComponent, "TestLoudComponent")

}  // namespace ReleasingTest
