// Which curves take part, with which time, and what they write to.
#include "support/SceneStage.h"

namespace kntest::GatheringTest {

class GatheringTest : public SceneStage {
 protected:
  /// A curve with a name to be found by, not empty.
  static AnimCurvePtr curve(std::string const& name) { return newFieldCurve(name, 0, {{0, 0}, {1, 10}}); }
  static AnimNodePtr named(std::string const& name) { return newAnimNode(curve(name)); }
  static std::string namesOf(std::vector<knCurveData> const& records) {
    std::vector<std::string> names;
    for (knCurveData const& record : records) names.push_back(record.curve->getName());
    std::sort(names.begin(), names.end());
    std::string text;
    for (std::string const& name : names) text += name;
    return text;
  }
};

TEST_F(GatheringTest, ACurveHasARecordForEachTimeThatItStandsInATree) {
  AnimNodePtr const node = named("translation");
  knContainerSet aims;
  for (int i = 0; i < 3; ++i) {
    NodePtr const owner = addNode(Transform3D::create());
    animate(owner, i == 0 ? node : newAnimNode(node->getCore()));
    aims.insert(owner->getCore());
  }
  ASSERT_EQ(Access::gatherScene().size(), 1U);
  // Twice in a clip: two records, each with its own time, and the same aims.
  AnimNodePtr const again = newAnimNode(node->getCore());
  AnimNodePtr const block = newGroup<AnimBlock>({newAnimNode(node->getCore())});
  Held const clip(newGroup<AnimClip>({block, again}));
  block->setPostCycles(-1);
  Access::updateParents();
  auto const twice = Access::gatherTree(clip, 1.75F);
  ASSERT_EQ(twice.size(), 2U);
  EXPECT_EQ(twice[0].time, 0.75F);
  EXPECT_EQ(twice[1].time, 1.75F);
  EXPECT_EQ(twice[1].node, again);
  EXPECT_TRUE(twice[0].aims == aims && twice[1].aims == aims);
}

TEST_F(GatheringTest, WhatTheSceneWalkPassesOver) {
  auto const addAnimated = [&](char const* name, NodeCorePtr const& core, NodePtr const& parent = root()) {
    NodePtr const owner = addNode(core, parent);
    animate(owner, named(name));
    return owner;
  };
  NodePtr const camera = addAnimated("a", UberCamera::create());
  NodePtr const track = addAnimated("-track", CameraTrack::create(), camera);
  addAnimated("-viewpoint", Transform3D::create(), track);
  NodePtr const component = addAnimated("b", Geometry::create());
  coreOf<Geometry>(component)->setGeometryType(Geometry::Component | 8U);
  coreOf<Geometry>(component)->setTransform(Transform3D::create());
  addAnimated("-below component", Transform3D::create(), component);
  addAnimated("-no aim", {});
  addAnimated("-no transform", Geometry::create());
  NodePtr const owner = addAnimated("c", Transform3D::create());
  owner->setTravMask(0);
  animate(owner, newGroup<AnimBlock>({named("-below hidden")}))->setHidden(true);
  animate(owner, newGroup<AnimBlock>({named("-below inactive")}))->setTravMask(0xFFFFFFFE);
  animate(owner, newGroup<AnimBlock>({named("d")}))->setMotionBlur(false);
  animate(owner, named("e"))->setMotionBlur(false);
  animate(owner, newAnimNode())->addChild(named("f"));
  animate(owner, newAnimNode())->addChild(addNode(curve("-plain node")));
  animate(owner, newAnimNode(newFieldCurve("g", 0, {})));
  animate(addNode(Sceneplate::create(), knSceneDataManager::getSceneplateRoot(0)), named("h"));

  EXPECT_EQ(namesOf(Access::gatherScene()), "abcdefh");
  EXPECT_EQ(namesOf(Access::gatherScene(false, true)), "abcdefgh") << "with empty curves";
  EXPECT_EQ(namesOf(Access::gatherScene(true, false)), "abcdfh") << "for motion blur";
  knAnimEvaluator::the()->blockSceneplateEvaluation(true);
  EXPECT_EQ(namesOf(Access::gatherScene()), "abcdef");
  knAnimNodeCollector::Map map;
  knAnimNodeCollector::gatherAnimNodes(owner, map);
  ASSERT_EQ(map.size(), 1U);
  EXPECT_EQ(map[owner.getContainerId()].size(), 9U) << "root, c, block and d, e, node and f, node, g";
}

TEST_F(GatheringTest, CyclesWrapTime) {
  struct Case {
    int cycles;
    float offset, time, wrapped;
  };
  // The content takes one second.
  Case const cases[] = {{0, 0, 2.5F, 2.5F},   {0, 0, -3, -3},       {2, 0, 0.25F, 0.25F},  {2, 0, 1, 1},
                        {2, 0, 2.5F, 0.5F},   {2, 0, 2, 0},         {2, 0, 3.5F, 3.5F},    {2, 0, 3, 3},
                        {2, 0, -0.5F, -0.5F}, {2, 5, 7.25F, 5.25F}, {-1, 0, 7.25F, 0.25F}, {-1, 0, 1, 1},
                        {-1, 2, 0.5F, 2.5F},  {-3, 0, 1.5F, 1.5F},  {-1, 0, -0.25F, 0.75F}};
  AnimNodePtr const node = named("scale"), block = newGroup<AnimBlock>({node});
  animate(addNode(Transform3D::create()), block);
  Access::updateParents();
  auto const timeAt = [&](float time, bool motionBlurOnly = false) {
    auto const records = Access::gatherTree(block, time, motionBlurOnly);
    return records.size() == 1 ? records[0].time : -77777.F;
  };
  for (Case const& one : cases) {
    block->setPostCycles(one.cycles);
    block->setOffset({one.offset, 0});
    EXPECT_EQ(timeAt(one.time), one.wrapped) << one.cycles << " cycles at " << one.time;
  }
  EXPECT_TRUE(std::isnan(timeAt(std::nanf(""))));
  // Cycles within cycles: the inner node runs from 0 to 2, the outer one from 0 to 4.
  block->setOffset({0, 0});
  node->setPostCycles(1);
  block->setPostCycles(1);
  EXPECT_EQ(timeAt(3.25F), 0.25F);
  EXPECT_EQ(timeAt(4.5F), 4.5F);
  block->setMotionBlur(false);
  EXPECT_EQ(timeAt(3.25F, true), 3.25F) << "a node that takes no part leaves time alone, and leads on";
}

TEST_F(GatheringTest, TheObjectWalk) {
  NodePtr const owner = addNode(Geometry::create());
  coreOf<Geometry>(owner)->setTransform(Transform3D::create());
  AnimNodePtr const hidden = named("a"), inactive = named("-"),
                    sequence = newAnimNode(AnimSequence::create());
  hidden->setHidden(true);
  inactive->setTravMask(1);
  AnimNodePtr const block = animate(owner, newGroup<AnimBlock>({hidden, inactive, sequence}));
  block->addChild(newAnimNode(newFieldCurve("-empty", 0, {})));
  animate(addNode(Geometry::create()), newAnimNode(hidden->getCore()));  // nothing takes it there
  Access::updateParents();
  block->addChild(named("-no owner"));
  Access::Sequences sequences;
  auto const records = Access::gatherTree(block, 0.5F, false, &sequences);
  ASSERT_EQ(namesOf(records), "a") << "what is hidden is evaluated with its tree";
  EXPECT_EQ(records[0].parents, knContainerSet{owner->getCore()});
  EXPECT_EQ(sequences, Access::Sequences{sequence});
}

TEST_F(GatheringTest, CollectionWalks) {
  AnimCurvePtr const off = curve("b");
  off->setActive(false);
  AnimNodePtr const inactive = newGroup<AnimBlock>({named("d"), newAnimNode(AnimSequence::create())});
  inactive->setTravMask(0);
  AnimNodePtr const sharp = newGroup<AnimBlock>({named("e")}), above = newAnimNode();
  sharp->setMotionBlur(false);
  above->addChild(addNode(curve("h")));
  VertexAnimCurvesPtr const vertices = VertexAnimCurves::create();
  vertices->addPositionCurve(curve("f"));
  vertices->addNormalCurve(newFieldCurve("g", 0, {}));
  Held const tree(newGroup<AnimBlock>({named("a"), newAnimNode(off), newAnimNode(newFieldCurve("c", 0, {})),
                                       inactive, sharp, newAnimNode(vertices), above}));
  struct Case {
    bool empty, inactive, vertex, motionBlur;
    std::string names;
    std::size_t sequences;
  };
  Case const cases[] = {{false, false, false, false, "abcdefgh", 1}, {true, false, false, false, "abdefh", 1},
                        {false, true, false, false, "acefgh", 0},    {false, false, true, false, "abcdeh", 1},
                        {false, false, false, true, "abcdfgh", 1},   {true, true, true, true, "ah", 0}};
  for (Case const& one : cases) {
    std::vector<knCurveData> data(1, knCurveData({}, off));
    std::vector<AnimNodePtr> sequences, nodes(3);
    std::vector<AnimCurvePtr> curves(3);
    manager.getAnimCurveData(tree, data, sequences, one.empty, one.inactive, one.vertex, one.motionBlur);
    manager.getAnimCurves(tree, curves, one.empty, one.inactive, one.vertex);
    manager.getAnimCurveNodes(tree, nodes, one.empty, one.inactive, one.vertex);
    EXPECT_EQ(namesOf({data.begin() + 1, data.end()}), one.names) << "appended";
    EXPECT_EQ(sequences.size(), one.sequences) << one.names;
    EXPECT_EQ(curves.size(), one.names.size()) << "replaced";
    EXPECT_EQ(nodes.size(), one.names.size());
    EXPECT_EQ(nodes.back(), nullptr) << "the curve under a plain node";
  }
  knAnimManager::_motionBlurCurves = false;
}

TEST_F(GatheringTest, MaterialsByCallbacks) {
  Held const material(Material::create());
  animate(*material, named("m"));
  MaterialPtr const dead = Material::create();
  dead.subRef();
  EXPECT_EQ(namesOf(Access::gatherScene()), "");
  knAnimEvaluator::setGetSceneMaterialsCB([&](auto& all) { all = {{}, *material, dead, *material}; });
  auto const records = Access::gatherScene();
  ASSERT_EQ(namesOf(records), "m");
  EXPECT_EQ(records[0].aims, knContainerSet{*material});
  MaterialPoolPtr pool = knSceneData::getMaterialPool();
  knAnimEvaluator::setGetMaterialPoolCB([&] { return pool; });
  EXPECT_EQ(namesOf(Access::gatherScene()), "") << "an empty pool is an answer";
  pool = {};
  EXPECT_EQ(namesOf(Access::gatherScene()), "m");

  // The roots of a scene: what a material shares with a node counts once.
  animate(addNode(Group::create()), named("n"));
  addNode(Group::create())->addAttachment(knAnimManager::getAnimAttachment(*material));
  knAnimManager::setGetAllMaterialsCB([&](NodePtr const&, auto& all) {
    all = {*material, {}, dead, *material};
  });
  manager.updateSceneAnimCurveData();
  EXPECT_EQ(knAnimManager::_animRoots.size(), 2U);
  root()->subChild(root()->getChild(1));
  manager.updateSceneAnimCurveData();
  EXPECT_EQ(knAnimManager::_animRoots.size(), 2U);
}

}  // namespace kntest::GatheringTest
