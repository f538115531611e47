#include "knanim/scene/ChannelPath.h"
#include "knanim/scene/LoadedScene.h"
#include "tools/knanim/TestFiles.h"

namespace knanim::ChannelsTest {

using Words = std::vector<std::string>;
using namespace test;

/// As test::run, with MODEL for a path; all that is printed, failures among it.
std::string run(std::string line, std::string const& model, ExitCode expected = ExitCode::Ok) {
  for (std::size_t at = 0; (at = line.find("MODEL")) < line.size();) line.replace(at, 5, model);
  test::Outcome const outcome = test::run(line);
  EXPECT_EQ(outcome.code, expected) << line;
  return outcome.output + outcome.errors;
}

std::string studio() { return test::modelPath("BLEND/BlenderDefault_269.blend"); }

/// Two keys, at 0 s and 0.5 s, on nodes whose names hold points and end like fields.
std::string writeDottedModel(TemporaryFolder const& folder) {
  std::string const path = folder.file("dotted.bvh");
  std::string const turns = " Zrotation Yrotation Xrotation\n";
  std::string const head = " OFFSET 7 8 9 CHANNELS 6 Xposition Yposition Zposition" + turns;
  test::writeFile(path, "HIERARCHY\nROOT Hips\n{" + head + "JOINT Hips.left\n{" + head +
                            "JOINT Hips.translation\n{ OFFSET 7 8 9 CHANNELS 3" + turns +
                            "End Site\n{ OFFSET 0 1 0 }\n}\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.5\n"
                            "1 2 3 0 0 0 11 12 13 0 0 0 0 0 0\n4 5.1 6 0 0 0 14 15 16 0 0 0 0 0 30\n");
  return path;
}

TEST(Channels, EveryListedChannelIsFoundByItsPath) {
  auto const loaded = LoadedScene::load({studio(), ""}, {});
  SceneObjects const objects(std::get<0>(loaded)->scene());
  std::size_t nonzero = 0;
  for (SceneObject const& object : objects.all()) {
    for (auto const& channel : object.channels) {
      auto const it = std::get<FoundChannel>(findChannel(objects, object.path + '.' + channelLabel(channel)));
      EXPECT_EQ(it.object, &object);
      EXPECT_EQ(it.read(), knAnimManager::the()->getOSGFieldValue(channel)) << it.label();
      nonzero += it.read() != 0 ? 1U : 0U;
    }
  }
  EXPECT_GT(nonzero, 80U) << "most channels read as 0";
}

TEST(Channels, PathsOfDeepModelsAreCut) {
  ImportedModel model;  // each node below the one before
  for (std::size_t i = 0; i < 3000; ++i) {
    ImportedNode& node = model.nodes.emplace_back();
    node.name = "joint" + std::to_string(i);
    if (i > 0) node.parent = i - 1;
    node.depth = i;
  }
  AnimatedScene const scene(model);
  SceneObjects const objects(scene);
  for (SceneObject const& object : objects.all()) {
    ASSERT_LE(object.path.size(), 1000U);
    ASSERT_TRUE(object.path.ends_with('/' + object.name));
  }
  SceneObject const& last = objects.all().back();
  EXPECT_TRUE(last.path.starts_with(".../joint")) << last.path;
  EXPECT_GT(last.path.size(), 980U);
  EXPECT_EQ(objects.find(last.path), (std::vector<SceneObject const*>{&last}));
  EXPECT_EQ(objects.find("joint2998/joint2999"), (std::vector<SceneObject const*>{&last}));
}

TEST(Channels, GetPrintsTheValueAlone) {
  TemporaryFolder const folder;
  std::string const dotted = writeDottedModel(folder);
  std::vector<Words> const cases = {
      {dotted, "Hips.translation.Y --frame 1 --fps 2", "5.1\n"},
      {dotted, "Hips.translation.Y --time 0.25", "3.55\n"},
      {dotted, "Hips.left.translation.Z", "9\n"},  // as in the file, before any frame
      {dotted, "Hips.translation.translation.X", "7\n"},
      {dotted, "Hips.left/Hips.translation.eulerRotation.X --time 0.5", "30\n"},
      {studio(), "Lamp/Lamp/Lamp.visible", "1\n"},
  };
  for (Words const& each : cases) EXPECT_EQ(run("get MODEL " + each[1], each[0]), each[2]) << each[1];
}

TEST(Channels, SetTellsWhatItDid) {
  TemporaryFolder const folder;
  std::string const path = writeDottedModel(folder);
  std::string const bytes = test::readFile(path);
  expectParts(run("set MODEL Hips.translation.Y -3 --time 0.5 --image " + folder.file("a.svg"), path),
              {"dotted.bvh at 0.5 s\n", "before      5.1\n", "after       -3\n", "a.svg\n"});
  EXPECT_EQ(test::readFile(path), bytes);
}

TEST(Channels, WhyTellsWhatMovesAndWhatDoesNot) {
  TemporaryFolder const folder;
  std::string const dotted = writeDottedModel(folder);
  expectParts(run("why MODEL Hips.translation.Y", dotted),
              {"value       8\n", "moved by    2 keys from 0 to 0.5 s, values from 2 to 5.1\n"});
  expectParts(run("why MODEL Hips.left.rotation.X", dotted),
              {"why         curve 'rotation.X' of 'Hips.left' ", "has one value at all keys\n"});
  expectParts(run("why MODEL Cube/Cube.visible", studio()), {"why         no curve writes to it\n"});
  expectParts(run("why MODEL", studio()), {"nothing in the scene has an animation\n"});
}

TEST(Channels, EveryRefusalSaysWhy) {
  std::vector<std::pair<std::string, std::string>> const cases = {
      {"channels MODEL camra", "no node or material \"camra\" is in this model; did you mean \"Camera\"?"},
      {"get MODEL Cub.scale.X",
       "\"Cub.scale.X\" does not begin with a node or material of this model; did you mean \"Cube\"?\n"},
      {"get MODEL Material.diffuseColor", "\"diffuseColor\" needs a component: diffuseColor.R, diffuse"},
      {"get MODEL Lamp.scale.X", "2 channels match. Give a longer path:\n  /<BlenderRoot>/Lamp.scale.X  (Tr"},
      {"set MODEL Camera.fov nan", "finite, not \"nan\""},
  };
  for (auto const& [line, says] : cases) {
    std::string const text = run(line, studio(), ExitCode::Usage);
    EXPECT_TRUE(text.starts_with("knanim: ")) << text;
    expectParts(text, {says});
  }
  run("get MODEL Camera.fov --time 1", studio(), ExitCode::NoAnimation);
  run("channels MODEL --csv /dev/full", studio(), ExitCode::OutputUnwritable);
}

}  // namespace knanim::ChannelsTest
