#include "knAnimHelper.h"
#include "support/SceneStage.h"

namespace kntest::CurveRenamingTest {

class CurveRenamingTest : public SceneStage {
 protected:
  static AnimNodePtr newNamed(std::string const& name, std::string const& suffix,
                              std::string const& channel) {
    AnimNodePtr const node = newCurveNode(name, 7, {{0, 3}}, channel);
    curveOf(node)->setChannelName(channel);
    curveOf(node)->setSuffix(suffix);
    NodeUtils::setName(node, "old", true);
    return node;
  }
};

TEST_F(CurveRenamingTest, ATableRenamesACurveAndItsComponent) {
  struct {
    char const *to, *oldSuffix, *name, *suffix, *node;
    UInt32 index;
  } const rows[] = {{"translation.X", "", "translation", "X", "translation.X", 0},
                    {"color.G", "X", "color", "G", "color.G", 1},
                    {"a.W", "", "a", "W", "a.W", 3},
                    {".W", "Z", ".W", "Z", ".W.Z", 7},
                    {"a..", "", "a", ".", "a..", 0},
                    {"", "", "", "", "", 7}};
  BitVector const names = AnimObjectBase::NameFieldMask | AnimCurveBase::ChannelNameFieldMask;
  BitVector const component =
      AnimCurveBase::ColorFieldMask | AnimCurveBase::SuffixFieldMask | AnimCurveBase::ValueIndexFieldMask;
  for (auto const& row : rows) {
    AnimNodePtr const node = newNamed("from", row.oldSuffix, "fromX");
    Held const held(node);
    AnimCurvePtr const curve = curveOf(node);
    Color3f const color = curve->getColor();
    changes.clear();
    EXPECT_TRUE(manager.renameCurve(node, {{"from", row.to}, {"fromX", "wrong"}}));
    EXPECT_EQ(curve->getName(), row.name) << row.to;
    EXPECT_EQ(curve->getChannelName(), row.name) << row.to;
    EXPECT_EQ(curve->getSuffix(), row.suffix) << row.to;
    EXPECT_EQ(curve->getValueIndex(), row.index) << row.to;
    EXPECT_STREQ(NodeUtils::getName(node), row.node);
    bool const moved = row.index != 7;
    EXPECT_EQ(curve->getColor(), moved ? manager.getDefaultColor(row.suffix) : color) << row.to;
    EXPECT_EQ(announced(curve), moved ? names | component : names) << row.to;
  }
  AnimNodePtr const block = newGroup<AnimBlock>({});
  Held const held(block);
  AnimNodePtr const other = newNamed("other", "", "");
  Held const heldOther(other);
  for (AnimNodePtr const& none : {AnimNodePtr(), block, other})
    EXPECT_FALSE(manager.renameCurve(none, {{"from", "to"}, {"", "to"}}));
  EXPECT_EQ(curveOf(other)->getChannelName(), "");
}

TEST_F(CurveRenamingTest, MissingChannelNamesComeFromNodes) {
  NodePtr const node = addNode(Group::create());
  auto const add = [&](AttachmentContainerPtr const& owner, char const* nodeName, char const* suffix) {
    AnimNodePtr const one = newNamed("f", suffix, "");
    NodeUtils::setName(one, nodeName, true);
    return curveOf(animate(owner, one));
  };
  AnimCurvePtr const green = add(node, "color.G", "G");
  AnimCurvePtr const plain = add(node, "size", "");
  AnimCurvePtr const tooShort = add(node, "G", "GG");
  AnimCurvePtr const has = add(node, "n", "");
  has->setChannelName("kept");
  MaterialPtr const material = Material::create();
  Held const heldMaterial(material);
  AnimCurvePtr const ofMaterial = add(material, "glow.X", "X");
  knAnimManager::setGetAllMaterialsCB([&](NodePtr const& root, std::vector<MaterialPtr>& out) {
    EXPECT_EQ(root, knSceneDataManager::getSceneData(0)->getMaterialRoot());
    out = {MaterialPtr(), material};
  });
  // An animation that holds itself, and a shared one: neither is walked twice.
  AnimNodePtr const loop = animate(node, newGroup<Group>({}));
  loop->addAttachment(knAnimManager::getAnimAttachment(node));
  changes.clear();
  manager.updateSceneChannelNames({});
  EXPECT_EQ(green->getChannelName(), "color");
  EXPECT_EQ(plain->getChannelName(), "size");
  EXPECT_EQ(tooShort->getChannelName(), "");
  EXPECT_EQ(has->getChannelName(), "kept");
  EXPECT_EQ(ofMaterial->getChannelName(), "glow");
  EXPECT_EQ(announced(green), AnimCurveBase::ChannelNameFieldMask);
  EXPECT_EQ(announced(has), BitVector());
  loop->subAttachment(knAnimManager::getAnimAttachment(node));
}

TEST_F(CurveRenamingTest, ChannelsAreFoundThroughBlocksAndClips) {
  NodePtr const node = addNode(Group::create());
  auto const curve = [](char const* channel) { return newCurveNode("f", 0, {}, channel); };
  AnimNodePtr const inBlock = curve("c");
  AnimNodePtr const inClip = curve("c");
  AnimNodePtr const inInner = curve("c");
  AnimNodePtr const top = curve("c");
  animate(node, newGroup<AnimBlock>({inBlock}));
  animate(node, newGroup<AnimClip>({newGroup<AnimBlock>({inInner}), inClip}));
  animate(node, newGroup<Group>({curve("c")}));
  animate(node, top);
  animate(node, curve("d"));
  std::vector<AnimCurvePtr> found{AnimCurvePtr()};
  knAnimHelper::getAllCurvesByName(node, "c", found);
  EXPECT_EQ(found, (std::vector<AnimCurvePtr>{
                       {}, curveOf(top), curveOf(inClip), curveOf(inInner), curveOf(inBlock)}));
  knAnimHelper::getAllCurvesByName({}, "c", found);
  EXPECT_EQ(found.size(), 5U);
}

TEST_F(CurveRenamingTest, ScalingTakesTangentsAlong) {
  AnimCurvePtr curve = newCurve({{1, 3}, {2, 4}});
  Held const held(curve);
  curve->getControlPoints()[0].setOuttangent({1, 1});
  knAnimHelper::scaleAndOffsetCurveValues(curve, 2, 1);
  CCPnt const& key = curve->getControlPoints()[0];
  EXPECT_EQ(key.point(), Pnt2f(1, 7));
  EXPECT_EQ(key.outtangent(), Vec2f(1, 2));
  EXPECT_FALSE(key.outFollows());
  EXPECT_TRUE(curve->getControlPoints()[1].inFollows());
  EXPECT_EQ(curve->getControlPoints()[1].intangent(), Vec2f(-0.4F, -0.8F));
}

}  // namespace kntest::CurveRenamingTest
