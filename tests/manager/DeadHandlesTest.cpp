#include "support/SceneStage.h"

namespace kntest {
namespace DeadHandlesTest {

using namespace osg;

/// Whatever the manager is handed, what is gone answers as null does, and the scene stays as it is.
TEST_F(SceneStage, DeadHandlesAreAnsweredAsNull) {
  knAnimManager& manager = *knAnimManager::the();
  NodePtr const living = addNode(Transform3D::create());
  AnimNodePtr const tree = animate(living, newCurveNode("translation", 0, {{0, 0}, {1, 1}}));
  NodePtr const node = addNode(Transform3D::create());
  AnimNodePtr const anim = animate(node, newCurveNode("translation", 0, {{0, 0}, {1, 1}}));
  AnimCurvePtr const curve = curveOf(anim);
  AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
  knOSGChannelData channel;
  channel.containerId = node->getCore().getContainerId();
  channel.fieldName = channel.channelName = "translation";
  root()->subChild(node);
  ASSERT_FALSE(anim.isAlive() || attachment.isAlive() || curve.isAlive());
  changes.clear();

  manager.addAnimation(node, tree);
  manager.addAnimation(living, anim);
  manager.subAnimation(node, tree);
  manager.subAnimation(living, anim);
  EXPECT_EQ(manager.findChannelCurve("translation", "", attachment), nullptr);
  EXPECT_EQ(manager.findChannelCurveNode(channel, attachment), nullptr);
  std::vector<AnimNodePtr> nodes;
  manager.getChannelCurveNodes(attachment, nodes);
  manager.getChannelCurveNodes(node, nodes);
  EXPECT_TRUE(nodes.empty());
  EXPECT_EQ(manager.createBlock(attachment, "b"), nullptr);
  manager.createBlock(node, "b");
  manager.importBlock(node, {curve}, "b");
  manager.importBlock(living, {curve}, "b");
  EXPECT_FALSE(manager.rename(node, "n"));
  manager.setTreeActive(node, false);
  EXPECT_FALSE(manager.isAnimationRoot(anim));
  EXPECT_EQ(manager.getAnimationRoot(anim), nullptr);

  float start = 1;
  float end = 1;
  manager.getBounds(anim, start, end);
  EXPECT_EQ(start + end, 0.F);
  EXPECT_EQ(manager.getInfo(anim).curves, 0U);
  EXPECT_EQ(manager.findClipR(node, "n"), nullptr);
  EXPECT_EQ(manager.findBlock(node, "n"), nullptr);
  EXPECT_EQ(manager.findBlockR(node, "n"), nullptr);
  EXPECT_FALSE(manager.hasAnimations(node) || manager.hasVertexAnimation(node));
  std::vector<knAnimNodeData> found;
  manager.getNodesWithAnimation(node, found);
  EXPECT_TRUE(found.empty());

  manager.pushStructureAttachment(node);
  manager.removeStructureAttachment(node);
  manager.pullStructureAttachment(node);
  manager.mergeStructureAttachment(attachment);
  manager.addToSceneStructure(anim);
  manager.addToClipStructure(anim);
  manager.printStructureR(anim, "");
  EXPECT_EQ(manager.clipStructureRoot()->getNChildren() + manager.sceneStructureRoot()->getNChildren(), 0U);

  EXPECT_EQ(manager.getOSGFieldValue(FieldContainerPtr(node), "visible", 0), 0.F);
  EXPECT_EQ(manager.getOSGFieldValue(channel), 0.F);
  EXPECT_EQ(manager.getOSGFieldValue(curve, FieldContainerPtr()), 0.F);
  EXPECT_TRUE(changes.getEntries().empty());
  Held const loose(manager.createChannelCurveNode(channel, attachment));
  EXPECT_TRUE(loose->getParent() == nullptr) << "made, and hung on nothing";
}

}  // namespace DeadHandlesTest
}  // namespace kntest
