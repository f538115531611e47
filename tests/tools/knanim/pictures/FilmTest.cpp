#include "knanim/commands/Commands.h"
#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/IndexedPng.h"
#include "knanim/support/Options.h"
#include "tools/knanim/TestFiles.h"
#include "tools/knanim/pictures/Pixels.h"

namespace knanim {
namespace {

TEST(Film, ASmallFigureFarAwayIsDrawn) {
  ImportedModel model;
  model.nodes.resize(3);
  model.nodes[0].translation = {5e6, 0, -5e6};
  for (std::size_t i : {1U, 2U}) {
    model.nodes[i].parent = i - 1;
    model.nodes[i].translation = {0.5, 0.5, 0};
  }
  AnimatedScene const scene(model);
  SceneFigure const figure(model, {}, scene);
  for (double const place : {0.0, 5e6, 1e30}) {
    FilmPicture film;
    FilmFrame& frame = film.frames.emplace_back();
    frame.pose = figure.capture();
    for (osg::Pnt3f& joint : frame.pose.joints) joint[0] = static_cast<float>(place + (joint[0] - 5e6F));
    frame.view = PictureView::around(frame.pose.joints, {-1, -1, -1}, 0.5, 1);
    std::string bytes;
    std::string message;
    ASSERT_TRUE(drawFilm(film, figure, PictureFormat::Svg, bytes, message)) << message;
    EXPECT_LT(bytes.size(), 2'000'000U) << place;
  }
}

TEST(PictureView, TheFittedViewHoldsAllPointsAndIsFilledByThem) {
  std::mt19937 random(11);
  std::normal_distribution<float> place(0, 1);
  for (int round = 0; round < 60; ++round) {
    float const size = std::pow(10.F, static_cast<float>(round % 7 - 3));
    osg::Vec3f const offset = osg::Vec3f(place(random), place(random), place(random)) * (5 * size);
    std::vector<osg::Pnt3f> points(static_cast<std::size_t>(1 + round % 20));
    for (osg::Pnt3f& point : points)
      point = osg::Pnt3f(offset) + osg::Vec3f(place(random), place(random), place(random)) * size;
    double const aspect = 0.5 + 0.1 * (round % 15);
    osg::Vec3f const direction(place(random), place(random), place(random));
    PictureView const view = PictureView::around(points, direction, 0.6, aspect);
    double widest = 0;
    for (osg::Pnt3f const& point : points) {
      auto const seen = view.see(point);
      ASSERT_TRUE(seen);
      widest = std::max({widest, std::abs(seen->x), std::abs(seen->y) * aspect});
    }
    EXPECT_LE(widest, 1) << round;
    EXPECT_TRUE(points.size() < 3 || widest >= 0.8) << round << ": " << widest;
  }
  PictureView const view = PictureView::along({0, 0, 5}, {0, 0, -1}, {0, 0, 1}, 1);
  EXPECT_FALSE(view.see({0, 0, 6}));
  EXPECT_FALSE(view.see({NAN, 0, 0}));
  EXPECT_NEAR(view.see({0, 0, 0})->depth, 5, 1e-6);
}

TEST(IndexedPng, KeepsFewColorsAndRefusesMany) {
  std::vector<std::uint32_t> pixels(40 * 30);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint32_t>(i % 256) * 0x010101U;
  auto const png = encodeIndexedPng(pixels, 40);
  ASSERT_TRUE(png);
  EXPECT_EQ(test::decode(*png).values, pixels);
  pixels[77] = 0x010102;  // one more than fits: the nearest one takes its place
  test::Pixels const approximated = test::decode(*encodeIndexedPng(pixels, 40));
  EXPECT_EQ(approximated.width, 40U);
  EXPECT_EQ(approximated.values[77], 0x010101U);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint32_t>(i) * 0x3571U;
  EXPECT_FALSE(encodeIndexedPng(pixels, 40));
  EXPECT_FALSE(encodeIndexedPng(pixels, 0));
}

}  // namespace
}  // namespace knanim
