#include "manager/UniqueNames.h"
#include "support/SceneStage.h"

namespace kntest::SceneHostTest {

using Names = std::vector<std::string>;

class SceneHostTest : public SceneStage {
 protected:
  SceneHostTest() { knAnimManager::fillEmptyCallbacks(); }
  ~SceneHostTest() override { manager.clearClipStructure(); }
  static AnimNodePtr newBlock(char const* name) {
    return named(newGroup<AnimBlock>({newCurveNode("shininess", 0, {{0, 0}, {10, 100}})}), name);
  }
};

TEST_F(SceneHostTest, AHostThatSetsNothingHasAWorkingLibrary) {
  PhongMaterial::Ptr const material = PhongMaterial::create();
  knSceneData::getMaterialPool()->add(material);
  AnimNodePtr const block = animate(material, newBlock("paint"));
  evaluate(5);
  EXPECT_EQ(material->getShininess(), 50.F);
  EXPECT_EQ(manager.find("paint"), block);
  NodePtr const node = addNode(Group::create());
  Names made;
  for (int i = 0; i < 3; ++i) {
    manager.importBlock(node, {newFieldCurve("f", 0, {{0, 0}})}, "paint");
    made.push_back(
        nameOf(knAnimManager::getAnimAttachment(node)->getAnimationRoot()->getChildren().getValues().back()));
  }
  EXPECT_EQ(made, (Names{"paint_2", "paint_3", "paint_4"}));
  knAnimManager::enableSimulation(false);
  EXPECT_FALSE(knAnimManager::simulationEnabled());
  manager.evaluateAnimationsByTime(1, false, false);
  EXPECT_EQ(material->getShininess(), 50.F);
  knAnimManager::enableSimulation(true);
  EXPECT_TRUE(knAnimManager::simulationEnabled());

  // What the host has set stays; what it has not is as if there were none.
  clearCallbacks();
  knAnimManager::setGetUniqueNameCB([](auto const&, auto const&) { return "mine"; });
  knAnimManager::setSimulationEnabledCB([] { return true; });
  manager.importBlock(node, {newFieldCurve("f", 0, {{0, 0}})}, "paint");
  EXPECT_NE(manager.find("mine"), nullptr);
  EXPECT_EQ(manager.find("paint"), nullptr) << "materials are not told";
  evaluate(7);
  EXPECT_EQ(material->getShininess(), 50.F);
  knSceneDataManager::beginScene();
  EXPECT_EQ(UniqueNames().make("x"), "mine");
  EXPECT_TRUE(knAnimManager::_destroyNodeCB && knAnimManager::_getAllMaterialsCB &&
              knAnimEvaluator::_getMaterialPoolCB && knAnimManager::_updateNavCB);
  EXPECT_EQ(knAnimManager::_enableSimCB, nullptr) << "the other half of the switch is the host's too";
}

/// Against a look at all nodes: names come, are given anew, written without a word, and go with their nodes.
TEST_F(SceneHostTest, NumbersAreTheFirstFreeOnesWhateverBecomesOfNames) {
  std::mt19937 random(7);
  std::vector<AnimNodePtr> nodes;
  for (int step = 0; step < 3000; ++step) {
    std::string const base = std::array{"door", "gate", "door_2"}[random() % 3];
    std::set<std::string> taken;
    for (AnimNodePtr const& node : nodes) taken.insert(nameOf(node));
    std::string expected = base;
    for (int i = 2; taken.contains(expected); ++i) expected = base + '_' + std::to_string(i);
    ASSERT_EQ(UniqueNames().make(base), expected) << step;
    std::size_t const place = nodes.empty() ? 0 : random() % nodes.size();
    NamePtr const name =
        nodes.empty() ? NamePtr() : dcast<NamePtr>(nodes[place]->findAttachment(Name::_type.getGroupId()));
    switch (nodes.empty() ? 0 : random() % 6) {
      default:
        nodes.push_back(AnimNode::create());
        nodes.back().addRef();
        NodeUtils::setName(nodes.back(), expected, random() % 2 == 0);
        break;
      case 3:
        name->getName() = base + "_" + std::to_string(random() % 9);
        break;
      case 4:
        NodeUtils::setName(nodes[place], base + "_" + std::to_string(random() % 9), true);
        break;
      case 5:
        if (random() % 2 == 0) nodes[place]->subAttachment(name);
        nodes[place].subRef();
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(place));
    }
  }
  for (AnimNodePtr const& node : nodes) node.subRef();
}

/// Names that are made together look at the scene once; a host that takes names out of the list finds them there again.
TEST_F(SceneHostTest, HostsSeeTheNamesMadeTogether) {
  std::vector<std::size_t> counts;
  knAnimManager::setGetUniqueNameCB([&](std::string const& name, Names& names) {
    counts.push_back(static_cast<std::size_t>(std::count(names.begin(), names.end(), "new")));
    if (counts.size() == 2) names.clear();
    return name;
  });
  UniqueNames asked;
  for (int i = 0; i < 4; ++i) asked.make("new");
  EXPECT_EQ(counts, (std::vector<std::size_t>{0, 1, 2, 3}));
  knAnimManager::setGetUniqueNameCB({});
  EXPECT_EQ(UniqueNames().make("door"), "door");
}

}  // namespace kntest::SceneHostTest
