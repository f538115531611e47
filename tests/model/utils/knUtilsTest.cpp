#include "model/utils/knUtils.h"

#include "model/utils/knMessage.h"
#include "support/Testing.h"

namespace knUtilsTest {

using Subscription = knUtils::Subscription;
using Calls = std::vector<std::string>;

Subscription heldByAStatic;  // ends after main, when the memory checkers still look on

class KnUtilsTest : public testing::Test {
 protected:
  knUtils::Receiver note(std::string mark) {
    return [this, mark = std::move(mark)](std::string_view, knMessage&, int) { calls.push_back(mark); };
  }

  Calls calls;
};

TEST_F(KnUtilsTest, DeliversInOrderOfRegistrationWithNamePayloadAndChannel) {
  Subscription const writer =
      knUtils::listen("x", [&](std::string_view name, knMessage& message, int channel) {
        calls.push_back("writer " + std::to_string(message.size()));
        message.set("answer", std::string(name) + std::to_string(channel), true);
      });
  Subscription const all = knUtils::listenToAll(note("all"));
  Subscription const other = knUtils::listen("xx", note("other"));
  Subscription const reader = knUtils::listen("x", [&](std::string_view, knMessage& message, int) {
    calls.push_back("reader " + *message.get<std::string>("answer"));
  });
  EXPECT_FALSE(knUtils::listen("", note("nameless")).isActive() || knUtils::listen("x", {}).isActive());
  for (char const* const name : {static_cast<char const*>(nullptr), "", "x", "x"}) knUtils::call(name, 7);
  EXPECT_EQ(calls, (Calls{"writer 0", "all", "reader x7", "writer 0", "all", "reader x7"}));
}

TEST_F(KnUtilsTest, SubscriptionsMoveAndEndOnce) {
  heldByAStatic = knUtils::listen("never sent", note("static"));
  std::optional<Subscription> first = knUtils::listen("x", note("first"));
  Subscription second = knUtils::listen("x", note("second"));
  Subscription third = std::move(*first);
  first.reset();
  knUtils::call("x", 0);
  EXPECT_EQ(calls, (Calls{"first", "second"}));

  second = std::move(third);  // ends its own, takes the other
  Subscription& same = second;
  second = std::move(same);
  knUtils::call("x", 0);
  second.end();
  second.end();
  knUtils::call("x", 0);
  EXPECT_EQ(calls, (Calls{"first", "second", "first"}));
}

TEST_F(KnUtilsTest, EndedReceiversAreNotCalledInTheRunningDelivery) {
  Subscription later;
  Subscription earlier = knUtils::listen("x", note("earlier"));
  auto const guard = std::make_shared<int>(0);
  Subscription self = knUtils::listen("x", [&, guard](std::string_view, knMessage&, int) {
    self.end();
    later.end();
    earlier.end();
    calls.push_back("self " + std::to_string(guard.use_count()));  // what it captured must still be there
  });
  later = knUtils::listen("x", note("later"));
  Subscription const last = knUtils::listen("x", note("last"));
  knUtils::call("x", 0);
  EXPECT_EQ(calls, (Calls{"earlier", "self 2", "last"}));
  EXPECT_EQ(guard.use_count(), 1) << "an ended receiver is freed when the delivery is over";
  knUtils::call("x", 0);
  EXPECT_EQ(calls.size(), 4U);
}

TEST_F(KnUtilsTest, ReceiversRegisteredInADeliveryWaitForTheNextMessage) {
  std::vector<Subscription> added;
  Subscription const adder = knUtils::listen("x", [&](std::string_view, knMessage&, int) {
    for (int i = 0; i < 100; ++i) added.push_back(knUtils::listen("x", note("x")));
    added.push_back(knUtils::listen("nested", note("nested")));
    knUtils::call("nested", 0);
  });
  knUtils::call("x", 0);
  EXPECT_EQ(calls, Calls{"nested"});
}

TEST_F(KnUtilsTest, TheEndOfAReceiverMayEndOthers) {
  for (bool const inDelivery : {false, true}) {
    auto owned = std::make_shared<Subscription>();
    Subscription outer = knUtils::listen("x", [owned](std::string_view, knMessage&, int) {});
    *owned = knUtils::listen("x", note("inner"));
    owned.reset();
    Subscription const ender =
        knUtils::listen("end", [&](std::string_view, knMessage&, int) { outer.end(); });
    Subscription const last = knUtils::listen("x", note("last"));
    inDelivery ? knUtils::call("end", 0) : outer.end();
    knUtils::call("x", 0);
  }
  EXPECT_EQ(calls, (Calls{"last", "last"}));
}

TEST(KnMessage, ReplacesOrKeepsAndHoldsTheOrderOfKeys) {
  knMessage message;
  message.set("b", 1, true);
  message.set("a", 2, false);
  message.set("b", std::string("kept out"), false);
  EXPECT_EQ(*message.get<int>("b"), 1);
  message.set("b", std::string("taken"), true);
  EXPECT_EQ(message.get<int>("b"), nullptr);
  EXPECT_EQ(*message.get<std::string>("b"), "taken");
  EXPECT_EQ(message.keys(), (std::vector<std::string>{"b", "a"}));

  knMessage const copy = message;
  message.set("a", 3, true);
  EXPECT_EQ(*copy.get<int>("a"), 2);
}

}  // namespace knUtilsTest
