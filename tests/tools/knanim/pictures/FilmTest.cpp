#include "knanim/pictures/AnimatedPng.h"
#include "knanim/pictures/DepthLayer.h"
#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/IndexedPng.h"
#include "knanim/pictures/PngChunks.h"
#include "knanim/support/Options.h"
#include "tools/knanim/TestFiles.h"

#include <cairo.h>

namespace knanim::FilmTest {

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

TEST(DepthLayer, NearerFacesHideFartherOnesWherePixelsMeet) {
  Canvas canvas(PictureFormat::Png, 40, 20);
  DepthLayer layer({0, 0, 40, 20});
  Color const red{1, 0, 0};
  Color const blue{0, 0, 1};
  // The blue one leans: nearer at the left end, farther at the right one.
  layer.addFace(std::vector<DeepPoint>{{{0, 0}, 1}, {{40, 0}, 3}, {{40, 10}, 3}, {{0, 10}, 1}}, blue);
  layer.addFace(std::vector<DeepPoint>{{{0, 0}, 1.5}, {{40, 0}, 1.5}, {{40, 10}, 1.5}, {{0, 10}, 1.5}}, red);
  layer.addFace(std::vector<DeepPoint>{{{5, 5}, 1}, {{9, 5}, 1}}, red);
  layer.draw(canvas);
  std::vector<std::uint32_t> const pixels = canvas.pixels();
  // 1 / depth falls evenly from 1 to 1/3, so they meet at half of the way.
  for (std::size_t const x : {2U, 38U}) EXPECT_EQ(pixels[6 * 80 + x], 0x0000FFU) << x;
  for (std::size_t const x : {42U, 78U}) EXPECT_EQ(pixels[6 * 80 + x], 0xFF0000U) << x;
  EXPECT_EQ(pixels[30 * 80 + 40], 0xFFFFFFU);
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

cairo_status_t readBytes(void* source, unsigned char* data, unsigned length) {
  auto& rest = *static_cast<std::string_view*>(source);
  if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, rest.data(), length);
  rest.remove_prefix(length);
  return CAIRO_STATUS_SUCCESS;
}

/// A picture of points as it comes out of the file.
struct Pixels {
  std::size_t width;
  std::vector<std::uint32_t> values;
};
Pixels decode(std::string_view png) {
  cairo_surface_t* const surface = cairo_image_surface_create_from_png_stream(readBytes, &png);
  int const width = cairo_image_surface_get_width(surface);
  Pixels pixels{static_cast<std::size_t>(width), {}};
  for (int y = 0; y < cairo_image_surface_get_height(surface); ++y) {
    auto const* const row = reinterpret_cast<std::uint32_t const*>(
        cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface));
    for (int x = 0; x < width; ++x) pixels.values.push_back(row[x] & 0xFFFFFFU);
  }
  cairo_surface_destroy(surface);
  return pixels;
}

TEST(IndexedPng, KeepsFewColorsAndRefusesMany) {
  std::vector<std::uint32_t> pixels(40 * 30);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint32_t>(i % 256) * 0x010101U;
  auto const png = encodeIndexedPng(pixels, 40);
  ASSERT_TRUE(png);
  EXPECT_EQ(decode(*png).values, pixels);
  pixels[77] = 0x010102;  // one more than fits: the nearest one takes its place
  EXPECT_EQ(decode(*encodeIndexedPng(pixels, 40)).values[77], 0x010101U);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint32_t>(i) * 0x3571U;
  EXPECT_FALSE(encodeIndexedPng(pixels, 40));
  EXPECT_FALSE(encodeIndexedPng(pixels, 0));
}

/// The pictures of a PNG that moves, put together from what is stored of them.
std::vector<std::vector<std::uint32_t>> decodeAnimation(std::string const& bytes) {
  auto const number = [&bytes](std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8U | static_cast<std::uint8_t>(bytes[at + i]);
    return value;
  };
  std::vector<std::vector<std::uint32_t>> pictures;
  std::string header;
  for (std::size_t at = kPngSignature.size(); at < bytes.size(); at += 12 + number(at)) {
    std::string const type = bytes.substr(at + 4, 4);
    std::string data = bytes.substr(at + 8, number(at));
    std::uint32_t const width = number(kPngSignature.size() + 8);
    if (type == "IHDR") pictures.emplace_back(width * number(at + 12));
    if (type == "fcTL") header = data;
    if (type != "IDAT" && type != "fdAT") continue;
    if (type == "fdAT") data.erase(0, 4);
    std::string part(kPngSignature);
    appendChunk(part, "IHDR", header.substr(4, 8) + std::string("\x08\x02\0\0\0", 5));
    appendChunk(part, "IDAT", data);
    appendChunk(part, "IEND", "");
    Pixels const pixels = decode(part);
    auto const place = [&header](std::size_t i) { return static_cast<std::uint8_t>(header[i]); };
    pictures.push_back(pictures.back());
    for (std::size_t i = 0; i < pixels.values.size(); ++i)
      pictures.back()[(place(19) + i / pixels.width) * width + place(15) + i % pixels.width] =
          pixels.values[i] & 0xFFFFFFU;
  }
  pictures.erase(pictures.begin());
  return pictures;
}

TEST(AnimatedPng, GivesEveryPictureBack) {
  test::TemporaryFolder const folder;
  std::mt19937 random(5);
  std::vector<std::vector<std::uint32_t>> pictures(1);
  for (int i = 0; i < 40 * 30; ++i)
    pictures[0].push_back(random() % 5 == 0 ? random() & 0xFFFFFFU : 0x336699U);
  for (std::size_t const changed : {0U, 1U, 700U}) {
    pictures.push_back(pictures.back());
    for (std::size_t i = 0; i < changed; ++i) pictures.back()[100 + i] ^= 0x010203U;
  }
  AnimatedPng film(folder.file("a.png"), 40, 30, 4, 29.97);
  for (auto const& picture : pictures) EXPECT_TRUE(film.add(picture));
  EXPECT_TRUE(film.commit()) << film.message();
  EXPECT_EQ(decodeAnimation(test::readFile(folder.file("a.png"))), pictures);
}

TEST(Film, AFilmHasAllFramesAndAModelWithoutAnimationIsDrawn) {
  test::TemporaryFolder const folder;
  auto const outcome =
      test::run("play " + test::modelPath("X/Testwuson.X") + " --to 0.1 --size 64x36 --film " +
                folder.file("film.png") + " --frames " + folder.file("frames"));
  EXPECT_EQ(outcome.code, ExitCode::Ok) << outcome.errors;
  EXPECT_EQ(decodeAnimation(test::readFile(folder.file("film.png"))).size(), 4U);
  EXPECT_EQ(decode(test::readFile(folder.file("frames/frame-00003.png"))).width, 64U);
  EXPECT_EQ(test::run("play " + test::modelPath("OBJ/box.obj") + " --image " + folder.file("box.png")).code,
            ExitCode::Ok);
  EXPECT_TRUE(test::readFile(folder.file("box.png")).starts_with(kPngSignature));
}

TEST(Film, AnErrorOfTheEncoderKeepsTheOldFilm) {
  test::TemporaryFolder const folder;
  std::string const program = folder.file("ffmpeg");
  test::writeFile(program,
                  "#!/bin/sh\n/bin/cat > /dev/null\necho '[out @ 0x1] no room left' >&2\necho 'more' >&2\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  std::string const former = std::getenv("PATH");
  setenv("PATH", program.substr(0, program.rfind('/')).c_str(), 1);
  test::writeFile(folder.file("film.mp4"), "old");
  std::string const play = "play " + test::modelPath("X/Testwuson.X") + " --to 0.1 --size 64x36 --film ";
  auto const outcome = test::run(play + folder.file("film.mp4"));
  setenv("PATH", former.c_str(), 1);
  EXPECT_EQ(outcome.code, ExitCode::OutputUnwritable);
  EXPECT_TRUE(outcome.errors.ends_with("film.mp4: ffmpeg failed: no room left\n")) << outcome.errors;
  EXPECT_EQ(test::readFile(folder.file("film.mp4")), "old");
  EXPECT_EQ(test::run(play + folder.file("film.xyz")).code, ExitCode::Usage);
}

}  // namespace knanim::FilmTest
