#include "knanim/pictures/PlotPicture.h"

#include "support/Testing.h"

namespace knanim::PlotPictureTest {

using Texts = std::vector<std::string>;

TEST(AxisTicks, AnyRangeGivesAFewDifferentTicksWithinIt) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> exponent(-30, 30);
  std::uniform_real_distribution<double> share(-1, 1);
  for (int i = 0; i < 5000; ++i) {
    double const center = share(random) * std::pow(10, exponent(random));
    double const half = std::pow(10, exponent(random));
    auto const unit = static_cast<AxisUnit>(i % 3);
    AxisRange const range = paddedRange(center - half, center + half, unit);
    ASSERT_LT(range.low, range.high);
    ASSERT_LE(range.low, center - half);
    ASSERT_GE(range.high, center + half);
    AxisTicks const ticks = roundTicks(range.low, range.high, 2 + i % 5, unit);
    ASSERT_GE(ticks.values.size(), 2U) << range.low << " " << range.high;
    ASSERT_LE(ticks.values.size(), 2U + static_cast<std::size_t>(i % 5));
    double const slack = (range.high - range.low) * 1e-6;
    ASSERT_GE(ticks.values.front(), range.low - slack);
    ASSERT_LE(ticks.values.back(), range.high + slack);
    Texts labels = ticks.labels;
    std::sort(labels.begin(), labels.end());
    ASSERT_EQ(std::unique(labels.begin(), labels.end()), labels.end()) << range.low << " " << range.high;
  }
}

TEST(PlotPicture, ThinningKeepsEveryPeak) {
  std::vector<Point> points(100'000);
  for (std::size_t i = 0; i < points.size(); ++i) points[i] = {double(i) / 1000, std::sin(double(i) / 50)};
  points[44'444].y = 70;
  points[44'445].y = -70;
  std::vector<Point> const thin = thinned(points, 0.5);
  EXPECT_LE(thin.size(), 4U * 200U);
  EXPECT_TRUE(std::is_sorted(thin.begin(), thin.end(), [](Point a, Point b) { return a.x < b.x; }));
  EXPECT_TRUE(std::any_of(thin.begin(), thin.end(), [](Point point) { return point.y == 70; }));
  EXPECT_TRUE(std::any_of(thin.begin(), thin.end(), [](Point point) { return point.y == -70; }));
  EXPECT_EQ(thin.back().x, points.back().x);
  points.resize(100);
  EXPECT_EQ(thinned(points, 0.0001).size(), 100U);
}

}  // namespace knanim::PlotPictureTest
