#include "knanim/saving/SceneSaving.h"
#include "knanim/scene/LoadedScene.h"
#include "tools/knanim/TestFiles.h"

namespace knanim::SceneFilesTest {

using namespace test;

class ToolFiles : public testing::Test {
 protected:
  std::string file(std::string const& name) const { return _folder.file(name); }
  test::Outcome good(std::string const& line) const {
    test::Outcome outcome = run(line);
    EXPECT_EQ(outcome.code, ExitCode::Ok) << line << '\n' << outcome.output << outcome.errors;
    return outcome;
  }

 private:
  test::TemporaryFolder const _folder;
};

TEST_F(ToolFiles, ConvertedModelsAreTheSameModels) {
  for (char const* const name :
       {"glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf", "X/Testwuson.X"}) {
    std::string const model = test::modelPath(name);
    good("queue " + model);
    good("convert " + model + ' ' + file("a.osb"));
    good("convert " + file("a.osb") + ' ' + file("b.json"));
    good("convert " + file("b.json") + ' ' + file("c.osb"));
    good("diff " + model + ' ' + file("b.json"));
    EXPECT_EQ(test::readFile(file("a.osb")), test::readFile(file("c.osb"))) << name;
    good("convert " + file("a.osb") + ' ' + file("a.gltf"));
    std::string const read = good("info " + file("a.gltf")).output;
    EXPECT_EQ(read.find("switched on"), std::string::npos) << read;
    good("play " + model + " --to 0.2 --csv " + file("a.csv"));
    good("play " + file("b.json") + " --to 0.2 --csv " + file("b.csv"));
    EXPECT_EQ(test::readFile(file("a.csv")), test::readFile(file("b.csv"))) << name;
  }
  expectParts(good("queue " + file("a.osb") + ' ' + file("c.osb") + " --range 0:1").output, {"2  c.osb"});
  std::string const both = file("a.osb") + ' ' + test::modelPath("X/Testwuson.X");
  EXPECT_EQ(run("convert " + both).code, ExitCode::Usage);
  test::writeFile(file("broken.osb"), test::readFile(file("a.osb")).substr(0, 5000));
  EXPECT_EQ(run("info " + file("broken.osb")).code, ExitCode::NotAModel);
  EXPECT_EQ(run("info " + file("none.json")).code, ExitCode::FileUnreadable);
}

TEST_F(ToolFiles, WhatIsEditedIsKeptAndToldApart) {
  std::string const boxer = test::modelPath("BVH/Boxing_Toes.bvh");
  good("edit " + boxer + " --scale LeftElbow.rotation.Z=2 --share LeftWrist=RightWrist --out " +
       file("a.osb"));
  auto const outcome = run("diff " + boxer + ' ' + file("a.osb"));
  EXPECT_EQ(outcome.code, ExitCode::Failed);
  expectParts(
      outcome.output,
      {"LeftElbow.eulerRotation.Z     3 069     3 069     3 0", "RightWrist.eulerRotation.Z",
       "added       /Hips/Ab/Chest/RightCollar/RightShoulder/RightElbow/RightWrist [Motion (before)]"});
  EXPECT_EQ(good("get " + file("a.osb") + " RightWrist.rotation.Z --time 2").output,
            good("get " + file("a.osb") + " LeftWrist.rotation.Z --time 2").output);
  good("edit " + file("a.osb") + " --scale LeftElbow.rotation.Z=0.5 --cut RightWrist --out " + file("b.osb"));
  std::string const back = run("diff " + boxer + ' ' + file("b.osb")).output;
  expectParts(
      back,
      {"missing     /Hips/Ab/Chest/RightCollar/RightShoulder/RightElbow/RightWrist [Motion], 9 curves"});
  EXPECT_EQ(back.find("differ"), std::string::npos) << back;
  good("reduce " + boxer + " --out " + file("c.osb"));
  good("diff " + boxer + ' ' + file("c.osb") + " --tolerance 0.18");
  EXPECT_EQ(run("diff " + boxer + ' ' + file("c.osb") + " --tolerance 0.05").code, ExitCode::Failed);
  good("set " + boxer + " LeftToes.scale.Y 3 --out " + file("d.json"));
  EXPECT_EQ(good("get " + file("d.json") + " LeftToes.scale.Y").output, "3\n");
  EXPECT_EQ(run("set " + boxer + " LeftToes.scale.Y 3 --out /proc/none.osb").code,
            ExitCode::OutputUnwritable);
}

TEST_F(ToolFiles, AnimationsOfOneObjectFitOnlyTheirKind) {
  std::string const blend = test::modelPath("BLEND/BlenderDefault_269.blend");
  good("convert " + test::modelPath("BVH/Boxing_Toes.bvh") + ' ' + file("toes.osb") + " --object LeftToes");
  EXPECT_EQ(run("load-onto " + blend + ' ' + file("toes.osb")).code, ExitCode::Usage);
  auto const outcome = good("load-onto " + blend + ' ' + file("toes.osb") +
                            " --object Cube --object Material --out " + file("a.osb"));
  expectParts(
      outcome.output,
      {"1 object of 3 took",
       "/materials/Material: is a PhongMaterial, but the file holds animations of a Transform3D",
       "Cube/Cube: is a Geometry with a PhongMaterial, but the file holds animations of a Transform3D"});
  expectParts(good("info " + file("a.osb")).output, {"Cube"});
  expectParts(good("info " + file("toes.osb")).output, {"Animations"});
  EXPECT_EQ(good("play " + file("toes.osb")).errors, "");
  good("load-onto " + test::modelPath("BVH/01_01.bvh") + ' ' + file("a.osb") + " --map " +
       (test::writeFile(file("m"), "Cube = Hips"), file("m")));
}

TEST_F(ToolFiles, LostObjectsAreToldOnceAlsoWhereNothingPlays) {
  good("convert " + test::modelPath("BLEND/BlenderDefault_269.blend") + ' ' + file("a.json"));
  std::string text = test::readFile(file("a.json"));
  for (std::size_t at = 0; (at = text.find("\"UberLight\"", at)) != std::string::npos;)
    text.replace(at + 1, 4, "Gone");
  test::writeFile(file("b.json"), text);
  std::string const scene = file("b.json");
  for (std::string const& line : {"info " + scene, "info --json " + scene, "channels " + scene,
                                  "play " + scene, "play " + scene + " --image " + file("b.png"),
                                  "queue " + scene, "load-onto " + file("a.json") + ' ' + scene}) {
    std::string const errors = run(line).errors;
    std::size_t const told = errors.find("unknown types, which were passed over: GoneLight");
    EXPECT_TRUE(told != std::string::npos && errors.find("passed over", told + 40) == std::string::npos)
        << line << '\n'
        << errors;
  }
}

TEST_F(ToolFiles, OldXmlFindsTheNodesThatNameIt) {
  {
    auto const loaded = LoadedScene::load({test::modelPath("BLEND/BlenderDefault_269.blend"), ""}, {});
    LoadedScene& scene = *std::get<0>(loaded);
    osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
    attachment->getOldRecordIds().getValues() = {7};
    scene.scene().nodes()[1]->addAttachment(attachment);
    Terminal const quiet{std::tmpfile(), std::tmpfile()};
    ASSERT_FALSE(saveScene(scene, file("old.osb"), {}, quiet));
  }
  test::writeFile(
      file("old.xml"),
      "<a><point id='1'><position>0 5</position></point><point id='2'><position>60 9</position></point>"
      "<curve id='7' name='translationX' active='1'><p id='1'/><p id='2'/></curve></a>");
  expectParts(
      good("convert-xml " + file("old.osb") + ' ' + file("old.xml") + " --fps 30 --out " + file("new.json"))
          .output,
      {"curves      0 before, 1 after"});
  EXPECT_EQ(good("get " + file("new.json") + " Cube.translation.X --time 2").output, "9\n");
  test::writeFile(file("old.xml"), "<a>");
  EXPECT_EQ(run("convert-xml " + file("old.osb") + ' ' + file("old.xml")).code, ExitCode::NotAModel);
}

}  // namespace knanim::SceneFilesTest
