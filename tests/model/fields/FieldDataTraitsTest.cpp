#include "model/fields/FieldDataTraits.h"

#include "support/Testing.h"

namespace FieldDataTraitsTest {

using namespace osg;

template <class T>
std::string textOf(T const& value) {
  std::string text;
  FieldDataTraits<T>::putToString(value, text);
  return text;
}

template <class T>
void expectExactText(T const& value) {
  T back{};
  EXPECT_TRUE(FieldDataTraits<T>::getFromString(back, textOf(value))) << textOf(value);
  EXPECT_TRUE(FieldDataTraits<T>::isEqual(back, value)) << textOf(value) << " became " << textOf(back);
}

template <class T>
class NumberTextTest : public testing::Test {};
using Numbers = testing::Types<UInt8, Int32, UInt32, Int64, UInt64, Real32, Real64>;
TYPED_TEST_SUITE(NumberTextTest, Numbers);

TYPED_TEST(NumberTextTest, ReadsBackExactlyWhatItWrote) {
  using Limits = std::numeric_limits<TypeParam>;
  for (TypeParam const value : {TypeParam(0), TypeParam(1), Limits::lowest(), Limits::max(), Limits::min(),
                                Limits::denorm_min(), Limits::epsilon(), Limits::infinity()})
    expectExactText(value);
  std::mt19937_64 random(7);
  for (int i = 0; i < 2000; ++i) {
    UInt64 const bits = random();
    TypeParam value{};
    std::memcpy(&value, &bits, sizeof value);
    if (value == value) expectExactText(value);
  }
}

TYPED_TEST(NumberTextTest, RefusesWhatIsNoNumberOfItsRange) {
  std::string tooLarge = textOf(std::numeric_limits<TypeParam>::max());
  tooLarge += std::is_integral_v<TypeParam> ? "0" : "9";  // a larger exponent
  for (std::string const& wrong : {std::string(), std::string(" "), std::string("x"), std::string("1x"),
                                   std::string("1 2"), std::string("--1"), std::string("1\0", 2), tooLarge}) {
    TypeParam value = 42;
    EXPECT_FALSE(FieldDataTraits<TypeParam>::getFromString(value, wrong)) << '"' << wrong << '"';
    EXPECT_EQ(value, TypeParam(42)) << wrong;
  }
}

TEST(FieldDataTraitsTest, TextOfTuplesReadsBackExactly) {
  std::mt19937 random(11);
  std::uniform_real_distribution<Real32> exponent(-38.F, 38.F);
  auto const number = [&] { return std::pow(10.F, exponent(random)) * (random() % 2 == 0 ? 1.F : -1.F); };
  for (int i = 0; i < 200; ++i) {
    expectExactText(Vec2f(number(), number()));
    expectExactText(Color4f(number(), number(), number(), number()));
    Matrix matrix;
    for (std::size_t k = 0; k < 16; ++k) matrix.data()[k] = number();
    expectExactText(matrix);
  }
  for (bool const value : {true, false}) expectExactText(value);
  for (std::string const text : {"", " two  words ", "line\nbreak"}) expectExactText(text);
}

TEST(FieldDataTraitsTest, TextOfTuplesIsTakenWholeOrNotAtAll) {
  for (std::string_view const taken : {"1 2 3", "  1\t2  3 ", "1,2,3"}) {
    Pnt3f value;
    EXPECT_TRUE(FieldDataTraits<Pnt3f>::getFromString(value, taken)) << taken;
    EXPECT_EQ(value, Pnt3f(1, 2, 3)) << taken;
  }
  for (std::string_view const wrong : {"", "1 2", "1 2 3 4", "1 2 x", "1 2 3x", "1;2;3", "1 2 1e99"}) {
    Pnt3f value(7, 8, 9);
    EXPECT_FALSE(FieldDataTraits<Pnt3f>::getFromString(value, wrong)) << wrong;
    EXPECT_EQ(value, Pnt3f(7, 8, 9)) << wrong;
  }
}

TEST(FieldDataTraitsTest, NumbersAreComparedByTheirBits) {
  Real32 const nan = std::numeric_limits<Real32>::quiet_NaN();
  EXPECT_TRUE(FieldDataTraits<Vec2f>::isEqual(Vec2f(nan, 1), Vec2f(nan, 1)));
  EXPECT_FALSE(FieldDataTraits<Vec2f>::isEqual(Vec2f(0.F, 1), Vec2f(-0.F, 1)));
}

}  // namespace FieldDataTraitsTest
