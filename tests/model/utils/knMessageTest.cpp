#include "model/utils/knMessage.h"

#include <gtest/gtest.h>

namespace knMessageTest {

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

}  // namespace knMessageTest
