#include "knanim/import/ModelImport.h"

#include "knanim/import/ModelReader.h"
#include "knanim/import/ModelTransfer.h"
#include "knanim/support/Interruption.h"
#include "tools/knanim/TestFiles.h"

#include <csignal>

namespace knanim::ModelImportTest {

using test::modelPath;

ModelFile openModel(std::string const& name) {
  auto opened = ModelFile::open(modelPath(name));
  if (auto const* failure = std::get_if<Failure>(&opened)) throw std::runtime_error(failure->message);
  return std::move(std::get<ModelFile>(opened));
}

class RealModels : public ::testing::TestWithParam<char const*> {};

template <typename Value>
std::string bytesOf(Value const& value) {
  TransferWriter out;
  out.put(value);
  return out.takeBytes();
}

TEST_P(RealModels, ArriveFromTheOtherProcessAsTheyWereReadThere) {
  ModelFile const file = openModel(GetParam());
  auto const read = ModelReader::open(modelPath(GetParam()));
  auto const& reader = std::get<ModelReader>(read);
  EXPECT_EQ(bytesOf(file.model()), bytesOf(reader.model()));
  EXPECT_TRUE(bytesOf(std::get<ModelContent>(file.loadContent())) ==
              bytesOf(std::get<ModelContent>(reader.loadContent())));
  auto const model = std::get<ImportedModel>(file.load(0));
  EXPECT_TRUE(bytesOf(model) == bytesOf(std::get<ImportedModel>(reader.load(0))));
  EXPECT_EQ(model.curves.empty(), model.keyCount() == 0);
  EXPECT_EQ(std::get<Failure>(file.load(99)).message, std::get<Failure>(reader.load(99)).message);
  for (ImportedNode const& node : model.nodes) EXPECT_TRUE(node.inTree) << node.name;
}

INSTANTIATE_TEST_SUITE_P(
    ModelImport, RealModels,
    ::testing::Values("BVH/01_01.bvh", "FBX/huesitos.fbx", "LWS/move_x_post_repeat.lws",
                      "glTF2/simple_skin/simple_skin.gltf", "X/Testwuson.X",
                      "glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf"));

TEST(ModelImport, CamerasSeeTheirModelsAndEmptyFilesAreToldOf) {
  test::TemporaryFolder const folder;
  for (char const* const name : {"3DS/CameraRollAnim.3ds", "ASE/CameraRollAnim.ase", "LWS/move_x.lws"}) {
    test::Outcome const outcome = test::run("play " + modelPath(name) + " --image " + folder.file("a.png"));
    EXPECT_EQ(outcome.errors.find("sees nothing"), std::string::npos) << name << outcome.errors;
  }
  test::writeFile(folder.file("a.obj"), "# nothing\nv 0 0 0\nv 1 0 0\n");
  test::writeFile(folder.file("b.gltf"), R"({"asset":{"version":"2.0"},"scenes":[{}],"scene":0})");
  test::expectParts(test::run("info " + folder.file("b.gltf")).errors, {"nothing to see or play"});
}

/// A chain of joints; the importer goes down by a call for each.
TEST(ModelImport, AnImporterThatCrashesIsNoCrashOfTheTool) {
  test::TemporaryFolder const folder;
  std::string const path = folder.file("deep.bvh");
  std::string text = "HIERARCHY\nROOT a\n";
  for (int i = 0; i < 300'000; ++i) text += "{ OFFSET 0 1 0 CHANNELS 0\nJOINT a\n";
  test::writeFile(path, text);
  for (char const* const command : {"play ", "info ", "channels ", "queue "}) {
    test::Outcome const outcome = test::run(command + path);
    EXPECT_EQ(outcome.code, ExitCode::NotAModel) << command;
    test::expectParts(outcome.errors, {"deep.bvh as a model: the importer "});
  }
}

TEST(ModelImport, AnInterruptionEndsTheImport) {
  InterruptionGuard const guard;
  std::raise(SIGINT);
  auto const opened = ModelFile::open(modelPath("X/Testwuson.X"));
  EXPECT_EQ(std::get<Failure>(opened).message, "interrupted");
}

TEST(ModelImport, AFileCannotAskForAllTheMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers end the program when memory is refused";
#endif
  auto const opened = ModelFile::open(modelPath("invalid/OutOfMemory.off"));
  ASSERT_TRUE(std::holds_alternative<Failure>(opened));
  EXPECT_EQ(std::get<Failure>(opened).code, ExitCode::NotAModel);
  EXPECT_TRUE(std::get<Failure>(opened).message.ends_with("it needs too much memory"));
  EXPECT_NO_THROW(std::vector<char>().reserve(std::size_t{3} << 30U)) << "the limit is still there";
}

}  // namespace knanim::ModelImportTest
