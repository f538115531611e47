#include "model/sceneext/AnimAttachment.h"

#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/ValuePair.h"

namespace kntest::AnimAttachmentTest {

using AnimAttachmentTest = SceneTest;
using AnimNodes = std::vector<AnimNodePtr>;

AnimNodes topLevel(AnimAttachment const& attachment, bool includeHidden) {
  AnimNodes nodes;
  attachment.getTopLevelAnimations(nodes, includeHidden);
  return nodes;
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
  EXPECT_EQ(animation->getRefCount(), 1);
  second->setAnimationRoot(root);
  EXPECT_EQ(root->getRefCount(), 3) << "held by the node above and by two attachments";
  second->setAnimationRoot({});
  second->addAnimation(animation);
  EXPECT_NE(second->getAnimationRoot(), root);
}

using ValuePairTest = SceneTest;

TEST_F(ValuePairTest, ListsOfUnequalLengthAreBroughtIntoStep) {
  Held const pair(ValuePair::create());
  pair->getKeys() = {"a", "b"};
  EXPECT_TRUE(pair->findKey("b"));
  EXPECT_EQ(pair->getValue("b"), "") << "the values are missing";
  pair->add("b", "2");
  EXPECT_EQ(pair->getValue("a"), "");
  EXPECT_EQ(pair->getValue("b"), "2");
  pair->getValues() = {"1", "2", "3", "4"};
  pair->add("c", "5");
  EXPECT_EQ(pair->getValue("c"), "5");
  EXPECT_EQ(pair->getValues()[3], "4") << "values beyond the keys stay";
}

}  // namespace kntest::AnimAttachmentTest
