#include "model/sceneext/ValuePair.h"

#include "support/TestContainers.h"

namespace ValuePairTest {

using namespace osg;
using kntest::Held;

using ValuePairTest = kntest::SceneTest;

TEST_F(ValuePairTest, ListsOfUnequalLengthAreBroughtIntoStep) {
  Held const pair(ValuePair::create());
  pair->getKeys() = {"a", "b"};
  EXPECT_TRUE(pair->findKey("b"));
  EXPECT_EQ(pair->getValue("b"), "") << "the values are missing";
  pair->add("b", "2");
  EXPECT_EQ(pair->getValue("a"), "");
  EXPECT_EQ(pair->getValue("b"), "2");
  pair->getValues() = {"1", "2", "3", "4"};
  pair->add("c", "5");
  EXPECT_EQ(pair->getValue("c"), "5");
  EXPECT_EQ(pair->getValues()[3], "4") << "values beyond the keys stay";
}

}  // namespace ValuePairTest
