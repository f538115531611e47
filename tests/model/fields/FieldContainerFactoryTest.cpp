#include "model/fields/FieldContainerFactory.h"

#include "model/scenegraph/Group.h"
#include "model/scenegraph/Transform3D.h"
#include "support/TestContainers.h"

#include <barrier>
#include <cstdlib>
#include <map>
#include <thread>

namespace FieldContainerFactoryTest {

using namespace osg;
using namespace kntest;

using FieldContainerFactoryTest = SceneTest;

FieldContainerFactory& factory() { return FieldContainerFactory::the(); }

TEST_F(FieldContainerFactoryTest, IdsLeadToLivingContainersOnly) {
  Held const alive(Node::create());
  NodePtr const dead = Node::create();
  UInt32 const deadId = dead.getContainerId();
  dead.subRef();
  EXPECT_EQ(factory().getContainer(alive->getContainerId()), *alive);
  EXPECT_EQ(factory().getContainer(deadId), nullptr);
  EXPECT_EQ((*factory().getFieldContainerStore())[deadId], nullptr);
  EXPECT_EQ(factory().getContainer(0), nullptr);
  auto const size = static_cast<UInt32>(factory().getFieldContainerStore()->size());
  for (UInt32 const past : {size, size + 1, 0x80000000U, 0xFFFFFFFFU})
    EXPECT_EQ(factory().getContainer(past), nullptr) << past;
}

TEST_F(FieldContainerFactoryTest, PlacesAndIdsAreUsedAgainLongAfterADeathAndOldHandlesStayDead) {
  Mark::Ptr const dead = Mark::create();
  UInt32 const id = dead.getContainerId();
  dead.subRef();
  std::size_t const longest =
      factory().getFieldContainerStore()->size() + 3 * FieldContainerFactory::RestOfIds + 2;
  ChangeList list;
  UInt32 deaths = 0;
  Mark::Ptr next = Mark::create();
  for (; next.getContainerId() != id && deaths < 6 * FieldContainerFactory::RestOfIds; ++deaths) {
    next.subRef();
    next = Mark::create();
    list.addChanged(next, Mark::MarksFieldMask);
    if (deaths % 2 == 0) list.clear();
  }
  ASSERT_EQ(next.getContainerId(), id);
  EXPECT_GE(deaths, FieldContainerFactory::RestOfIds);
  EXPECT_LE(factory().getFieldContainerStore()->size(), longest);
  EXPECT_EQ(next.getStoreAddress(), dead.getStoreAddress());
  EXPECT_EQ(factory().getContainer(id), next);
  EXPECT_TRUE(next.isAlive() && !dead.isAlive() && dead != next && (dead < next) != (next < dead));
  EXPECT_TRUE(dead.getContainerId() == 0 && dead.findType() == nullptr && !dcast<Mark::Ptr>(dead));
  dead.subRef();
  EXPECT_TRUE(next.isAlive());
  next.subRef();
}

/// Makes handles of itself where it must not lead to harm.
class Selfish : public FieldContainer {
  KN_CONTAINER(Selfish, Selfish, FieldContainer)
  KN_CONTAINER_END
  Selfish() {
    own = Ptr(this);
    own.addRef();
    own.subRef();
    if (nests) nested = Node::create();
    if (throws) throw 1;
  }
  ~Selfish() override {
    Ptr const late(this);
    isNullAtTheEnd = late == nullptr && !own.isAlive();
    announce(late, BitVector::all());
    late.subRef();
  }
  inline static Ptr own;
  inline static NodePtr nested;
  inline static bool nests = false, throws = false, isNullAtTheEnd = false;
};
KN_CONTAINER_TYPE(Selfish, Selfish, "TestSelfish")

TEST_F(FieldContainerFactoryTest, AConstructorHasTheContainersHandleAndADestructorHasNone) {
  Selfish::nests = true;
  Selfish::Ptr const made = Selfish::create();
  EXPECT_TRUE(made.isAlive() && made == Selfish::own && made != Selfish::nested && Selfish::nested.isAlive());
  EXPECT_EQ(factory().getContainer(made.getContainerId()), made);
  Selfish::nested.subRef();
  made.subRef();
  EXPECT_TRUE(Selfish::isNullAtTheEnd);
  { Selfish const local; }
  EXPECT_TRUE(Selfish::own == nullptr && Selfish::isNullAtTheEnd) << "what create did not make has no handle";
  Selfish::nested.subRef();

  std::size_t const living = factory().getLivingCount();
  Selfish::throws = true;
  EXPECT_THROW(Selfish::create(), int);
  Selfish::throws = Selfish::nests = false;
  EXPECT_FALSE(Selfish::own.isAlive());
  Selfish::nested.subRef();
  EXPECT_EQ(factory().getLivingCount(), living);
}

TEST_F(FieldContainerFactoryTest, DeathHookIsToldOnceOfEveryMemberOfATree) {
  std::map<UInt32, int> told, expected;
  UInt32 const hook = factory().addDeathHook([&](FieldContainerPtr const& dying, UInt32 id) {
    EXPECT_EQ(dying.findType(), &dying->getType()) << "the container can still be read";
    EXPECT_EQ(dying.getContainerId(), id);
    ++told[id];
  });
  NodePtr const root = Node::create();
  std::vector<NodePtr> nodes = {root};
  for (std::size_t i = 0; i < 40; ++i) {
    NodePtr const child = Node::create();
    child->setCore(Group::create());
    NodeUtils::setName(child, "child", false);
    nodes[i / 3]->addChild(child);
    nodes.push_back(child);
    expected[child->getCore().getContainerId()] = 1;
    expected[child->findAttachment(Name::_type.getGroupId()).getContainerId()] = 1;
  }
  for (NodePtr const& node : nodes) expected[node.getContainerId()] = 1;
  {
    Held const survivor(nodes[5]);
    root.subRef();
    EXPECT_TRUE(survivor->getParent() == nullptr && survivor->getNChildren() == 3);
    EXPECT_FALSE(told.contains(survivor->getContainerId()) || nodes[4].isAlive());
  }
  EXPECT_EQ(told, expected);
  factory().removeDeathHook(hook);
}

TEST_F(FieldContainerFactoryTest, HooksRunInOrderAndMayComeAndGoMeanwhile) {
  std::string calls;
  auto const callsOfADeath = [&] {
    calls.clear();
    Node::create().subRef();
    return calls;
  };
  auto const hook = [&](char name, std::function<void()> const& act = {}) {
    return factory().addDeathHook([=, &calls](FieldContainerPtr const&, UInt32) {
      calls += name;
      if (act) act();
    });
  };
  UInt32 first = 0, late = 0;
  first = hook('a', [&] { factory().removeDeathHook(first); });
  UInt32 const second = hook('b', [&] { late = late == 0 ? hook('l') : late; });
  UInt32 const third = hook('c');
  EXPECT_EQ(callsOfADeath().substr(0, 3), "abc") << "a hook that removes itself does not hide the next one";
  EXPECT_EQ(callsOfADeath(), "bcl");
  for (UInt32 const number : {second, second, 0U}) factory().removeDeathHook(number);
  EXPECT_EQ(callsOfADeath(), "cl");
  for (UInt32 const number : {third, late}) factory().removeDeathHook(number);
}

TEST_F(FieldContainerFactoryTest, AHookMayRemoveALaterHookAndDestroyOtherContainers) {
  NodePtr const victim = Node::create();
  victim.addRef();
  std::string calls;
  UInt32 later = 0;
  UInt32 const hook = factory().addDeathHook([&](FieldContainerPtr const& dying, UInt32) {
    calls += dying == victim ? 'v' : 'a';
    factory().removeDeathHook(later);
    victim.subRef();
    dying.addRef();  // not allowed, but it must not bring the container back or destroy it twice
    dying.subRef();
  });
  later = factory().addDeathHook([&](FieldContainerPtr const&, UInt32) { calls += 'x'; });
  Node::create().subRef();
  EXPECT_EQ(calls, "av");
  EXPECT_FALSE(victim.isAlive());
  factory().removeDeathHook(hook);
}

TEST(FieldContainerFactoryDeathTest, StaticsMayDropAndAnnounceContainersAtExit) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  auto const leaveWithAHeldContainer = [] {
    struct Holder {
      Singles::Ptr held = Singles::create();
      Holder() { held.addRef(); }
      ~Holder() {
        announce(held, Singles::BoolFieldMask);
        held->setOwned(Node::create());
        held.subRef();
        if (held.isAlive()) std::_Exit(3);
      }
    };
    for (int i = 0; i < 100; ++i) {
      NodePtr const node = Node::create();
      node->addChild(Node::create());
      announce(node, Node::TravMaskFieldMask);
      node.subRef();
    }
    static Holder const holder;
    std::exit(0);
  };
  EXPECT_EXIT(leaveWithAHeldContainer(), testing::ExitedWithCode(0), "");
}

void inParallel(std::size_t threadCount, std::function<void(std::size_t)> const& work) {
  std::vector<std::thread> threads;
  std::barrier start(static_cast<std::ptrdiff_t>(threadCount));
  for (std::size_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      work(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(FieldContainerFactoryTest, ManyThreadsMayReadAtOnce) {
  Held const node(Node::create());
  node->setCore(Transform3D::create());
  NodeUtils::setName(node, "shared", false);
  UInt32 const id = node->getContainerId();
  UInt32 const group = Name::_type.getGroupId();
  std::vector<int> right(4, 0);
  inParallel(right.size(), [&](std::size_t thread) {
    for (int i = 0; i < 2000; ++i) {
      FieldContainerPtr const found = factory().getContainer(id);
      NodePtr const asNode = dcast<NodePtr>(found);
      bool const isRight =
          asNode && dcast<Transform3DPtr>(asNode->getCore()) && !dcast<Transform3DPtr>(found) &&
          dcast<NamePtr>(asNode->findAttachment(group)) && !factory().getContainer(0x7FFFFFFF) &&
          found->getType().findFieldDescription("travMask")->getField(*found)->getContentType() ==
              SField<UInt32>::getClassType().getContentType() &&
          factory().findType("Transform3D") == &Transform3D::_type &&
          std::string(NodeUtils::getName(asNode)) == "shared";
      right[thread] += isRight ? 1 : 0;
    }
  });
  EXPECT_EQ(right, std::vector<int>(4, 2000));
}

TEST_F(FieldContainerFactoryTest, ManyThreadsMayCreateAtOnce) {
  constexpr std::size_t PerThread = 30000;
  std::vector<std::vector<NodePtr>> made(4);
  inParallel(made.size(), [&](std::size_t thread) {
    for (std::size_t i = 0; i < PerThread; ++i) {
      NodePtr const node = Node::create();
      node->setTravMask(static_cast<UInt32>(thread));
      made[thread].push_back(node);
    }
  });
  for (std::size_t thread = 0; thread < made.size(); ++thread) {
    for (NodePtr const& node : made[thread]) {
      ASSERT_EQ(factory().getContainer(node.getContainerId()), node) << "each has an id of its own";
      ASSERT_EQ(node->getTravMask(), thread);
      node.subRef();
    }
  }
}

}  // namespace FieldContainerFactoryTest
