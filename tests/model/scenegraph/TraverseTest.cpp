#include "model/scenegraph/Traverse.h"

#include "model/scenegraph/NodeQueries.h"
#include "support/TestContainers.h"

namespace kntest::TraverseTest {

/// A tree of named nodes: r with a (a1, a2, a3), b (b1) and c.
class TraverseTest : public SceneTest {
 protected:
  TraverseTest() { plant(); }
  ~TraverseTest() override { _root.subRef(); }

  void plant() {
    _root.subRef();
    _root = made("r");
    _root.addRef();
    for (auto const& [parent, name] :
         {std::pair("r", "a"), {"r", "b"}, {"r", "c"}, {"a", "a1"}, {"a", "a2"}, {"a", "a3"}, {"b", "b1"}}) {
      named(parent)->addChild(made(name));
    }
  }

  NodePtr made(std::string const& name) {
    NodePtr const node = Node::create();
    NodeUtils::setName(node, name, false);
    return _nodes[name] = node;
  }
  NodePtr named(std::string const& name) { return _nodes.at(name); }
  void takeAway(std::string const& name) {
    if (named(name).isAlive() && named(name)->getParent()) named(name)->getParent()->subChild(named(name));
  }

  /// Walks the tree doing `act` at every node; gives the names in order of the visits.
  std::string walk(std::function<int(std::string const&)> const& act) {
    std::string visits;
    _result = traverse(_root, [&](NodePtr const& node) {
      std::string const name = NodeUtils::getName(node);
      visits += visits.empty() ? name : ' ' + name;
      return static_cast<Action::ResultE>(act(name));
    });
    return visits;
  }

  std::map<std::string, NodePtr> _nodes;
  NodePtr _root;
  int _result = -1;
};

TEST_F(TraverseTest, VisitsParentsFirstSkipsAndEnds) {
  EXPECT_EQ(walk([](auto const&) { return 0; }), "r a a1 a2 a3 b b1 c");
  EXPECT_EQ(walk([](auto const& name) { return name == "a" ? 1 : 0; }), "r a b b1 c");
  EXPECT_EQ(_result, Action::Continue);
  EXPECT_EQ(walk([&](auto const& name) { return name == "a2" ? 77 : 0; }), "r a a1 a2");
  EXPECT_EQ(_result, 77);
  EXPECT_EQ(traverse(_root, nullptr), Action::Continue);
  NodeUtils::setName(named("c"), "a2", false);
  EXPECT_EQ(osg::findNode(_root, "a2"), named("a2"));
  EXPECT_FALSE(osg::findNode(_root, "x") || osg::findNode(_root, "") || osg::findNode({}, "a"));
}

TEST_F(TraverseTest, TheVisitorMayTakeNodesAway) {
  struct Case {
    std::string at, visits;
    std::vector<std::string> taken;
  };
  Case const cases[] = {{"a", "r a b b1 c", {"a"}},
                        {"a1", "r a a1 a3 b b1 c", {"a2"}},
                        {"a1", "r a a1 c", {"a2", "a3", "b"}},
                        {"a2", "r a a1 a2 a3 b b1 c", {"a1", "a2"}},
                        {"a2", "r a a1 a2 b b1 c", {"a1", "a2", "a3"}},
                        {"a2", "r a a1 a2 c", {"a", "b"}},
                        {"c", "r a a1 a2 a3 b b1 c", {"b", "c"}}};
  for (Case const& each : cases) {
    plant();
    std::string const visits = walk([&](std::string const& name) {
      for (std::size_t i = 0; i < each.taken.size() && name == each.at; ++i) takeAway(each.taken[i]);
      return 0;
    });
    EXPECT_EQ(visits, each.visits) << "at " << each.at;
  }
}

TEST_F(TraverseTest, TheVisitorMayAddAndMoveNodes) {
  EXPECT_EQ(walk([&](std::string const& name) {
              if (name == "a2") named("a2")->addChild(made("new"));
              if (name == "new") named("new")->addChild(made("newer"));
              if (name == "b") named("c")->addChild(named("b1"));
              if (name == "a3") named("a")->insertChild(0, made("front"));
              if (name == "a3") named("a")->addChild(named("a1"));
              return 0;
            }),
            "r a a1 a2 new newer a3 b c b1");
}

TEST_F(TraverseTest, TheVisitorMayDestroyEverything) {
  Held const survivor(named("b"));
  auto const destroy = [&](std::string const& name) {
    if (name == "a1") _root.subRef();
    return 0;
  };
  EXPECT_EQ(walk(destroy), "r a a1") << "what survives is not below the root";
  EXPECT_EQ(walk(destroy), "") << "a dead root";
}

}  // namespace kntest::TraverseTest
