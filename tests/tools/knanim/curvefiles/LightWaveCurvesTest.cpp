#include "tools/knanim/curvefiles/CurveDifference.h"

namespace knanim::LightWaveCurvesTest {

/// A key of an envelope, as its line has it.
struct Line {
  double value, time;
  int shape;
  double p[6];
};

/// An envelope by the formulas of the format, from the lines of the file alone.
struct Envelope {
  std::vector<Line> keys;
  int before = 1;
  int after = 1;

  /// The rise over the span on one side of a key.
  double tangent(std::size_t i, bool isOut) const {
    Line const& k = keys[i];
    std::size_t const other = isOut ? i + 1 : i - 1;
    double const width = std::abs(keys[other].time - k.time);
    bool const hasBoth = i > 0 && i + 1 < keys.size();
    double const part = hasBoth ? width / (keys[i + 1].time - keys[i - 1].time) : 1;
    double const in = i > 0 ? k.value - keys[i - 1].value : 0;
    double const out = i + 1 < keys.size() ? keys[i + 1].value - k.value : 0;
    double const c = isOut ? k.p[1] : -k.p[1];
    switch (k.shape) {
      case 0:
        return part * (1 - k.p[0]) * ((1 + c) * (1 + k.p[2]) * in + (1 - c) * (1 - k.p[2]) * out);
      case 1:
      case 2:
        return part * (isOut ? k.p[4] : k.p[3]);
      case 3:
        return part * (in + out);
      case 5:
        return width * (isOut ? k.p[3] / k.p[2] : k.p[1] / k.p[0]);
      default:
        return 0;
    }
  }
  double inside(double t) const {
    std::size_t i = 0;
    while (i + 2 < keys.size() && keys[i + 1].time <= t) ++i;
    Line const& a = keys[i];
    Line const& b = keys[i + 1];
    double s = (t - a.time) / (b.time - a.time);
    if (b.shape == 3) return a.value + s * (b.value - a.value);
    if (b.shape == 4) return t < b.time ? a.value : b.value;
    double y1 = a.value + tangent(i, true) / 3;
    double y2 = b.value - tangent(i + 1, false) / 3;
    auto const cubic = [](double p0, double p1, double p2, double p3, double u) {
      return p0 + 3 * u * (p1 - p0) + 3 * u * u * (p2 - 2 * p1 + p0) +
             u * u * u * (p3 - 3 * p2 + 3 * p1 - p0);
    };
    if (b.shape == 5) {
      bool const isFull = a.shape == 5;
      double const x1 = isFull ? a.time + a.p[2] : a.time + (b.time - a.time) / 3;
      if (isFull) y1 = a.value + a.p[3];
      if (a.shape == 1 || a.shape == 2) y1 = a.value + a.p[4] / 3;
      y2 = b.value + b.p[1];
      double low = 0;
      for (double step = 0.5; step > 1e-15; step /= 2)
        low += cubic(a.time, x1, b.time + b.p[0], b.time, low + step) <= t ? step : 0;
      s = low;
    }
    return cubic(a.value, y1, y2, b.value, s);
  }
  double at(double t) const {
    double const begin = keys.front().time;
    double const end = keys.back().time;
    if (keys.size() == 1) return keys.front().value;
    if (t >= begin && t <= end) return inside(t);
    bool const isBefore = t < begin;
    Line const& nearest = isBefore ? keys.front() : keys.back();
    int const mode = isBefore ? before : after;
    if (mode == 0) return 0;
    if (mode == 1) return nearest.value;
    std::size_t const n = keys.size();
    if (mode == 5 && isBefore) return nearest.value + (t - begin) * tangent(0, true) / (keys[1].time - begin);
    if (mode == 5) return nearest.value + (t - end) * tangent(n - 1, false) / (end - keys[n - 2].time);
    double const round = std::floor((t - begin) / (end - begin));
    double const rest = t - round * (end - begin);
    if (mode == 3 && std::fmod(std::abs(round), 2) == 1) return inside(begin + end - rest);
    return inside(rest) + (mode == 4 ? round * (keys.back().value - keys.front().value) : 0);
  }
};

/// The envelopes of the first item of a scene.
std::vector<Envelope> readEnvelopes(std::string const& path) {
  std::vector<Envelope> envelopes;
  std::ifstream stream(path);
  for (std::string line; std::getline(stream, line) && line.find("AddLight") == std::string::npos;) {
    Line key{};
    auto& p = key.p;
    if (line.find("{ Envelope") != std::string::npos) envelopes.emplace_back();
    if (std::sscanf(line.c_str(), " Key %lf %lf %d %lf %lf %lf %lf %lf %lf", &key.value, &key.time,
                    &key.shape, &p[0], &p[1], &p[2], &p[3], &p[4], &p[5]) == 9)
      envelopes.back().keys.push_back(key);
    if (!envelopes.empty())
      std::sscanf(line.c_str(), " Behaviors %d %d", &envelopes.back().before, &envelopes.back().after);
  }
  return envelopes;
}

void expectLikeTheFile(std::string const& path) {
  std::vector<Envelope> const envelopes = readEnvelopes(path);
  test::PlayedFile const file(path);
  ASSERT_EQ(file.scene.curves().size(), envelopes.size()) << path;
  // Positions and, in the order of the transform's angles, pitch and heading, in a mirrored space.
  for (std::size_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(path + ' ' + file.model.curveName(file.model.curves[i]));
    Envelope const& envelope = envelopes[i == 3 ? 4 : i == 4 ? 3 : i];
    double const factor = i == 2 ? -1 : i > 2 ? -180 / M_PI : 1;
    test::expectLike(
        file.scene.curves()[i], [&](double time) { return factor * envelope.at(time); },
        static_cast<float>(envelope.keys.front().time), static_cast<float>(envelope.keys.back().time));
  }
}

std::string sceneOf(std::vector<std::string> const& envelopes) {
  std::string text =
      "LWSC\n5\n\nFirstFrame 1\nLastFrame 90\nFramesPerSecond 30\n\nAddNullObject 10000000 "
      "Arm\nObjectMotion\n";
  text += "NumChannels " + std::to_string(envelopes.size()) + '\n';
  for (std::size_t i = 0; i < envelopes.size(); ++i)
    text += "Channel " + std::to_string(i) + "\n{ Envelope\n" + envelopes[i] + "\n}\n";
  return text;
}

constexpr char const* kStill = "1\nKey 0 0 0 0 0 0 0 0 0\nBehaviors 1 1";

TEST(LightWaveCurves, HaveTheValuesOfTheFormatsFormulas) {
  for (char const* const name : {"move_x", "move_x_oldformat_6", "move_x_post_constant", "move_x_post_linear",
                                 "move_x_post_offset_repeat", "move_x_post_repeat", "move_x_post_reset",
                                 "move_xz_bezier", "move_xz_hermite", "move_xz_linear", "move_xz_spline",
                                 "move_xz_stepped", "move_y_pre_ofrep_post_osc"})
    expectLikeTheFile(test::modelPath(std::string("LWS/") + name + ".lws"));
  test::TemporaryFolder const folder;
  // Every shape next to every other, with parameters, and behaviors that the samples do not have.
  test::writeFile(
      folder.file("mixed.lws"),
      sceneOf({"5\nKey 1 0.5 0 0.5 -0.3 0.2 0 0 0\nKey 4 1 1 0 0 0 2 -3 0\nKey -2 2 0 -0.4 0.6 -0.1 0 0 0\n"
               "Key 0 2.5 2 0 0 0 1 4 0\nKey 3 4 5 -0.9 -2 0.1 0.2 0 0\nBehaviors 5 3",
               "4\nKey 0 -1 5 0 0 0.2 3 0 0\nKey 2 0 5 -0.1 -0.5 0.6 1 0 0\nKey 1 1 3 0 0 0 0 0 0\n"
               "Key 5 1.75 4 0 0 0 0 0 0\nBehaviors 3 0",
               "3\nKey 100 0 3 0 0 0 0 0 0\nKey 101 1 3 0 0 0 0 0 0\nKey 99 2 3 0 0 0 0 0 0\nBehaviors 5 5",
               "2\nKey 0 0 0 0 0 0 0 0 0\nKey 7 2 1 0 0 0 9 0 0\nBehaviors 2 4",
               "2\nKey -1 1 1 0 0 0 0 4 0\nKey 2 3 1 0 0 0 -3 0 0\nBehaviors 1 2", kStill, kStill, kStill,
               kStill}));
  expectLikeTheFile(folder.file("mixed.lws"));
}

}  // namespace knanim::LightWaveCurvesTest
