#include "knanim/scene/LoadedScene.h"
#include "knanim/scene/SceneReduction.h"
#include "tools/knanim/TestFiles.h"

namespace knanim::ReduceTest {

using Words = std::vector<std::string>;

std::string walk() { return test::modelPath("BVH/01_01.bvh"); }

TEST(Reduce, ACaptureStaysWithinItsTolerances) {
  auto const loaded = LoadedScene::load({walk(), ""}, {});
  LoadedScene const& loadedScene = *std::get<0>(loaded);
  ImportedModel const& model = loadedScene.model();
  double const size = sizeOfFigure(model, loadedScene.content(), loadedScene.scene());
  EXPECT_GT(size, 1);
  Words const rules{"rotation=0.5", "Hips.rotation=0.05", "translation=1%"};
  auto const tolerances = std::get<0>(chooseTolerances(model, rules, size));
  SceneReduction const reduction = reduceScene(loadedScene.scene(), ReductionMethod::Fit, tolerances);
  std::size_t before = 0;
  std::size_t after = 0;
  for (std::size_t i = 0; i < model.curves.size(); ++i) {
    ImportedCurve const& curve = model.curves[i];
    bool const isHips = model.nodes[curve.node].name == "Hips";
    double const expected = curve.kind == ChannelKind::Translation ? size / 100 : isHips ? 0.05 : 0.5;
    EXPECT_DOUBLE_EQ(tolerances[i], curve.kind == ChannelKind::Scale ? 0.001 : expected)
        << model.curveName(curve);
    // The keys of the file are an oracle of their own: between them lie straight lines.
    CurveReader reader(loadedScene.scene(), {&i, 1});
    for (Key const& key : curve.keys) {
      reader.evaluate(key.time);
      ASSERT_LE(std::abs(reader.value(0) - key.value), reduction.curves[i].error + 1e-4)
          << model.curveName(curve);
    }
    EXPECT_LE(reduction.curves[i].error, tolerances[i] + 1e-6);
    before += reduction.curves[i].keysBefore;
    after += reduction.curves[i].keysAfter;
  }
  EXPECT_EQ(before, model.keyCount());
  EXPECT_LT(after, before / 20);
}

TEST(Reduce, PrintsAndDrawsWhatIsLeft) {
  test::TemporaryFolder const folder;
  std::string const picture = folder.file("p.svg");
  auto const run = [](std::string const& options) { return test::run("reduce " + walk() + options); };
  test::expectParts(run(" --channel Hips.translation.Y --plot " + picture).output,
                    {"01_01.bvh\n", " degrees, found ", "\n  channel "});
  EXPECT_EQ(test::readFile(picture).rfind("<?xml", 0), 0U);
  test::expectParts(run(" --points").output, {"points by distance"});
  for (char const* const wrong : {"x", "rotation=-1", "nobody=1", "rotation=1%", "nan"})
    EXPECT_EQ(run(std::string(" --tolerance ") + wrong).code, ExitCode::Usage) << wrong;
}

}  // namespace knanim::ReduceTest
