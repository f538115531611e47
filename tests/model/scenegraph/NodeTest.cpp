#include "model/scenegraph/Node.h"

#include "model/scenegraph/Traverse.h"
#include "support/TestContainers.h"

namespace kntest::NodeTest {

using NodeTest = SceneTest;
using Nodes = std::vector<NodePtr>;

Nodes newNodes(std::size_t count) {
  Nodes nodes(count);
  for (NodePtr& node : nodes) node = Node::create();
  return nodes;
}

TEST_F(NodeTest, CoresMayDieUnderTheirNodes) {
  Held const node(Node::create());
  GroupPtr const core = Group::create();
  for (int times = 0; times < 2; ++times) node->setCore(core);
  EXPECT_EQ(core->getParents().getValues(), Nodes{*node});
  for (int times = 0; times < 2; ++times) core.subRef();
  EXPECT_EQ(node->getCore(), nullptr);
  node->setCore(core);
  EXPECT_EQ(node->getCore(), nullptr) << "a dead core is none";
}

/// Fills in the children of a node without linking them, 0 standing for null.
void fillInChildren(NodePtr const& node, std::vector<UInt32> const& children, Nodes const& all) {
  FieldWriter bytes([](FieldContainerPtr const&) { return 0U; });
  bytes.put(static_cast<UInt32>(children.size()));
  for (UInt32 const child : children) bytes.put(child);
  FieldReader reader(bytes.bytes(), [&](UInt32 number) { return number > 0 ? all[number - 1] : NodePtr(); });
  node->getField("children")->read(reader);
}

TEST_F(NodeTest, LinksThatWereFilledInAreMadeGood) {
  // What a damaged file can say: circles, a node as the child of itself, of several, twice of one.
  constexpr UInt32 Count = 6;
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    Nodes const nodes = newNodes(Count);
    std::vector<std::vector<UInt32>> claims(Count + 1);
    std::vector<Nodes> expected(Count + 1);
    std::vector<UInt32> parents(Count + 1, 0), order(Count);
    for (UInt32 i = 1; i <= Count; ++i) {
      order[i - 1] = i;
      for (std::size_t k = random() % 4; k > 0; --k)
        claims[i].push_back(static_cast<UInt32>(random() % (Count + 1)));
      nodes[i - 1].addRef();
      fillInChildren(nodes[i - 1], claims[i], nodes);
    }
    std::ranges::shuffle(order, random);
    for (UInt32 const parent : order) {
      linkAssignedFields(*nodes[parent - 1]);
      for (UInt32 const child : claims[parent]) {
        bool isRefused = child == 0 || parents[child] != 0;
        for (UInt32 each = parent; each != 0; each = parents[each]) isRefused = isRefused || each == child;
        if (isRefused) continue;
        parents[child] = parent;
        expected[parent].push_back(nodes[child - 1]);
      }
    }
    for (UInt32 i = 1; i <= Count; ++i) {
      ASSERT_EQ(nodes[i - 1]->getChildren().getValues(), expected[i]) << round;
      ASSERT_EQ(nodes[i - 1]->getParent(), parents[i] != 0 ? nodes[parents[i] - 1] : NodePtr()) << round;
      ASSERT_EQ(nodes[i - 1]->getRefCount(), parents[i] != 0 ? 2 : 1) << round;
    }
    for (NodePtr const& node : nodes) node.subRef();
  }
}

/// A forest as plain numbers, to which the same is done as to the nodes. All are held, so that none dies.
class Forest {
 public:
  Forest() {
    _dead.subRef();
    for (Slot const& slot : _slots) slot.node.addRef();
    for (std::size_t i = 0; i < Shared; ++i) {
      _cores[i].addRef();
      _marks[i].addRef();
    }
    _marks[0]->setMarks(false);
  }
  ~Forest() {
    for (Slot const& slot : _slots) slot.node.subRef();
    for (std::size_t i = 0; i < Shared; ++i) {
      EXPECT_EQ(_cores[i]->getRefCount() + _marks[i]->getRefCount(), 2);
      _cores[i].subRef();
      _marks[i].subRef();
    }
  }

  void step() {
    int const a = any(), b = any(), next = any();
    std::size_t const place = number(5);
    Slot& slot = at(a);
    NodePtr const &node = slot.node, &other = at(b).node;
    std::vector<int> several;
    Nodes nodes;
    for (int left = 5; left > 0; --left) nodes.push_back(at(several.emplace_back(any())).node);
    std::function<void()> const edits[] = {
        [&] { node->addChild(other), adopt(a, b, Count); },
        [&] { node->insertChild(static_cast<UInt32>(place), other), adopt(a, b, place); },
        [&] { node->subChild(other), detachFrom(a, {b}); },
        [&] { node->subChildren(nodes), detachFrom(a, several); },
        [&] { node->clearChildren(), detachFrom(a, slot.children); },
        [&] { replace(a, b, next); },
        [&] {
          node->addChildren(nodes);
          for (auto child = several.begin(); child != several.end(); ++child)
            if (std::find(several.begin(), child, *child) == child) adopt(a, *child, Count);
        },
        [&] {
          slot.core = number(Shared + 1);
          node->setCore(slot.core < Shared ? _cores[slot.core] : GroupPtr());
        },
        [&] { node->addAttachment(_marks[slot.mark = number(Shared)]); },
        [&] {
          if (slot.mark < Shared) node->subAttachment(_marks[std::exchange(slot.mark, Shared)]);
        },
        [&] {
          for (NodePtr const& nobody : {NodePtr(), _dead}) {
            node->addChild(nobody), node->insertChild(0, nobody), node->subChild(nobody);
            EXPECT_FALSE(node->replaceChildBy(nobody, other) || node->replaceChildBy(other, nobody));
            EXPECT_EQ(node->findChild(nobody), -1);
          }
        }};
    edits[number(std::size(edits))]();
  }

  void check() const {
    for (std::size_t i = 0; i < Count; ++i) {
      Slot const& slot = _slots[i];
      Nodes children, animated;
      for (int const child : slot.children) {
        children.push_back(at(child).node);
        if (isAnimated(child)) animated.push_back(at(child).node);
      }
      ASSERT_EQ(slot.node->getChildren().getValues(), children) << i;
      ASSERT_FALSE(slot.node->getChild(static_cast<UInt32>(children.size()))) << i;
      for (std::size_t k = 0; k < children.size(); ++k)
        ASSERT_EQ(slot.node->findChild(children[k]), static_cast<Int32>(k)) << i;
      ASSERT_EQ(slot.node->getParent(), slot.parent >= 0 ? at(slot.parent).node : NodePtr()) << i;
      ASSERT_EQ(slot.node->getRefCount(), slot.parent >= 0 ? 2 : 1) << i;
      ASSERT_EQ(slot.node->hasAnimationInSubtree(), isAnimated(static_cast<int>(i))) << i;
      ASSERT_TRUE(std::ranges::is_permutation(slot.node->getAnimatedChildren(), animated)) << i;
    }
    for (std::size_t k = 0; k < Shared; ++k) {
      Nodes users;
      std::vector<AttachmentContainerPtr> marked;
      for (Slot const& slot : _slots) {
        if (slot.core == k) users.push_back(slot.node);
        if (slot.mark == k) marked.push_back(slot.node);
      }
      ASSERT_TRUE(std::ranges::is_permutation(_cores[k]->getParents(), users));
      ASSERT_TRUE(std::ranges::is_permutation(_marks[k]->getParents(), marked));
      ASSERT_EQ(_cores[k]->getRefCount(), 1 + std::ssize(users));
      ASSERT_EQ(_marks[k]->getRefCount(), 1 + std::ssize(marked));
    }
  }

 private:
  static constexpr std::size_t Count = 14, Shared = 3;
  struct Slot {
    NodePtr node = Node::create();
    int parent = -1;
    std::size_t core = Shared, mark = Shared;  ///< or none
    std::vector<int> children = {};
  };

  std::size_t number(std::size_t below) { return _random() % below; }
  int any() { return static_cast<int>(number(Count)); }
  Slot& at(int i) { return _slots[static_cast<std::size_t>(i)]; }
  Slot const& at(int i) const { return _slots[static_cast<std::size_t>(i)]; }

  bool isAnimated(int i) const {
    return (at(i).mark > 0 && at(i).mark < Shared) ||
           std::ranges::any_of(at(i).children, [&](int child) { return isAnimated(child); });
  }
  bool canAdopt(int parent, int child) const {
    while (parent >= 0 && parent != child) parent = at(parent).parent;
    return parent < 0;
  }
  void detach(int i) {
    if (at(i).parent >= 0) std::erase(at(at(i).parent).children, i);
    at(i).parent = -1;
  }
  void detachFrom(int parent, std::vector<int> const children) {
    for (int const child : children)
      if (at(child).parent == parent) detach(child);
  }
  void adopt(int parent, int child, std::size_t place) {
    if (!canAdopt(parent, child)) return;
    detach(child);
    auto& children = at(parent).children;
    children.insert(children.begin() + static_cast<std::ptrdiff_t>(std::min(place, children.size())), child);
    at(child).parent = parent;
  }
  void replace(int parent, int former, int next) {
    bool const isPossible = at(former).parent == parent && canAdopt(parent, next);
    EXPECT_EQ(at(parent).node->replaceChildBy(at(former).node, at(next).node), isPossible);
    if (!isPossible || former == next) return;
    detach(next);
    std::ranges::replace(at(parent).children, former, next);
    at(next).parent = parent;
    at(former).parent = -1;
  }

  std::mt19937 _random{99};
  std::array<Slot, Count> _slots;
  std::array<GroupPtr, Shared> _cores{Group::create(), Group::create(), Group::create()};
  std::array<Mark::Ptr, Shared> _marks{Mark::create(), Mark::create(), Mark::create()};
  NodePtr const _dead = Node::create();
};

TEST_F(NodeTest, RandomEditsKeepAllLinksAndCounts) {
  Forest forest;
  for (int i = 0; i < 15000 && !HasFatalFailure(); ++i) {
    SCOPED_TRACE(i);
    // Reading closes the gaps between children, so now and then there are several steps without it.
    for (int left = i % 4; left >= 0; --left) forest.step();
    forest.check();
  }
}

/// Children that go one by one cost the same wherever they stand, and places are right afterwards.
TEST_F(NodeTest, ManyChildrenGoOneByOne) {
  constexpr std::size_t Count = 30000;
  Nodes nodes = newNodes(Count);
  Held const parent(Node::create());
  parent->addChildren(nodes);
  for (std::size_t i = 0; i < Count; ++i) nodes[i]->setTravMask(static_cast<UInt32>(i));
  Nodes going = nodes;
  std::mt19937 random(4);
  std::shuffle(going.begin() + Count / 3, going.end(), random);
  for (std::size_t i = 0; i < going.size(); ++i) {
    nodes[static_cast<std::size_t>(going[i]->getTravMask())] = {};
    parent->subChild(going[i]);
    if (i % 500 != 0) continue;
    Nodes left;
    std::ranges::copy_if(nodes, std::back_inserter(left), [](NodePtr const& node) { return bool(node); });
    ASSERT_EQ(parent->getNChildren(), left.size());
    if (i % 1000 != 0) continue;
    ASSERT_TRUE(std::ranges::equal(parent->getChildren(), left)) << i;
    for (std::size_t k = 0; k < left.size(); k += 997)
      ASSERT_EQ(parent->findChild(left[k]), static_cast<Int32>(k));
  }
}

TEST_F(NodeTest, DeepChainsAreBuiltReadAndDestroyedWithoutRecursion) {
  constexpr std::size_t Depth = 100000;
  for (bool const fromTheRoot : {true, false}) {
    Nodes const chain = newNodes(Depth);
    Transform3DPtr const step = Transform3D::create();
    step->setTranslation(Vec3f(1, 0, 0));
    auto const link = [&](std::size_t i) { chain[i - 1]->addChild(chain[i]); };
    chain[0].addRef();
    for (NodePtr const& node : chain) node->setCore(step);
    for (std::size_t i = 1; i < Depth; ++i) link(fromTheRoot ? i : Depth - i);
    chain.back()->setCore(BoxCore::create());
    chain.back()->addAttachment(Mark::create());

    EXPECT_TRUE(chain[0]->hasAnimationInSubtree());
    EXPECT_EQ(chain.back()->getToWorld()(0, 3), static_cast<Real32>(Depth - 1));
    Pnt3f min, max;
    chain[0]->getWorldVolume().getBounds(min, max);
    EXPECT_EQ(min.x(), static_cast<Real32>(Depth - 2));
    EXPECT_EQ(max.x(), static_cast<Real32>(Depth));
    std::size_t visited = 0;
    traverse(chain[0],
             [&](NodePtr const& node) { return node == chain[visited++] ? Action::Continue : Action::Quit; });
    EXPECT_EQ(visited, Depth);
    chain.back()->addChild(chain[0]);
    EXPECT_EQ(chain[0]->getParent(), nullptr) << "no circle";

    chain[0].subRef();
    EXPECT_TRUE(std::ranges::none_of(chain, [](NodePtr const& node) { return node.isAlive(); }));
    EXPECT_FALSE(step.isAlive());
  }
}

}  // namespace kntest::NodeTest
