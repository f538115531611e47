#include "editing/EditingStage.h"

namespace kntest::SharingTest {

class SharingTest : public EditingStage {};

TEST_F(SharingTest, CompatibilityAndMoves) {
  NodePtr const shape = addNode(Geometry::create());
  NodePtr const mover = addNode(Transform3D::create());
  NodePtr const bundle = addNode(Group::create());
  NodePtr const coreless = addNode({});
  EXPECT_EQ(manager.isCompatible(shape, mover), 2);
  EXPECT_EQ(manager.isCompatible(mover, shape), 3);
  EXPECT_EQ(manager.isCompatible(bundle, root()), 1);
  EXPECT_EQ(manager.isCompatible(shape, shape), 1) << "equal groups before all else";
  EXPECT_EQ(manager.isCompatible(shape, bundle) + manager.isCompatible(mover, coreless) +
                manager.isCompatible(NodePtr(), mover),
            0);

  AnimNodePtr const block = animate(shape, newBlock("block"));
  EXPECT_FALSE(manager.moveBlockToNode(block, shape, mover, true)) << "no attachment";
  mover->addAttachment(AnimAttachment::create());
  bundle->addAttachment(AnimAttachment::create());
  EXPECT_FALSE(manager.moveBlockToNode(block, shape, bundle, true)) << "though the scene knows the block";
  EXPECT_EQ(messages, 0);
  knAnimManager::_animRoots.clear();
  EXPECT_TRUE(manager.moveBlockToNode(block, shape, mover, true));
  EXPECT_EQ(childrenOf(animationsOf(shape)) + childrenOf(animationsOf(mover)), "block ");
  EXPECT_TRUE(manager.moveBlockToNode(block, mover, mover, false)) << "without a message";
  EXPECT_EQ(messages, 1);

  manager.setAllBlocksInactive(mover);
  EXPECT_EQ(block->getTravMask(), 0U);
  EXPECT_TRUE(announced(block).test(Node::TravMaskFieldId));
  EXPECT_TRUE(block->getChild(0)->isActive());
}

TEST_F(SharingTest, ClipsAreUnsharedAlone) {
  AnimNodePtr const outer = addClip("outer");
  AnimNodePtr const inner = named(newGroup<AnimClip>({newBlock("block")}), "inner");
  outer->addChild(newGroup<Group>({inner}));
  AnimNodePtr const twin = dcast<AnimNodePtr>(cloneAnimTree(outer, true));
  Held const held(twin);
  outer->addChild(Node::create());
  manager.unshareClipsR(outer);
  EXPECT_EQ(nameOf(outer) + nameOf(inner) + nameOf(inner->getChild(0)), "outer'inner'block");
  EXPECT_NE(outer->getCore(), twin->getCore());
  EXPECT_NE(inner->getCore(), twin->getChild(0)->getChild(0)->getCore());
  EXPECT_EQ(inner->getChild(0)->getCore(), twin->getChild(0)->getChild(0)->getChild(0)->getCore());
}

TEST_F(SharingTest, Duplicating) {
  NodePtr const upper = named(addNode(Transform3D::create()), "upper");
  NodePtr empty = named(addNode(Transform3D::create(), upper), "empty");
  NodePtr const lower = addNode(Transform3D::create(), upper);
  AnimNodePtr const block = animate(upper, newBlock("block"));
  empty->addAttachment(AnimAttachment::create());
  animate(lower, dcast<AnimNodePtr>(cloneAnimTree(block, true)));
  Held const former(block);
  printed([&] { manager.createDuplicatesFromSharedR(empty); });
  EXPECT_TRUE(knAnimManager::getAnimAttachment(empty)) << "with nothing in the buffer";
  NodePtr start = upper;
  EXPECT_EQ(printed([&] { manager.createDuplicatesFromSharedR(start); }),
            "WARNING: empty has no animations. Copy failed!\n");
  EXPECT_EQ(messages, 3);
  EXPECT_EQ(childrenOf(animationsOf(empty)), "block' ") << "what the buffer held before";
  std::set<NodeCorePtr> cores{block->getCore()};
  for (NodePtr const& node : {upper, empty, lower}) cores.insert(animationsOf(node)->getChild(0)->getCore());
  EXPECT_EQ(cores.size(), 4U);

  MaterialPtr red = addMaterial<PhongMaterial>("red");
  manager.createDuplicatesFromShared(red);
  EXPECT_FALSE(knAnimManager::getAnimAttachment(red));
  AnimNodePtr const glow = animate(red, newBlock("glow"));
  manager.createDuplicatesFromShared(red);
  EXPECT_EQ(childrenOf(animationsOf(red)), "glow' ");
  EXPECT_FALSE(glow.isAlive());
}

TEST_F(SharingTest, OwnersOfCores) {
  NodePtr const node = addNode(Transform3D::create());
  AnimNodePtr const block = animate(node, newBlock("block"));
  AnimObjectPtr const curve = dcast<AnimObjectPtr>(block->getChild(0)->getCore());
  EXPECT_EQ(manager.findFirstParent(curve), FieldContainerPtr(node));
  AnimNodePtr const inner = newBlock("inner");
  animate(block, inner);
  EXPECT_EQ(manager.findFirstParentR(root(), dcast<AnimObjectPtr>(inner->getCore())), node)
      << "the outermost";
  AnimAttachmentPtr const selfHolding = knAnimManager::getAnimAttachment(block);
  inner->addAttachment(selfHolding);
  AnimNodePtr const stage = newAnimNode(AnimBlock::create());
  root()->addChild(stage);
  EXPECT_EQ(manager.findFirstParent(dcast<AnimObjectPtr>(stage->getCore())), FieldContainerPtr(stage));
  MaterialPtr const red = addMaterial<PhongMaterial>("red");
  AnimNodePtr const glow = animate(red, newBlock("glow"));
  EXPECT_EQ(manager.findFirstParent(dcast<AnimObjectPtr>(glow->getCore())), FieldContainerPtr(red));
  EXPECT_EQ(manager.findFirstParent(dcast<AnimObjectPtr>(AnimObjectPtr())), FieldContainerPtr());
  AnimAttachmentPtr const top = knAnimManager::getAnimAttachment(node);
  EXPECT_EQ(manager.blockNodeRefCount(top->getAnimationRoot()), 0U) << "no parent";
  changes.clear();
  manager.gatherAnimReferenceData();
  EXPECT_TRUE(changes.getEntries().empty());
  inner->subAttachment(selfHolding);
}

TEST_F(SharingTest, DeepTrees) {
  NodePtr node = growChain(root(), 100'000, [] { return Node::create(); });
  for (NodePtr one = node; one != root(); one = one->getParent()) one->setCore(Group::create());
  node->setCore(Transform3D::create());
  NodePtr const other = addNode(Transform3D::create());
  other->addAttachment(AnimAttachment::create());
  AnimNodePtr tree =
      animate(node, newChain(100'000, newFieldCurve("translation", 0, {{0, 0}, {1, 1}, {2, 2}})));
  evaluate(0.5F);
  EXPECT_EQ(placeOf(node).x(), 0.5F);
  manager.evaluateByTime(tree, 0.25F, true, true, false);
  EXPECT_EQ(placeOf(node).x(), 0.25F);
  EXPECT_EQ(manager.getInfo(tree).curves, 1U);
  EXPECT_TRUE(!manager.find("none") && knAnimManager::pyGetBlocks(true).empty());
  manager.setTreeActive(tree, true);
  manager.renameCurves(node, {{"translation", "scale.Y"}});
  manager.updateSceneChannelNames(root());
  std::vector<AnimNodePtr> curves;
  manager.getAnimCurveNodes(knAnimManager::getAnimAttachment(node)->getAnimationRoot(), curves, false, false,
                            true);
  ASSERT_EQ(curves.size(), 1U);
  EXPECT_EQ(manager.getAnimationRoot(curves[0]), tree->getParent());
  EXPECT_EQ(curveOf(curves[0])->getName(), "scale");
  manager.douglasPeuckerPointReduction({curveOf(curves[0])});
  EXPECT_EQ(curveOf(curves[0])->getControlPoints().size(), 2U);
  curves[0]->setCore(AnimClip::create());
  manager.copy(tree, {});
  EXPECT_EQ(manager.clonePasteTo(node, false, false).size() + manager.pasteTo(node, false, false).size(), 0U)
      << "a group is nothing to be pasted on a node";
  AnimNodePtr const clip = addClip("clip");
  EXPECT_EQ(manager.clonePasteTo(clip, false, false).size() + manager.pasteTo(clip, false, false).size(), 2U);
  manager.unshareClipsR(tree);
  manager.unshareFrom(tree, node);
  EXPECT_EQ(manager.blockNodeRefCount(tree), 0U) << "the top is no block";
  EXPECT_TRUE(manager.moveBlockToNode(tree, node, other, false));
  manager.createDuplicatesFromSharedR(node);
  manager.cut(tree);
  EXPECT_FALSE(tree.isAlive());
}

}  // namespace kntest::SharingTest
