#include "model/geometry/Geometry.h"
#include "model/sceneext/TagAttachment.h"
#include "support/SceneStage.h"

namespace kntest::QueriesTest {

using Names = std::vector<std::string>;

class QueriesTest : public SceneStage {
 protected:
  QueriesTest() {
    material.addRef();
    knAnimManager::setGetAllMaterialsCB([this](NodePtr const& asked, std::vector<MaterialPtr>& out) {
      EXPECT_EQ(asked, knSceneDataManager::getSceneData(0)->getMaterialRoot());
      out = {MaterialPtr(), material};
    });
  }
  ~QueriesTest() override {
    manager.clearClipStructure();
    material.subRef();
  }
  static AnimNodePtr newBlock(char const* name, std::vector<AnimNodePtr> const& children = {}) {
    return named(newGroup<AnimBlock>(children), name);
  }
  static AnimNodePtr newClip(char const* name, std::vector<AnimNodePtr> const& children = {}) {
    return named(newGroup<AnimClip>(children), name);
  }
  static AnimNodePtr newKeys() { return newCurveNode("f", 0, {{0, 0}, {1, 0}}); }
  static AnimNodePtr newEmptyCurve() { return newCurveNode("f", 0, {}); }
  std::vector<AttachmentContainerPtr> withAnimation() {
    std::vector<knAnimNodeData> found;
    manager.getNodesWithAnimation(root(), found);
    manager.getMaterialsWithAnimation(found);
    std::vector<AttachmentContainerPtr> owners;
    for (auto const& one : found)
      owners.push_back(one.node ? AttachmentContainerPtr(one.node) : AttachmentContainerPtr(one.material));
    return owners;
  }

  MaterialPtr const material = Material::create();
};

TEST_F(QueriesTest, Extent) {
  std::pair<double, int> const lastFrames[] = {{100.0, 100}, {100.0005, 100}, {100.001, 101}, {100.5, 101},
                                               {-0.5, -1},   {0.0, 0},        {-3.0, -3}};
  for (auto const& [frame, last] : lastFrames)
    EXPECT_EQ(knAnimManager::getLastRenderFrame(frame), last) << frame;
  manager.setFPS(25);
  Held const tree(newGroup<Group>({newCurveNode("f", 0, {{-0.5F, 0}, {4, 0}})}));
  float start = 1;
  float end = 1;
  int first = 1;
  int last = 1;
  manager.getBounds(*tree, start, end);
  manager.getFrameBounds(*tree, first, last);
  EXPECT_EQ(start, -0.5F);
  EXPECT_EQ(end, 4.F);
  EXPECT_EQ(first, -12) << "cut off";
  EXPECT_EQ(last, 100);
}

TEST_F(QueriesTest, Statistics) {
  VertexAnimCurvesPtr const vertices = VertexAnimCurves::create();
  vertices->addPositionCurve(newCurve({{0, 0}, {1, 0}, {2, 0}}));
  vertices->addNormalCurve(newCurve({{0, 0}}));
  Held const tree(newGroup<Group>({newKeys(), newAnimNode(vertices), newAnimNode()}));
  knAnimInfo const info = manager.getInfo(*tree);
  EXPECT_EQ(info.curves, 3U);
  EXPECT_EQ(info.controlPoints, 6U);
  EXPECT_EQ(info.values, 18U);
}

TEST_F(QueriesTest, ByName) {
  NodePtr const node = addNode(Group::create());
  NodePtr const below = addNode(Group::create(), node);
  AnimNodePtr const block = animate(node, newBlock("same", {newBlock("inner")}));
  AnimNodePtr const second = animate(below, newBlock("deep"));
  named(animate(below, newKeys()), "curve");
  EXPECT_EQ(manager.find("same"), block);
  EXPECT_EQ(manager.find("deep"), second);
  for (char const* const name : {"curve", "inner", "Same", ""})
    EXPECT_EQ(manager.find(name), nullptr) << name;
  AnimNodePtr const ofMaterial = animate(material, newBlock("same"));
  EXPECT_EQ(manager.find("same"), ofMaterial);
  EXPECT_EQ(manager.findMaterialBlock("same"), ofMaterial);
  AnimNodePtr const inClip = newClip("inside");
  AnimNodePtr const clip = newClip("same", {newBlock("deep"), inClip});
  manager.addToClipStructure(newAnimNode());
  manager.clipStructureRoot()->getChild(0)->addChild(newClip("unseen"));
  manager.addToClipStructure(clip);
  EXPECT_EQ(manager.find("same"), clip);
  EXPECT_EQ(manager.find("inside"), inClip);
  EXPECT_EQ(manager.find("deep"), second) << "blocks of clips are not found";
  EXPECT_EQ(manager.find("unseen"), nullptr) << "below a node without core";
  EXPECT_EQ(manager.findBlockR(below, "same"), nullptr);
  NodePtr const plain = addNode(AnimClip::create());
  plain->addChild(newClip("plain"));
  EXPECT_EQ(manager.findClipR(named(plain, "plain"), "plain"), nullptr)
      << "the first match is no animation node";
  knSceneDataManager::endScene();
  EXPECT_EQ(manager.find("deep"), nullptr);
}

TEST_F(QueriesTest, WhoHasAnimations) {
  NodePtr const moved = addNode(Group::create());
  NodePtr const empty = addNode(Group::create(), moved);
  NodePtr const track = addNode(CameraTrack::create());
  NodePtr const shape = addNode(Geometry::create());
  NodePtr const hidden = addNode(Group::create());
  NodePtr const painted = addNode(MaterialGroup::create());
  coreOf<MaterialGroup>(painted)->setMaterial(material);
  EXPECT_FALSE(manager.hasAnimations(moved) || manager.hasAnimations({}));
  animate(moved, newBlock("b", {newEmptyCurve(), newKeys()}));
  animate(empty, newEmptyCurve());
  animate(track, newKeys());
  animate(addNode(Group::create(), track), newKeys());
  animate(shape, newAnimNode(TimeShapeCache::create()));
  animate(hidden, newKeys())->setHidden(true);
  animate(material, newEmptyCurve());
  TagAttachmentPtr const tags = TagAttachment::create();
  tags->getTags().push_back("tagged");
  moved->addAttachment(tags);
  EXPECT_EQ(withAnimation(), (std::vector<AttachmentContainerPtr>{moved, shape}));
  animate(material, newKeys());
  EXPECT_EQ(withAnimation().back(), material);
  EXPECT_TRUE(manager.hasAnimations(moved) && manager.hasAnimations(empty));
  EXPECT_TRUE(manager.hasVertexAnimation(shape));
  EXPECT_FALSE(manager.hasVertexAnimation(moved) || manager.hasVertexAnimation({}));
  std::vector<knAnimNodeData> found(1);
  manager.getNodesWithAnimation(moved, found);
  ASSERT_EQ(found.size(), 2U) << "appended";
  EXPECT_EQ(found[1].tags.getValues(), Names{"tagged"});
  EXPECT_EQ(found[1].animations.size(), 1U);
  animate(empty, newAnimNode(TimeShapeCache::create()));
  EXPECT_FALSE(manager.hasVertexAnimation(empty)) << "no geometry";
}

TEST_F(QueriesTest, Lists) {
  NodePtr const node = addNode(Group::create());
  animate(node, newBlock("outer", {newBlock("inner")}));
  AnimNodePtr const hidden = animate(node, newBlock("hidden", {newBlock("below")}));
  hidden->setHidden(true);
  animate(material, newBlock("material"));
  manager.addToClipStructure(newClip("clip", {newBlock("of clip"), newClip("nested")}));
  manager.addToClipStructure(newClip(""));
  EXPECT_EQ(knAnimManager::pyGetBlocks(false), (Names{"outer", "inner", "below", "material"}));
  EXPECT_EQ(knAnimManager::pyGetBlocks(true), (Names{"outer", "inner", "hidden", "below", "material"}));
  EXPECT_EQ(knAnimManager::getBlockNodes(true)[2], hidden);
  EXPECT_EQ(knAnimManager::pyGetClips(), Names{"clip"});
  EXPECT_EQ(knAnimManager::getClipNodes().size(), 2U);
  std::set<std::string> names{"kept"};
  manager.getBlockAndClipNames(names);
  EXPECT_EQ(names, (std::set<std::string>{"", "below", "clip", "hidden", "inner", "kept", "material",
                                          "nested", "of clip", "outer"}));
  // A tree that carries its own attachment.
  hidden->addAttachment(knAnimManager::getAnimAttachment(node));
  EXPECT_EQ(knAnimManager::pyGetBlocks(true).size(), 5U);
  addNode(Group::create())->addAttachment(knAnimManager::getAnimAttachment(node));
  EXPECT_EQ(knAnimManager::pyGetBlocks(true).size(), 9U) << "where they are shared as well";
  knAnimManager::getAnimAttachment(node)->subAnimation(hidden);
  knSceneDataManager::endScene();
  EXPECT_TRUE(knAnimManager::pyGetBlocks(true).empty());
}

TEST_F(QueriesTest, AmongSceneNodes) {
  NodePtr const node = addNode(Group::create(), addNode(Group::create()));
  node->addChild(newBlock("block"));
  named(addNode(AnimClip::create(), node), "clip");
  EXPECT_EQ(knAnimManager::pyGetBlocks(true), Names{"block"});
  std::set<std::string> names;
  manager.getBlockAndClipNames(names);
  EXPECT_EQ(names, (std::set<std::string>{"block", "clip"}));
  named(addNode(AnimClip::create(), manager.clipStructureRoot()), "same");
  AnimNodePtr const clip = newClip("same");
  manager.addToClipStructure(clip);
  EXPECT_EQ(manager.find("same"), clip) << "a clip of a plain node hides nothing beside it";
}

}  // namespace kntest::QueriesTest
