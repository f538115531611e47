#include "model/fields/FieldContainerFactory.h"

#include "support/TestContainers.h"

#include <barrier>
#include <cstdlib>
#include <thread>

namespace kntest::FieldContainerFactoryTest {

using FieldContainerFactoryTest = SceneTest;

FieldContainerFactory& factory() { return FieldContainerFactory::the(); }

TEST_F(FieldContainerFactoryTest, PlacesAndIdsAreUsedAgainLongAfterADeathAndOldHandlesStayDead) {
  Mark::Ptr const dead = Mark::create();
  UInt32 const id = dead.getContainerId();
  ChangeList noted;
  noted.addChanged(dead, Mark::MarksFieldMask);
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
  noted.addChanged(next, Mark::MarksFieldMask);
  EXPECT_TRUE(noted.getEntries().size() == 2 && noted.getEntries()[1].container == next);
  EXPECT_EQ(factory().getContainer(id), next);
  for (UInt32 const none : {0U, static_cast<UInt32>(factory().getFieldContainerStore()->size()), 0xFFFFFFFFU})
    EXPECT_EQ(factory().getContainer(none), nullptr) << none;
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
    EXPECT_TRUE(dying.findType() == &dying->getType() && dying.getContainerId() == id) << "it can be read";
    ++told[id];
  });
  std::vector<NodePtr> nodes = {Node::create()};
  for (std::size_t i = 0; i < 40; ++i) {
    NodePtr const child = Node::create();
    child->setCore(Group::create());
    nodes[i / 3]->addChild(child);
    nodes.push_back(child);
    expected[child->getCore().getContainerId()] = 1;
  }
  for (NodePtr const& node : nodes) expected[node.getContainerId()] = 1;
  {
    Held const survivor(nodes[5]);
    nodes[0].subRef();
    EXPECT_TRUE(survivor->getParent() == nullptr && survivor->getNChildren() == 3);
    EXPECT_FALSE(told.contains(survivor->getContainerId()) || nodes[4].isAlive());
  }
  EXPECT_EQ(told, expected);
  factory().removeDeathHook(hook);
}

TEST_F(FieldContainerFactoryTest, HooksMayComeAndGoAndDestroyContainersMeanwhile) {
  std::string calls;
  auto const callsOfADeath = [&] {
    calls.clear();
    Node::create().subRef();
    return calls;
  };
  auto const hook = [&](char name, std::function<void(FieldContainerPtr const&)> const& act = {}) {
    return factory().addDeathHook([=, &calls](FieldContainerPtr const& dying, UInt32) {
      calls += name;
      if (act) act(dying);
    });
  };
  UInt32 first = 0, late = 0, hidden = 0;
  NodePtr const victim = Node::create();
  first = hook('a', [&](auto const&) { factory().removeDeathHook(first); });
  UInt32 const second = hook('b', [&](FieldContainerPtr const& dying) {
    factory().removeDeathHook(hidden);
    late = late == 0 ? hook('l') : late;
    victim.subRef();
    dying.addRef();  // not allowed, but it must not bring the container back or destroy it twice
    dying.subRef();
  });
  hidden = hook('x');
  UInt32 const third = hook('c');
  EXPECT_EQ(callsOfADeath(), "abclbcl") << "the node and the victim; a hook that ends itself hides none";
  EXPECT_FALSE(victim.isAlive());
  for (UInt32 const number : {second, second, 0U}) factory().removeDeathHook(number);
  EXPECT_EQ(callsOfADeath(), "cl");
  for (UInt32 const number : {third, late}) factory().removeDeathHook(number);
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
    static Holder const holder;
    std::exit(0);
  };
  EXPECT_EXIT(leaveWithAHeldContainer(), testing::ExitedWithCode(0), "");
}

TEST_F(FieldContainerFactoryTest, ManyThreadsMayCreateAtOnce) {
  constexpr std::size_t PerThread = 30000;
  std::vector<std::vector<NodePtr>> made(4);
  std::vector<std::thread> threads;
  std::barrier start(std::ssize(made));
  for (std::size_t thread = 0; thread < made.size(); ++thread) {
    threads.emplace_back([&, thread] {
      start.arrive_and_wait();
      for (std::size_t i = 0; i < PerThread; ++i) {
        made[thread].push_back(Node::create());
        made[thread].back()->setTravMask(static_cast<UInt32>(thread));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t thread = 0; thread < made.size(); ++thread) {
    for (NodePtr const& node : made[thread]) {
      ASSERT_EQ(factory().getContainer(node.getContainerId()), node) << "each has an id of its own";
      ASSERT_EQ(node->getTravMask(), thread);
      node.subRef();
    }
  }
}

}  // namespace kntest::FieldContainerFactoryTest
