#include "knanim/editing/NameTables.h"
#include "knanim/editing/Retargeting.h"
#include "knanim/editing/SceneEditing.h"
#include "knanim/import/EulerAngles.h"
#include "tools/knanim/TestFiles.h"

namespace knanim::EditingTest {

double valueAt(AnimatedScene const& scene, ImportedModel const& model, std::string const& name, double time) {
  for (std::size_t i = 0; i < model.curves.size(); ++i) {
    if (model.curveName(model.curves[i]) != name) continue;
    CurveReader reader(scene, {&i, 1});
    reader.evaluate(time);
    return reader.value(0);
  }
  ADD_FAILURE() << "no curve " << name;
  return NAN;
}

TEST(Editing, StepsKeepSharedCurvesAndPlaces) {
  auto const loaded = LoadedScene::load({test::modelPath("BVH/Boxing_Toes.bvh"), ""}, {});
  LoadedScene& scene = *std::get<0>(loaded);
  auto const value = [&scene](std::string const& name, double time) {
    return valueAt(scene.scene(), scene.model(), name, time);
  };
  SceneEditing editing(scene);
  double const elbow = value("LeftElbow.rotation.Z", 5);
  std::size_t const curves = scene.model().curves.size();
  ASSERT_EQ(editing.share("LeftElbow=RightElbow", false).index(), 0U);
  EXPECT_EQ(scene.model().curves.size(), curves);  // what the node had is switched off
  // Both nodes have the one curve, which is written once.
  ASSERT_EQ(editing.scale("*Elbow.rotation=2").index(), 0U);
  EXPECT_NEAR(value("RightElbow.rotation.Z", 5), 2 * elbow, 1e-3);
  EXPECT_NEAR(value("LeftElbow.rotation.Z", 5), 2 * elbow, 1e-3);
  ASSERT_EQ(editing.unshare("RightElbow").index(), 0U);
  ASSERT_EQ(editing.offset("RightElbow.rotation.Z=1").index(), 0U);
  EXPECT_NEAR(value("LeftElbow.rotation.Z", 5), 2 * elbow, 1e-3);
  ASSERT_EQ(editing.shift("0.5").index(), 0U);
  EXPECT_NEAR(value("RightElbow.rotation.Z", 5.5), 2 * elbow + 1, 1e-3);
  ASSERT_EQ(editing.cut("Left*").index(), 0U);
  EXPECT_EQ(scene.model().curves.size(), curves - std::size_t{9} * 8);
  for (char const* const wrong : {"nobody=2", "x", "=", "1e99"})
    EXPECT_EQ(editing.scale(wrong).index(), 1U) << wrong;
  EXPECT_EQ(editing.copy("Hips=Hips", false).index(), 1U);
}

TEST(Editing, ACutTakesShapeCachesToo) {
  std::string const model = "glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf";
  auto const loaded = LoadedScene::load({test::modelPath(model), ""}, {});
  LoadedScene& scene = *std::get<0>(loaded);
  ASSERT_EQ(scene.scene().caches().size(), 1U);
  SceneEditing editing(scene);
  EXPECT_EQ(std::get<EditReport>(editing.cut("Cu?e")).line, "1 animation of 1 node");
  EXPECT_TRUE(scene.scene().caches().empty() && !timeSpan(scene.model()));
  EXPECT_EQ(editing.cut("AnimatedMorphCube").index(), 1U);
}

/// A root that rests turned, and a bone below it.
ImportedModel bone(double length, std::array<double, 3> const& rest, bool isAnimated) {
  ImportedModel model;
  model.summary.animations.emplace_back().name = "turn";
  model.nodes.resize(2);
  model.nodes[0].name = "root";
  model.nodes[1] = {"arm", 0, 1, true, {length, 0, 0}, rest, {1, 1, 1}, {}, {}, {}};
  for (std::uint8_t axis = 0; isAnimated && axis < 3; ++axis) {
    model.curves.push_back(
        {1, ChannelKind::Rotation, axis, {}, {}, {{0, rest[axis]}, {1, 20.0 * axis - 70}}});
    model.curves.push_back(
        {1, ChannelKind::Translation, axis, {}, {}, {{0, axis == 0 ? length : 0}, {1, 3}}});
  }
  std::sort(model.curves.begin(), model.curves.end(), [](auto const& a, auto const& b) {
    return std::tie(a.kind, a.component) < std::tie(b.kind, b.component);
  });
  return model;
}

TEST(Editing, RetargetedCurvesMoveFromTheRestPoseOfTheTarget) {
  ImportedModel const source = bone(2, {10, 20, 30}, true);
  ImportedModel const target = bone(6, {-40, 5, 100}, false);
  AnimatedScene const scene(target);
  SceneGuest const guest(scene, source);
  Retargeting const result = retarget(guest, source, target, {{0, 0}, {1, 1}});
  EXPECT_DOUBLE_EQ(result.sizeRatio, 3);
  EXPECT_EQ(result.turned, 1U);
  CurveReader reader(guest.curves());
  reader.evaluate(0);
  EXPECT_NEAR(reader.value(0), 6, 1e-5);
  EXPECT_NEAR(reader.value(3), -40, 1e-3);
  reader.evaluate(1);
  EXPECT_NEAR(reader.value(1), 9, 1e-5);
  Rotation const own = inverse(toRotation({10, 20, 30})) * toRotation({-70, -50, -30});
  Rotation const turned =
      inverse(toRotation({-40, 5, 100})) * toRotation({reader.value(3), reader.value(4), reader.value(5)});
  EXPECT_LT(angleBetween(own, turned), 1e-3);
}

TEST(Editing, PastesByTablesAndTellsWhatDoesNotFit) {
  test::TemporaryFolder const folder;
  std::string const map = folder.file("map");
  std::string const strip = folder.file("strip.png");
  std::string const walk = test::modelPath("BVH/01_01.bvh");
  std::string const boxer = test::modelPath("BVH/Boxing_Toes.bvh");
  test::writeFile(map, "# legs\n*Knee = *Leg\r\n  LeftWrist=LeftLeg\nChest = Spine\n");
  auto const outcome = test::run("edit " + walk + " --paste " + boxer + " --map " + map +
                                 " --only *Knee --only LeftWrist --only Ab --only Chest --strip " + strip +
                                 " --strip-frames 2");
  EXPECT_EQ(outcome.code, ExitCode::Ok) << outcome.errors;
  test::expectParts(
      outcome.output,
      {"3 of 5 nodes matched, 27 curves", "Ab: no such node",
       "LeftKnee (called LeftLeg in the target): this node already gets the animation of LeftWrist",
       ", 4 frames"});
  EXPECT_EQ(test::readFile(strip).substr(1, 3), "PNG");
  std::string const table = folder.file("table");
  test::writeFile(table, "eulerRotation = scale.X\nnothing = scale\n");
  test::expectParts(
      test::run("edit " + walk + " --rename " + table).output,
      {"93 curves by", "93 curves from \"eulerRotation\" to \"scale.X\"", "no curve is called \"nothing\""});
  test::writeFile(table, "eulerRotation\n");
  EXPECT_EQ(test::run("edit " + walk + " --rename " + table).code, ExitCode::Usage);
  EXPECT_EQ(test::run("edit " + walk + " --rename " + folder.file("none")).code, ExitCode::FileUnreadable);
  EXPECT_EQ(test::run("edit " + walk + " --shift 1 --retarget").code, ExitCode::Usage);
}

}  // namespace knanim::EditingTest
