#include "knanim/commands/Commands.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/scene/SceneReduction.h"
#include "tools/knanim/TestFiles.h"

#include <cmath>
#include <sstream>

namespace knanim {
namespace {

using Words = std::vector<std::string>;

std::string walk() { return test::modelPath("BVH/01_01.bvh"); }

std::string run(Words words, ExitCode expected = ExitCode::Ok) {
  words.insert(words.begin(), {"knanim", "reduce"});
  std::vector<char const*> pointers;
  for (std::string const& word : words) pointers.push_back(word.c_str());
  std::FILE* const file = std::tmpfile();
  EXPECT_EQ(runCommandLine(static_cast<int>(pointers.size()), pointers.data(), {file, file}), expected);
  std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
  std::fclose(file);
  return text;
}

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
  std::string const text = run({walk(), "--plot", picture, "--channel", "Hips.translation.Y"});
  for (char const* part : {"01_01.bvh\n", "rotation", " degrees, found ", "\n  channel ", "and "})
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
  EXPECT_EQ(test::readFile(picture).rfind("<?xml", 0), 0U);
  EXPECT_NE(run({walk(), "--points"}).find("points by distance"), std::string::npos);
  std::vector<Words> const wrong = {{"--tolerance", "x"},
                                    {"--tolerance", "rotation=-1"},
                                    {"--tolerance", "nobody=1"},
                                    {"--tolerance", "rotation=1%"},
                                    {"--tolerance", "nan"},
                                    {"--plot", folder.file("p.jpg")},
                                    {"--plot", picture, "--channel", "nobody"}};
  for (Words words : wrong) {
    words.insert(words.begin(), walk());
    run(words, ExitCode::Usage);
  }
  run({test::modelPath("BLEND/BlenderDefault_269.blend")}, ExitCode::NoAnimation);
}

}  // namespace
}  // namespace knanim
