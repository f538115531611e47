#include "model/sceneext/AnimTreeCloning.h"

#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/TagAttachment.h"
#include "model/sceneext/TimeShapeCache.h"

namespace kntest::AnimTreeCloningTest {

template <class Type>
typename Type::Ptr attached(NodePtr const& node) {
  return dcast<typename Type::Ptr>(node->findAttachment(Type::_type.getGroupId()));
}

/// A block with two nodes of the same curve and a cache, below a parent whose placement is no part of it.
class AnimTreeCloningTest : public SceneTest {
 protected:
  AnimTreeCloningTest() {
    above.addRef();
    above->addChild(block);
    for (AnimNodePtr const& node : {first, second, shapes}) block->addChild(node);
    cache->addShape(TimeShapeData::create());
    NodeUtils::setName(block, "block", false);
    TagAttachmentPtr const tags = TagAttachment::create();
    block->addAttachment(tags);
    second->addAttachment(tags);
    block->setPlaying(true);
    block->setPostCycles(3);
    first->setPlaying(true);
    first->setPausing(true);
    first->setTravMask(7);
  }
  ~AnimTreeCloningTest() override { above.subRef(); }

  static AnimNodePtr child(AnimNodePtr const& node, UInt32 index) {
    return dcast<AnimNodePtr>(node->getChild(index));
  }
  /// The copy has the tree's form and values, does not play, and has the placement of a root.
  void expectCopy(AnimNodePtr const& copy) const {
    ASSERT_TRUE(copy.isAlive());
    EXPECT_EQ(copy->getRefCount(), 0);
    EXPECT_EQ(copy->getParent(), nullptr);
    EXPECT_EQ(copy->getPostCycles(), 3);
    ASSERT_EQ(copy->getNChildren(), 3U);
    EXPECT_FALSE(copy->getPlaying() || child(copy, 0)->getPlaying() || child(copy, 0)->getPausing());
    EXPECT_EQ(child(copy, 0)->getTravMask(), 7U);
    EXPECT_EQ(child(copy, 1)->getTotalScale(), 6);
    EXPECT_EQ(child(copy, 1)->getTotalOffset(), 5);
    for (UInt32 i = 0; i < 3; ++i) EXPECT_EQ(child(copy, i)->getRefCount(), 1);
    EXPECT_TRUE(block->getPlaying() && first->getPausing()) << "the original plays on";
  }

  AnimCurvePtr const curve = newCurve({{0, 0}, {1, 5}});
  TimeShapeCachePtr const cache = TimeShapeCache::create();
  AnimNodePtr const above = newAnimNode({}, 10, 100);
  AnimNodePtr const block = newAnimNode(AnimBlock::create(), 2, 3);
  AnimNodePtr const first = newAnimNode(curve);
  AnimNodePtr const second = newAnimNode(curve, 3, 1);
  AnimNodePtr const shapes = newAnimNode(cache);
};

TEST_F(AnimTreeCloningTest, AShallowCloneSharesCoresAndOwnsItsName) {
  Held const copy(dcast<AnimNodePtr>(cloneAnimTree(block, true)));
  EXPECT_EQ(copy->getCore(), block->getCore());
  EXPECT_EQ(child(copy, 0)->getCore(), curve);
  EXPECT_EQ(curve->getParents().size(), 4U);
  EXPECT_EQ(attached<TagAttachment>(copy), attached<TagAttachment>(block));
  NodeUtils::setName(*copy, "copy", false);
  EXPECT_STREQ(NodeUtils::getName(block), "block");

  Held const bare(dcast<AnimNodePtr>(cloneAnimTree(block, false)));
  EXPECT_TRUE(bare->getAttachments().empty() && child(bare, 1)->getAttachments().empty());
  curve->addPoints({{9, 0}});
  EXPECT_EQ(animRangeOf(child(copy, 0)), (TimeRange{3, 21})) << "a shared core tells all its nodes";
  EXPECT_EQ(animRangeOf(child(bare, 1)), (TimeRange{5, 59}));
}

TEST_F(AnimTreeCloningTest, TypesAreSharedByNameWithTheirDescendants) {
  struct Case {
    char const* types;
    bool curve, cache, tags;
  };
  for (Case const& c : {Case{"AnimCurve,TagAttachment", true, false, true},
                        {" TimeShapeCache , Unknown,, TagAttachment ", false, true, true},
                        {"Attachment AnimCurve", true, false, true},
                        {"AnimObject", true, true, false},
                        {"animCurve,Anim,AnimCurveX", false, false, false}}) {
    Held const copy(deepCloneAnimTree(block, c.types));
    EXPECT_EQ(child(copy, 0)->getCore() == curve, c.curve) << c.types;
    EXPECT_EQ(child(copy, 2)->getCore() == cache, c.cache) << c.types;
    EXPECT_EQ(attached<TagAttachment>(copy) == attached<TagAttachment>(block), c.tags) << c.types;
    EXPECT_EQ(curve->getRefCount(), c.curve ? 4 : 2) << c.types;
  }
  EXPECT_TRUE(deepCloneAnimTree(block, "Node") == block && block->getPlaying() &&
              block->getParent() == above);
}

TEST_F(AnimTreeCloningTest, CopiesPlayNothingAndOutliveTheirOriginals) {
  AnimNodePtr const copies[] = {dcast<AnimNodePtr>(cloneAnimTree(block, true)),
                                dcast<AnimNodePtr>(cloneAnimTree(block, false)), deepCloneAnimTree(block, ""),
                                deepCloneAnimTree(block, "AnimObject,Attachment")};
  for (AnimNodePtr const& copy : copies) {
    expectCopy(copy);
    copy.addRef();
  }
  above->clearChildren();
  for (AnimNodePtr const& none : {AnimNodePtr(), block})
    EXPECT_TRUE(!cloneAnimTree(none, true) && !deepCloneAnimTree(none, "")) << "null or dead";
  for (AnimNodePtr const& copy : copies) {
    EXPECT_EQ(animRangeOf(child(copy, 0)), (TimeRange{3, 5}));
    copy.subRef();
  }
  EXPECT_FALSE(curve.isAlive());
}

}  // namespace kntest::AnimTreeCloningTest
