#include "knanim/pictures/PlotPicture.h"

#include "tools/knanim/pictures/Pixels.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace knanim {
namespace {

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
    AxisTicks const ticks = roundTicks(range.low, range.high, 6, unit);
    ASSERT_GE(ticks.values.size(), 1U) << range.low << " " << range.high;
    ASSERT_LE(ticks.values.size(), 6U);
    double const slack = (range.high - range.low) * 1e-6;
    ASSERT_GE(ticks.values.front(), range.low - slack);
    ASSERT_LE(ticks.values.back(), range.high + slack);
    Texts labels = ticks.labels;
    std::sort(labels.begin(), labels.end());
    ASSERT_EQ(std::unique(labels.begin(), labels.end()), labels.end()) << range.low << " " << range.high;
  }
  for (double const value : {0.0, 1.0, -250.0, 3e38}) {
    AxisRange const range = paddedRange(value, value, AxisUnit::Number);
    EXPECT_GE(roundTicks(range.low, range.high, 6, AxisUnit::Number).values.size(), 2U) << value;
  }
}

TEST(PlotPicture, LabelsKeepApartAndNearTheirLines) {
  EXPECT_EQ(spreadLabels({10, 100, 50}, 16, 0, 200), (std::vector<double>{10, 100, 50}));
  EXPECT_EQ(spreadLabels({50, 50}, 16, 0, 200), (std::vector<double>{42, 58}));
  EXPECT_EQ(spreadLabels({199, 200}, 16, 0, 200), (std::vector<double>{184, 200}));
  EXPECT_TRUE(spreadLabels({}, 16, 0, 200).empty());
  std::mt19937 random(5);
  std::uniform_real_distribution<double> place(-20, 220);
  for (int i = 0; i < 500; ++i) {
    std::vector<double> wanted(static_cast<std::size_t>(2 + i % 18));
    for (double& each : wanted) each = place(random);
    std::vector<double> places = spreadLabels(wanted, 16, 0, 200);
    for (std::size_t a = 0; a < wanted.size(); ++a) {
      for (std::size_t b = 0; b < wanted.size(); ++b) {
        if (wanted[a] < wanted[b]) {
          ASSERT_LT(places[a], places[b]);
        }
      }
    }
    std::sort(places.begin(), places.end());
    double const spacing = std::min(16.0, 200.0 / static_cast<double>(places.size() - 1));
    ASSERT_GE(places.front(), -1e-6);
    ASSERT_LE(places.back(), 200 + 1e-6);
    for (std::size_t k = 1; k < places.size(); ++k) ASSERT_GE(places[k] - places[k - 1], spacing - 1e-6);
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

PlotPicture makePicture(std::size_t panels, std::size_t series, std::string const& label) {
  PlotPicture picture;
  picture.title = "A model";
  picture.subtitle = "a subtitle";
  picture.span = {0, 10};
  for (std::size_t p = 0; p < panels; ++p) {
    PlotPanel& panel = picture.panels.emplace_back();
    panel.title = "Panel " + std::to_string(p) + ' ' + label;
    panel.unit = "degrees";
    for (std::size_t s = 0; s < series; ++s) {
      PlotSeries& line = panel.series.emplace_back();
      line.label = label + std::to_string(s);
      line.color = Color::fromHex(0xFF0000);
      for (int i = 0; i <= 100; ++i) line.samples.push_back({i / 10.0, 1e4 * std::sin(i / 9.0 + double(s))});
      line.keys = {{0, line.samples.front().value}, {5, line.samples[50].value}};
    }
  }
  return picture;
}

std::string draw(PlotPicture const& picture, PictureFormat format) {
  std::string bytes;
  std::string message;
  EXPECT_TRUE(drawPlot(picture, format, bytes, message)) << message;
  return bytes;
}

// Whatever the names and numbers are like, nothing is cut off at the rim of the picture.
TEST(PlotPicture, NothingTouchesTheRim) {
  std::string const longName =
      "a_joint_with_a_name_that_is_much_longer_than_anyone_would_wish_for_" + std::string(200, 'w');
  for (std::string const& label : {std::string("X"), longName}) {
    for (std::size_t const columns : {1U, 2U, 3U}) {
      PlotPicture picture = makePicture(columns * 2, 4, label);
      picture.columns = columns;
      picture.labelsAtLines = columns == 1;
      picture.title = label;
      picture.subtitle = label;
      test::Pixels const image = test::decode(draw(picture, PictureFormat::Png));
      EXPECT_GT(image.count(0xFF0000), 1000) << "no lines to be seen";
      for (std::size_t y = 0; y < image.height; ++y) {
        for (std::size_t x = 0; x < image.width; ++x) {
          bool const isRim = std::min({x, y, image.width - 1 - x, image.height - 1 - y}) < 12;
          ASSERT_TRUE(!isRim || image.at(x, y) == 0xFFFFFFU) << columns << " columns, " << x << ' ' << y;
        }
      }
    }
  }
}

}  // namespace
}  // namespace knanim
