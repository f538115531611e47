#include "model/sceneext/AnimAttachment.h"

#include "knAnimManager.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/TagAttachment.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"
#include "model/scenegraph/Group.h"

namespace AnimAttachmentTest {

using namespace osg;
using namespace kntest;

using AnimAttachmentTest = kntest::SceneTest;
using AnimNodes = std::vector<AnimNodePtr>;

class HostAttachment;

/// What a host may derive to keep data of its own beside the animations.
class HostAttachmentBase : public AnimAttachment {
  KN_CONTAINER(HostAttachmentBase, HostAttachment, AnimAttachment)
 public:
  KN_SFIELD(UInt32, HostNumber, hostNumber, 0U)
  KN_CONTAINER_END
};
class HostAttachment : public HostAttachmentBase {};

AnimNodes topLevel(AnimAttachment const& attachment, bool includeHidden) {
  AnimNodes nodes;
  attachment.getTopLevelAnimations(nodes, includeHidden);
  return nodes;
}

TEST_F(AnimAttachmentTest, TopLevelAnimationsAreListedInOrder) {
  Held const attachment(AnimAttachment::create());
  EXPECT_TRUE(!attachment->hasAnimations() && topLevel(**attachment, true).empty());
  ASSERT_TRUE(attachment->getAnimationRoot().isAlive()) << "brought along";
  EXPECT_TRUE(dcast<GroupPtr>(attachment->getAnimationRoot()->getCore()));
  AnimNodePtr const block = newAnimNode(AnimBlock::create());
  AnimNodePtr const curve = newAnimNode(newCurve({{0, 1}}));
  AnimNodePtr const hiddenCurve = newAnimNode(newCurve({{0, 1}}));
  AnimNodePtr const inner = newAnimNode(newCurve({{0, 1}}));
  AnimNodePtr const bare = newAnimNode();
  hiddenCurve->setHidden(true);
  block->addChild(inner);
  for (AnimNodePtr const& node : {block, curve, hiddenCurve, bare}) attachment->addAnimation(node);
  attachment->getAnimationRoot()->addChild(Node::create());

  EXPECT_TRUE(attachment->hasAnimations());
  EXPECT_EQ(topLevel(**attachment, true), (AnimNodes{block, curve, hiddenCurve, bare}));
  EXPECT_EQ(topLevel(**attachment, false), (AnimNodes{block, curve, bare}));
  AnimNodes nodes{inner};
  attachment->getTopLevelBlockNodes(nodes);
  attachment->getTopLevelCurveNodes(nodes);
  EXPECT_EQ(nodes, (AnimNodes{inner, block, curve, hiddenCurve})) << "the lists are appended to";
}

TEST_F(AnimAttachmentTest, AnimationsMoveInAndOut) {
  Held const first(AnimAttachment::create()), second(AnimAttachment::create());
  Held const animation(newAnimNode());
  first->addAnimation(animation);
  AnimNodePtr const root = first->getAnimationRoot();
  EXPECT_EQ(root->getRefCount(), 1);

  Announced const announced;
  second->addAnimation(animation);
  EXPECT_EQ(announced.maskOf(second->getAnimationRoot()), Node::ChildrenFieldMask);
  second->subAnimation(nullptr);
  second->subAnimation(second->getAnimationRoot());
  first->subAnimation(animation);
  EXPECT_FALSE(first->hasAnimations()) << "the animation was taken from its former parent";
  EXPECT_EQ(topLevel(**second, true), AnimNodes{*animation});
  EXPECT_EQ(animation->getRefCount(), 2);

  AnimNodePtr const dead = AnimNode::create();
  dead.subRef();
  Held const above(newAnimNode());
  above->addChild(root);
  for (AnimNodePtr const& refused : {AnimNodePtr(), dead, root, *above}) first->addAnimation(refused);
  EXPECT_FALSE(first->hasAnimations());
  EXPECT_EQ(root->getParent(), *above);

  second->subAnimation(animation);
  EXPECT_FALSE(second->hasAnimations());
  EXPECT_EQ(animation->getParent(), nullptr);
  EXPECT_EQ(animation->getRefCount(), 1);
  second->setAnimationRoot(root);
  EXPECT_EQ(root->getRefCount(), 3) << "held by the node above and by two attachments";
  second->setAnimationRoot({});
  second->addAnimation(animation);
  EXPECT_NE(second->getAnimationRoot(), root);
}

TEST_F(AnimAttachmentTest, VertexAnimationIsFoundAnywhereInTheTree) {
  Held const attachment(AnimAttachment::create());
  EXPECT_FALSE(attachment->hasVertexAnimation());
  AnimNodePtr const clip = newAnimNode(AnimBlock::create());
  AnimNodePtr const deep = newAnimNode(newCurve({{0, 1}}));
  clip->addChild(newAnimNode());
  clip->addChild(deep);
  attachment->addAnimation(clip);
  EXPECT_FALSE(attachment->hasVertexAnimation());
  for (NodeCorePtr const& core :
       {NodeCorePtr(TimeShapeCache::create()), NodeCorePtr(VertexAnimCurves::create())}) {
    deep->setCore(core);
    EXPECT_TRUE(attachment->hasVertexAnimation());
    deep->setCore({});
    EXPECT_FALSE(attachment->hasVertexAnimation());
  }
}

TEST_F(AnimAttachmentTest, TheManagerFindsTheAttachmentOfAContainer) {
  Held const node(Node::create());
  AttachmentContainerPtr const dead = Node::create();
  dead.subRef();
  EXPECT_EQ(knAnimManager::getAnimAttachment(nullptr), nullptr);
  EXPECT_EQ(knAnimManager::getAnimAttachment(dead), nullptr);
  node->addAttachment(TagAttachment::create());
  EXPECT_EQ(knAnimManager::getAnimAttachment(*node), nullptr);
  AnimAttachmentPtr const attachment = AnimAttachment::create();
  node->addAttachment(attachment);
  EXPECT_EQ(knAnimManager::getAnimAttachment(*node), attachment);
  AttachmentPtr const derived = dcast<AttachmentPtr>(HostAttachmentBase::_type.createFieldContainer());
  node->addAttachment(derived);
  EXPECT_EQ(knAnimManager::getAnimAttachment(*node), derived)
      << "a derived kind takes the place of the base's";
  EXPECT_FALSE(attachment.isAlive());
  node->subAttachment(derived);
  EXPECT_EQ(knAnimManager::getAnimAttachment(*node), nullptr);
}

KN_CONTAINER_TYPE(HostAttachmentBase, HostAttachment, "TestHostAnimAttachment")

}  // namespace AnimAttachmentTest
