#include "support/SceneStage.h"

namespace kntest::CreationTest {

using Nodes = std::vector<AnimNodePtr>;

class CreationTest : public SceneStage {
 protected:
  ~CreationTest() override {
    knAnimManager::setGetUniqueNameCB({});
    manager.clearClipStructure();
  }
  /// A node with an attachment and these animations.
  static NodePtr owner(Nodes const& animations) {
    NodePtr const node = addNode(Group::create());
    node->addAttachment(AnimAttachment::create());
    for (AnimNodePtr const& one : animations) animate(node, one);
    return node;
  }
  static AnimAttachmentPtr attachmentOf(NodePtr const& node) {
    return knAnimManager::getAnimAttachment(node);
  }
  static AnimNodePtr keyed(char const* field, char const* channel = "") {
    return newCurveNode(field, 0, {{0, 0}}, channel);
  }
  static AnimNodePtr unkeyed(char const* field) { return newCurveNode(field, 0, {}); }
};

TEST_F(CreationTest, ChannelsFindTheirCurves) {
  NodePtr const node = addNode(Transform3D::create());
  std::vector<knOSGChannelData> channels;
  manager.getKeyableChannels(node, channels);
  manager.addAnimation(node, keyed("translation"));
  for (auto const& channel : channels) {
    EXPECT_EQ(manager.findChannelCurveNode(channel, attachmentOf(node)), nullptr);
    AnimNodePtr const made = manager.createChannelCurveNode(channel, attachmentOf(node));
    EXPECT_EQ(manager.findChannelCurveNode(channel, attachmentOf(node)), made);
    EXPECT_EQ(manager.findChannelCurve(channel.fieldName, channel.suffix, attachmentOf(node)), curveOf(made));
  }
  EXPECT_EQ(manager.findChannelCurve("translation", "", attachmentOf(node)), curveOf(treesOf(node)[0]));
  EXPECT_EQ(manager.findChannelCurve("rotation", "X", attachmentOf(node)), nullptr) << "by the field";
  EXPECT_NE(manager.findChannelCurveNode(attachmentOf(node), "rotation", "X"), nullptr);
  EXPECT_EQ(manager.findChannelCurveNode(knOSGChannelData(), attachmentOf(node)), nullptr);
  EXPECT_EQ(manager.createChannelCurveNode(knOSGChannelData(), attachmentOf(node)), nullptr);

  NodePtr const painted = addNode(MaterialGroup::create());
  MaterialPtr const material = Material::create();
  coreOf<MaterialGroup>(painted)->setMaterial(material);
  AnimNodePtr const own = animate(painted, keyed("a"));
  animate(painted, newGroup<AnimBlock>({keyed("b")}));
  AnimNodePtr const ofMaterial = animate(material, keyed("c"));
  Nodes found{AnimNodePtr()};
  manager.getChannelCurveNodes(painted, found);
  EXPECT_EQ(found, (Nodes{AnimNodePtr(), own, ofMaterial}));
}

TEST_F(CreationTest, Blocks) {
  NodePtr const node = owner({unkeyed("a"), newGroup<AnimBlock>({}), unkeyed("b")});
  Nodes const before = treesOf(node);
  EXPECT_EQ(manager.createBlock(attachmentOf(node), "door"), nullptr);
  EXPECT_EQ(treesOf(node), before);
  curveOf(before[2])->addPoint({0, 0}, {}, {}, 1, 1, false, true);
  AnimNodePtr const block = manager.createBlock(attachmentOf(node), "door");
  EXPECT_EQ(treesOf(node), (Nodes{before[1], block}));
  EXPECT_EQ(nameOf(block), "door_Block");
  EXPECT_EQ(dcast<AnimBlockPtr>(block->getCore())->getName(), "door_Block");
  EXPECT_EQ(block->getChild(0), before[0]);
  EXPECT_EQ(block->getChild(1), before[2]);
  EXPECT_EQ(manager.findChannelCurveNode(attachmentOf(node), "a", ""), nullptr) << "not top-level any more";

  knAnimManager::setGetUniqueNameCB([](auto const&, auto const&) { return "unique"; });
  NodePtr const older = owner({unkeyed("a")});
  attachmentOf(older)->setInitialized(true);
  manager.createBlock(older, "door");
  AnimNodePtr const olderBlock = treesOf(older).at(0);
  EXPECT_EQ(nameOf(olderBlock), "door");
  EXPECT_EQ(olderBlock->getNChildren(), 1U);
  EXPECT_FALSE(attachmentOf(older)->getInitialized());

  NodePtr const importing = addNode(Group::create());
  AnimCurvePtr const curve = newFieldCurve("f", 0, {{0, 0}}, "channel");
  curve->setSuffix("X");
  manager.importBlock(importing, {AnimCurvePtr(), curve}, "door");
  AnimNodePtr const imported = treesOf(importing).at(0);
  EXPECT_EQ(nameOf(imported), "unique");
  EXPECT_EQ(dcast<AnimBlockPtr>(imported->getCore())->getName(), "door");
  ASSERT_EQ(imported->getNChildren(), 1U);
  EXPECT_EQ(nameOf(imported->getChild(0)), "channelX");
  EXPECT_EQ(imported->getChild(0)->getCore(), curve);
  manager.importBlock(importing, {}, "door");
  manager.importBlock(importing, {AnimCurvePtr()}, "door");
  EXPECT_EQ(treesOf(importing).size(), 1U);
}

TEST_F(CreationTest, Names) {
  EXPECT_EQ(manager.createCopyNameFrom(""), "");
  for (char const* const name : {"Door copy", "Door copy2", "Door copy223", "Door copy223234"}) {
    EXPECT_EQ(manager.createCopyNameFrom("Door"), name);
    NodePtr const block = animate(addNode(Group::create()), newGroup<AnimBlock>({}));
    EXPECT_TRUE(manager.rename(block, name));
    EXPECT_FALSE(manager.rename(block, name)) << "its own name is taken";
    EXPECT_EQ(manager.find(name), block);
  }
  // However many copies there are, the scene is looked through once more; for a free name not at all.
  int walks = 0;
  knAnimManager::setGetAllMaterialsCB([&](auto const&, auto&) { ++walks; });
  EXPECT_EQ(manager.createCopyNameFrom("Door"), "Door copy2232342345");
  EXPECT_EQ(walks, 2);
  EXPECT_EQ(manager.find("free"), nullptr);
  EXPECT_EQ(walks, 2);
}

}  // namespace kntest::CreationTest
