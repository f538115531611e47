#include "knanim/pictures/PlotPicture.h"

#include <algorithm>
#include <cairo.h>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace knanim {
namespace {

using Texts = std::vector<std::string>;

TEST(AxisTicks, StepsAreRoundForWhatIsMeasured) {
  struct Case {
    double low;
    double high;
    int most;
    AxisUnit unit;
    Texts labels;
  };
  for (Case const& each :
       {Case{-3, 105, 6, AxisUnit::Number, {"0", "20", "40", "60", "80", "100"}},
        Case{0.0, 0.83, 6, AxisUnit::Seconds, {"0.0", "0.2", "0.4", "0.6", "0.8"}},
        Case{-100, 200, 7, AxisUnit::Degrees, {"−90", "−45", "0", "45", "90", "135", "180"}},
        Case{-800, 800, 5, AxisUnit::Degrees, {"−720", "−360", "0", "360", "720"}},
        Case{-4, 4, 5, AxisUnit::Degrees, {"−4", "−2", "0", "2", "4"}},
        Case{0, 100, 8, AxisUnit::Seconds, {"0", "15", "30", "45", "60", "75", "90"}},
        Case{0.5225, 0.5395, 4, AxisUnit::Number, {"0.525", "0.530", "0.535"}},
        Case{-1e9, 1e9, 5, AxisUnit::Number, {"−1e+09", "−5e+08", "0", "5e+08", "1e+09"}}}) {
    EXPECT_EQ(roundTicks(each.low, each.high, each.most, each.unit).labels, each.labels);
  }
}

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

/// A picture of points as it comes out of the file.
class Decoded {
 public:
  explicit Decoded(std::string const& bytes)
      : _rest(bytes), _surface(cairo_image_surface_create_from_png_stream(read, this)) {}
  ~Decoded() { cairo_surface_destroy(_surface); }

  bool isGood() const { return cairo_surface_status(_surface) == CAIRO_STATUS_SUCCESS; }
  int width() const { return cairo_image_surface_get_width(_surface); }
  int height() const { return cairo_image_surface_get_height(_surface); }
  std::uint32_t pixel(int x, int y) const {
    std::uint32_t value = 0;
    auto const offset = y * cairo_image_surface_get_stride(_surface) + 4 * x;
    std::memcpy(&value, cairo_image_surface_get_data(_surface) + offset, 4);
    return value & 0xFFFFFFU;
  }
  /// How many pixels have exactly this colour.
  int count(std::uint32_t color) const {
    int found = 0;
    for (int y = 0; y < height(); ++y) {
      for (int x = 0; x < width(); ++x) found += pixel(x, y) == color ? 1 : 0;
    }
    return found;
  }

 private:
  static cairo_status_t read(void* self, unsigned char* data, unsigned length) {
    std::string_view& rest = static_cast<Decoded*>(self)->_rest;
    if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(data, rest.data(), length);
    rest.remove_prefix(length);
    return CAIRO_STATUS_SUCCESS;
  }

  std::string_view _rest;
  cairo_surface_t* _surface;
};

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
      std::string const bytes = draw(picture, PictureFormat::Png);
      Decoded const image(bytes);
      ASSERT_TRUE(image.isGood());
      EXPECT_GT(image.count(0xFF0000), 1000) << "no lines to be seen";
      for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < 12; ++y) {
          ASSERT_EQ(image.pixel(x, y), 0xFFFFFFU);
          ASSERT_EQ(image.pixel(x, image.height() - 1 - y), 0xFFFFFFU);
        }
      }
      for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < 12; ++x) {
          ASSERT_EQ(image.pixel(x, y), 0xFFFFFFU);
          ASSERT_EQ(image.pixel(image.width() - 1 - x, y), 0xFFFFFFU) << columns << " columns, row " << y;
        }
      }
    }
  }
}

TEST(PlotPicture, KeysAreDotsOrBarsAndGapsStayOpen) {
  PlotPicture picture = makePicture(1, 1, "X");
  PlotSeries& line = picture.panels[0].series[0];
  line.samples.clear();
  constexpr std::uint32_t kBar = 0xA9B3C0;
  std::string bytes = draw(picture, PictureFormat::Png);
  int const dots = Decoded(bytes).count(0xFF0000);
  EXPECT_GT(dots, 100);
  EXPECT_LT(Decoded(bytes).count(kBar), 500) << "more than the rims of letters";
  for (int i = 0; i < 2000; ++i) line.keys.push_back({i / 200.0, 0});
  std::sort(line.keys.begin(), line.keys.end(), [](Key a, Key b) { return a.time < b.time; });
  bytes = draw(picture, PictureFormat::Png);
  EXPECT_GT(Decoded(bytes).count(kBar), 5000);

  line.keys.clear();
  line.samples = {{0, 1}, {10, 1}};
  bytes = draw(picture, PictureFormat::Png);
  int const whole = Decoded(bytes).count(0xFF0000);
  line.samples = {{0, 1}, {3, 1}, {5, std::numeric_limits<double>::quiet_NaN()}, {7, 1}, {10, 1}};
  bytes = draw(picture, PictureFormat::Png);
  EXPECT_NEAR(Decoded(bytes).count(0xFF0000), whole * 0.6, whole * 0.05);
}

TEST(PlotPicture, StrangePicturesAreDrawnAllTheSame) {
  PlotPicture picture;
  EXPECT_FALSE(draw(picture, PictureFormat::Png).empty());
  picture = makePicture(1, 1, "X");
  picture.span = {5, 5};
  picture.panels[0].series[0].samples = {{5, 3e38}, {5, -3e38}, {5, std::numeric_limits<double>::infinity()}};
  std::string const bytes = draw(picture, PictureFormat::Png);
  EXPECT_TRUE(Decoded(bytes).isGood());
  std::string const drawing = draw(makePicture(30, 3, "<&\">"), PictureFormat::Svg);
  EXPECT_TRUE(drawing.starts_with("<?xml"));
  EXPECT_NE(drawing.find("</svg>"), std::string::npos);
}

TEST(PlotPicture, TheNameDecidesTheFormat) {
  EXPECT_EQ(pictureFormat("a.b.PNG"), PictureFormat::Png);
  EXPECT_EQ(pictureFormat("/x.y/a.svg"), PictureFormat::Svg);
  for (char const* const other : {"", "png", "a.pdf", "a.png.gz", "a."})
    EXPECT_FALSE(pictureFormat(other)) << other;
}

}  // namespace
}  // namespace knanim
