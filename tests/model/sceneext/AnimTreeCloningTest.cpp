#include "model/sceneext/AnimTreeCloning.h"

#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/TagAttachment.h"
#include "model/sceneext/TimeShapeCache.h"

namespace {

using namespace osg;
using kntest::animRangeOf;
using kntest::Held;
using kntest::newAnimNode;
using kntest::newCurve;

template <class Type>
typename Type::Ptr attached(NodePtr const& node) {
  return dcast<typename Type::Ptr>(node->findAttachment(Type::_type.getGroupId()));
}

/// A block with two nodes of the same curve and a cache, below a parent whose placement is no part of it.
class AnimTreeCloningTest : public kntest::SceneTest {
 protected:
  AnimTreeCloningTest() {
    above.addRef();
    above->addChild(block);
    for (AnimNodePtr const& node : {first, second, shapes}) block->addChild(node);
    cache->addShape(TimeShapeData::create());
    NodeUtils::setName(block, "block", false);
    TagAttachmentPtr const tags = TagAttachment::create();
    tags->getTags() = {"a", "b"};
    block->addAttachment(tags);
    second->addAttachment(tags);
    block->setPlaying(true);
    block->setPostCycles(3);
    first->setPlaying(true);
    first->setPausing(true);
    first->setTravMask(7);
  }
  void TearDown() override {
    above.subRef();
    SceneTest::TearDown();
  }

  static AnimNodePtr child(AnimNodePtr const& node, UInt32 index) {
    return dcast<AnimNodePtr>(node->getChild(index));
  }
  /// The copy has the tree's form and values, does not play, and has the placement of a root.
  void expectCopy(AnimNodePtr const& copy) const {
    ASSERT_TRUE(copy.isAlive());
    EXPECT_EQ(copy->getRefCount(), 0);
    EXPECT_EQ(copy->getParent(), nullptr);
    EXPECT_EQ(copy->getAccumulatedParentScale(), 1);
    EXPECT_EQ(copy->getOffset(), Vec2f(3, 0));
    EXPECT_EQ(copy->getPostCycles(), 3);
    EXPECT_FALSE(copy->getPlaying());
    ASSERT_EQ(copy->getNChildren(), 3U);
    EXPECT_FALSE(child(copy, 0)->getPlaying());
    EXPECT_FALSE(child(copy, 0)->getPausing());
    EXPECT_EQ(child(copy, 0)->getTravMask(), 7U);
    EXPECT_EQ(child(copy, 1)->getTotalScale(), 6);
    EXPECT_EQ(child(copy, 1)->getTotalOffset(), 5);
    for (UInt32 i = 0; i < 3; ++i) {
      EXPECT_EQ(child(copy, i)->getRefCount(), 1);
      EXPECT_NE(child(copy, i), block->getChild(i));
    }
    EXPECT_TRUE(block->getPlaying());
    EXPECT_TRUE(first->getPausing());
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
  EXPECT_EQ(child(copy, 1)->getCore(), curve);
  EXPECT_EQ(curve->getParents().size(), 4U);
  EXPECT_EQ(attached<TagAttachment>(copy), attached<TagAttachment>(block));
  ASSERT_STREQ(NodeUtils::getName(*copy), "block");
  NodeUtils::setName(*copy, "copy", false);
  EXPECT_STREQ(NodeUtils::getName(block), "block");

  Held const bare(dcast<AnimNodePtr>(cloneAnimTree(block, false)));
  EXPECT_TRUE(bare->getAttachments().empty());
  EXPECT_TRUE(child(bare, 1)->getAttachments().empty());

  curve->addPoints({{9, 0}});
  EXPECT_EQ(animRangeOf(child(copy, 0)), (TimeRange{3, 21})) << "a shared core tells all its nodes";
  EXPECT_EQ(animRangeOf(child(bare, 1)), (TimeRange{5, 59}));
  block->setScale(5);
  EXPECT_EQ(copy->getScale(), 2);
}

TEST_F(AnimTreeCloningTest, ADeepCloneHasEverythingOfItsOwn) {
  Held const copy(deepCloneAnimTree(block, ""));
  NodeCorePtr const curveCopy = child(copy, 0)->getCore();
  EXPECT_NE(copy->getCore(), block->getCore());
  EXPECT_NE(curveCopy, curve);
  EXPECT_EQ(child(copy, 1)->getCore(), curveCopy)
      << "what was shared within the tree is shared within the copy";
  EXPECT_EQ(curve->getRefCount(), 2);
  EXPECT_EQ(curveCopy->getRefCount(), 2);
  EXPECT_TRUE(dcast<AnimCurvePtr>(curveCopy)->getControlPoints().isEqual(curve->getControlPoints()));
  TimeShapeCachePtr const cacheCopy = dcast<TimeShapeCachePtr>(child(copy, 2)->getCore());
  ASSERT_EQ(cacheCopy->getShapes().size(), 1U);
  EXPECT_NE(cacheCopy->getShapes()[0], cache->getShapes()[0]);
  EXPECT_NE(attached<TagAttachment>(copy), attached<TagAttachment>(block));
  EXPECT_EQ(attached<TagAttachment>(copy), attached<TagAttachment>(child(copy, 1)));
  EXPECT_EQ(attached<TagAttachment>(copy)->getTags().getValues(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(AnimTreeCloningTest, TypesAreSharedByNameWithTheirDescendants) {
  struct Case {
    char const* types;
    bool curve, cache, tags;
  };
  for (Case const& c : {Case{"AnimCurve,TagAttachment", true, false, true},
                        {" TimeShapeCache , Unknown,, TagAttachment ", false, true, true},
                        {"AnimObject", true, true, false},
                        {"animCurve,Anim,AnimCurveX", false, false, false}}) {
    Held const copy(deepCloneAnimTree(block, c.types));
    EXPECT_EQ(child(copy, 0)->getCore() == curve, c.curve) << c.types;
    EXPECT_EQ(child(copy, 2)->getCore() == cache, c.cache) << c.types;
    EXPECT_EQ(attached<TagAttachment>(copy) == attached<TagAttachment>(block), c.tags) << c.types;
    EXPECT_EQ(curve->getRefCount(), c.curve ? 4 : 2) << c.types;
    EXPECT_EQ(curve->getParents().size(), c.curve ? 4U : 2U) << c.types;
  }
  EXPECT_EQ(deepCloneAnimTree(block, "Node"), block) << "the root itself is shared";
  EXPECT_TRUE(block->getPlaying()) << "a tree that is not copied goes on playing";
  EXPECT_EQ(block->getParent(), above);
}

TEST_F(AnimTreeCloningTest, CopiesPlayNothingAndOutliveTheirOriginals) {
  EXPECT_EQ(cloneAnimTree(nullptr, true), nullptr);
  EXPECT_EQ(deepCloneAnimTree(nullptr, ""), nullptr);
  AnimNodePtr const copies[] = {dcast<AnimNodePtr>(cloneAnimTree(block, true)),
                                dcast<AnimNodePtr>(cloneAnimTree(block, false)), deepCloneAnimTree(block, ""),
                                deepCloneAnimTree(block, "AnimObject,Attachment")};
  for (AnimNodePtr const& copy : copies) {
    expectCopy(copy);
    copy.addRef();
  }
  above->clearChildren();
  EXPECT_EQ(cloneAnimTree(block, true), nullptr) << "dead";
  EXPECT_EQ(deepCloneAnimTree(block, ""), nullptr);
  for (AnimNodePtr const& copy : copies) {
    EXPECT_EQ(animRangeOf(child(copy, 0)), (TimeRange{3, 5}));
    EXPECT_EQ(dcast<AnimCurvePtr>(child(copy, 1)->getCore())->getControlPoints().size(), 2U);
    copy.subRef();
  }
  EXPECT_FALSE(curve.isAlive());
}

}  // namespace
