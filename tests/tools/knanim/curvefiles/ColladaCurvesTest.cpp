#include "tools/knanim/curvefiles/CurveDifference.h"

namespace knanim::ColladaCurvesTest {

/// A source of numbers or words.
std::string source(std::string const& id, std::string const& array, std::size_t count, std::size_t stride,
                   std::string const& content) {
  return "<source id='" + id + "'><" + array + " id='" + id + "-a' count='" + std::to_string(count * stride) +
         "'>" + content + "</" + array + "><technique_common><accessor source='#" + id + "-a' count='" +
         std::to_string(count) + "' stride='" + std::to_string(stride) + "'/></technique_common></source>";
}

/// What moves one number: three keys, with tangents as points in time and value.
struct Mover {
  std::string target;
  std::string times;
  std::string values;
  std::string in;
  std::string out;
  std::string shapes = "BEZIER BEZIER BEZIER";
};

std::string document(std::string const& transforms, std::vector<Mover> const& movers) {
  std::string text =
      "<?xml version='1.0'?><COLLADA xmlns='http://www.collada.org/2005/11/COLLADASchema' version='1.4.1'>"
      "<asset><up_axis>Y_UP</up_axis></asset><library_visual_scenes><visual_scene id='s'><node id='arm' "
      "name='Arm'>" +
      transforms + "</node></visual_scene></library_visual_scenes><library_animations><animation id='move'>";
  for (std::size_t i = 0; i < movers.size(); ++i) {
    Mover const& mover = movers[i];
    std::string const id = "m" + std::to_string(i);
    text +=
        source(id + "t", "float_array", 3, 1, mover.times) +
        source(id + "v", "float_array", 3, 1, mover.values) +
        source(id + "i", "float_array", 3, 2, mover.in) + source(id + "o", "float_array", 3, 2, mover.out) +
        source(id + "s", "Name_array", 3, 1, mover.shapes) + "<sampler id='" + id +
        "'><input semantic='INPUT' source='#" + id + "t'/><input semantic='OUTPUT' source='#" + id +
        "v'/><input semantic='IN_TANGENT' source='#" + id + "i'/><input semantic='OUT_TANGENT' source='#" +
        id + "o'/><input semantic='INTERPOLATION' source='#" + id + "s'/></sampler><channel source='#" + id +
        "' target='arm/" + mover.target + "'/>";
  }
  return text + "</animation></library_animations><scene><instance_visual_scene url='#s'/></scene></COLLADA>";
}

/// A Bezier curve of points in time and value: keys with two points between each two.
double bezierAt(std::vector<std::pair<double, double>> const& points, double time) {
  if (time <= points.front().first) return points.front().second;
  std::size_t i = 0;
  while (i + 3 < points.size() && points[i + 3].first <= time) i += 3;
  if (i + 3 >= points.size()) return points.back().second;
  auto const at = [&](auto part, double s) {
    double const t = 1 - s;
    return t * t * t * part(points[i]) + 3 * t * t * s * part(points[i + 1]) +
           3 * t * s * s * part(points[i + 2]) + s * s * s * part(points[i + 3]);
  };
  double low = 0;
  for (double step = 0.5; step > 1e-15; step /= 2)
    low += at([](auto const& p) { return p.first; }, low + step) <= time ? step : 0;
  return at([](auto const& p) { return p.second; }, low);
}

Mover const kLift{"place.Y", "0 1 3", "1 5 -2", "0 0 0.5 6 2.9 0", "0.1 3 1.5 4 0 0"};
double lift(double time) {
  return bezierAt({{0, 1}, {0.1, 3}, {0.5, 6}, {1, 5}, {1.5, 4}, {2.9, 0}, {3, -2}}, time);
}
/// With the times of a cubic of time, where evaluation would find no root.
Mover const kTurn{"turnZ.ANGLE", "0 1.5 3", "0 400 -90", "0 0 1 300 2.5 0", "0.5 10 2 500 0 0"};
double turn(double time) {
  return bezierAt({{0, 0}, {0.5, 10}, {1, 300}, {1.5, 400}, {2, 500}, {2.5, 0}, {3, -90}}, time);
}

TEST(ColladaCurves, HaveTheValuesOfTheFilesTangents) {
  test::TemporaryFolder const folder;
  std::string const path = folder.file("arm.dae");
  test::writeFile(
      path, document("<translate sid='place'>1 2 3</translate><rotate sid='turnZ'>0 0 1 0</rotate>"
                     "<rotate sid='turnX'>1 0 0 200</rotate><scale sid='size'>1 1 1</scale>",
                     {kLift,
                      kTurn,
                      {"size.X", "0 1 2", "1 2 3", "0 0 1.2 -3 0 0", "0.9 6 0 0 0 0", "HERMITE STEP STEP"}}));
  test::PlayedFile const played(path);
  test::expectLike(played.curve("arm.translation.Y"), lift, 0, 3);
  test::expectLike(played.curve("arm.rotation.Z"), turn, 0, 3);
  EXPECT_EQ(played.curve("arm.rotation.X").curve->getControlPoints()[0].y(), 200);
  // The tangents of a Hermite span are three times as long.
  auto const grow = [](double time) { return bezierAt({{0, 1}, {0.3, 3}, {0.6, 3}, {1, 2}}, time); };
  EXPECT_LE(test::differenceOf(played.curve("arm.scale.X"), grow, 0, 1), 2e-5);
  EXPECT_FLOAT_EQ(*knCurves::getValue(played.curve("arm.scale.X").node, 1.5F), 2);
  EXPECT_TRUE(played.model.warnings.empty()) << played.model.warnings[0];
}

TEST(ColladaCurves, AreSampledWhereTheTransformsAreOthers) {
  test::TemporaryFolder const folder;
  std::string const path = folder.file("arm.dae");
  // The place is turned, by a turn that a transform's angles do not have.
  test::writeFile(path, document("<rotate sid='turnX'>1 0 0 90</rotate><rotate sid='turnZ'>0 0 1 0</rotate>"
                                 "<translate sid='place'>0 2 0</translate>",
                                 {kLift, kTurn}));
  test::PlayedFile const played(path);
  test::expectLike(
      played.curve("arm.translation.X"),
      [](double time) { return -lift(time) * std::sin(turn(time) * M_PI / 180); }, 0, 3);
  test::expectLike(
      played.curve("arm.translation.Z"),
      [](double time) { return lift(time) * std::cos(turn(time) * M_PI / 180); }, 0, 3);
}

}  // namespace knanim::ColladaCurvesTest
