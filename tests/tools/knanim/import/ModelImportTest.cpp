#include "knanim/import/ModelImport.h"

#include "knanim/import/EulerAngles.h"
#include "tools/knanim/TestFiles.h"

#include <assimp/scene.h>
#include <cmath>
#include <gtest/gtest.h>

namespace knanim {
namespace {

using test::modelPath;

ModelFile openModel(std::string const& name) {
  auto opened = ModelFile::open(modelPath(name));
  if (auto const* failure = std::get_if<Failure>(&opened)) throw std::runtime_error(failure->message);
  return std::move(std::get<ModelFile>(opened));
}

/// The three curves of a channel of a node, null where there are none.
std::array<ImportedCurve const*, 3> findCurves(ImportedModel const& model, std::string const& node,
                                               ChannelKind kind) {
  std::array<ImportedCurve const*, 3> found = {};
  for (ImportedCurve const& curve : model.curves) {
    if (model.nodes[curve.node].name == node && curve.kind == kind) found[curve.component] = &curve;
  }
  return found;
}

double seconds(double ticks, aiAnimation const& animation) {
  return ticks / (animation.mTicksPerSecond > 0 ? animation.mTicksPerSecond : 25);
}

void expectVectors(std::array<ImportedCurve const*, 3> const& curves, aiVectorKey const* keys, unsigned count,
                   aiAnimation const& animation) {
  for (unsigned c = 0; c < 3; ++c) {
    ASSERT_NE(curves[c], nullptr);
    ASSERT_EQ(curves[c]->keys.size(), count);
    for (unsigned i = 0; i < count; ++i) {
      double const value = keys[i].mValue[c];
      ASSERT_NEAR(curves[c]->keys[i].value, value, std::abs(value) * 1e-5);
      ASSERT_NEAR(curves[c]->keys[i].time, seconds(keys[i].mTime, animation), 1e-9);
    }
  }
}

/// Compares what the angles do to the axes with what the quaternion does to them.
void expectRotations(std::array<ImportedCurve const*, 3> const& curves, aiQuatKey const* keys,
                     unsigned count) {
  for (auto const* curve : curves) {
    ASSERT_NE(curve, nullptr);
    ASSERT_EQ(curve->keys.size(), count);
  }
  for (unsigned i = 0; i < count; ++i) {
    Matrix3 const turned =
        toMatrix(EulerDegrees{curves[0]->keys[i].value, curves[1]->keys[i].value, curves[2]->keys[i].value});
    aiQuaternion exact = keys[i].mValue;
    aiMatrix3x3 const expected = exact.Normalize().GetMatrix();
    for (unsigned row = 0; row < 3; ++row) {
      // A thousandth of a degree, and the rounding of a matrix in single precision.
      for (unsigned column = 0; column < 3; ++column)
        ASSERT_NEAR(turned[row][column], expected[row][column], 1.8e-5);
    }
    if (i == 0) continue;
    for (auto const* curve : curves)
      ASSERT_LE(std::abs(curve->keys[i].value - curve->keys[i - 1].value), 180.001);
  }
}

class RealModels : public ::testing::TestWithParam<char const*> {};

TEST_P(RealModels, EveryKeyArrivesAsTheFileHasIt) {
  ModelFile const file = openModel(GetParam());
  auto const loaded = file.load(0);
  ASSERT_TRUE(std::holds_alternative<ImportedModel>(loaded)) << std::get<Failure>(loaded).message;
  auto const& model = std::get<ImportedModel>(loaded);
  EXPECT_TRUE(model.warnings.empty()) << model.warnings[0];
  aiAnimation const& animation = *file.scene().mAnimations[0];
  ASSERT_GT(animation.mNumChannels, 0U);
  for (unsigned i = 0; i < animation.mNumChannels; ++i) {
    aiNodeAnim const& channel = *animation.mChannels[i];
    std::string const node = channel.mNodeName.C_Str();
    SCOPED_TRACE(node);
    expectVectors(findCurves(model, node, ChannelKind::Translation), channel.mPositionKeys,
                  channel.mNumPositionKeys, animation);
    expectRotations(findCurves(model, node, ChannelKind::Rotation), channel.mRotationKeys,
                    channel.mNumRotationKeys);
    expectVectors(findCurves(model, node, ChannelKind::Scale), channel.mScalingKeys, channel.mNumScalingKeys,
                  animation);
    if (HasFatalFailure()) return;
  }
  for (ImportedNode const& node : model.nodes) EXPECT_TRUE(node.inTree) << node.name;
}

INSTANTIATE_TEST_SUITE_P(ModelImport, RealModels,
                         ::testing::Values("BVH/Boxing_Toes.bvh", "BVH/01_01.bvh", "FBX/huesitos.fbx",
                                           "FBX/animation_with_skeleton.fbx", "LWS/move_xz_hermite.lws",
                                           "LWS/move_x_post_repeat.lws", "glTF2/simple_skin/simple_skin.gltf",
                                           "Collada/box_nested_animation.dae", "X/Testwuson.X",
                                           "Collada/anims_with_full_rotations_between_keys.DAE",
                                           "3DS/RotatingCube.3DS"));

TEST(ModelImport, ABrokenOrderIsRepairedAndNamed) {
  auto const loaded = openModel("LWS/move_y_pre_ofrep_post_osc.lws").load(0);
  auto const& model = std::get<ImportedModel>(loaded);
  ASSERT_EQ(model.warnings.size(), 1U);
  EXPECT_TRUE(model.warnings[0].starts_with("Pivot:simple_cube_(10000000).translation: put 4 keys"));
  for (ImportedCurve const& curve : model.curves) {
    for (std::size_t i = 1; i < curve.keys.size(); ++i) ASSERT_LT(curve.keys[i - 1].time, curve.keys[i].time);
  }
}

TEST(ModelImport, SummaryTellsWhatIsInTheFile) {
  ModelFile const file = openModel("FBX/animation_with_skeleton.fbx");
  ModelSummary const& summary = file.model().summary;
  EXPECT_EQ(summary.importer, "Autodesk FBX Importer");
  EXPECT_EQ(summary.meshes, 1U);
  EXPECT_EQ(summary.vertices, file.scene().mMeshes[0]->mNumVertices);
  EXPECT_EQ(summary.bones, 14U);
  EXPECT_EQ(summary.fileBytes, std::filesystem::file_size(modelPath("FBX/animation_with_skeleton.fbx")));
  ASSERT_EQ(summary.animations.size(), 1U);
  EXPECT_EQ(summary.animations[0].name, "Armature|ArmatureAction");
  EXPECT_NEAR(summary.animations[0].durationSeconds, 20.0 / 24, 1e-6);
  // A file of motion alone: its skeleton is not passed off as a mesh.
  EXPECT_EQ(openModel("BVH/Boxing_Toes.bvh").model().summary.meshes, 0U);
  EXPECT_EQ(openModel("glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf")
                .model()
                .summary.animations[0]
                .morphChannels,
            1U);
}

TEST(ModelImport, AFileCannotAskForAllTheMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers end the program when memory is refused";
#endif
  auto const opened = ModelFile::open(modelPath("invalid/OutOfMemory.off"));
  ASSERT_TRUE(std::holds_alternative<Failure>(opened));
  EXPECT_EQ(std::get<Failure>(opened).code, ExitCode::NotAModel);
  EXPECT_TRUE(std::get<Failure>(opened).message.ends_with("it asks for too much memory"));
  EXPECT_NO_THROW(std::vector<char>().reserve(std::size_t{3} << 30U)) << "the limit is still there";
}

TEST(ModelImport, AnAnimationIsFoundByNumberOrName) {
  ModelFile const file = openModel("X/Testwuson.X");
  auto const find = [&](char const* choice) {
    auto const found = file.findAnimation(choice);
    return std::holds_alternative<std::size_t>(found) ? static_cast<int>(std::get<std::size_t>(found)) : -1;
  };
  EXPECT_EQ(find(""), 0);
  EXPECT_EQ(find("1"), 0);
  EXPECT_EQ(find("3"), 2);
  EXPECT_EQ(find("Wuson_Walk"), 1);
  for (char const* const wrong : {"0", "4", "-1", "2x", "wuson_walk", "99999999999999999999999"}) {
    EXPECT_EQ(find(wrong), -1) << wrong;
  }
  auto const failure = std::get<Failure>(file.findAnimation("Dance"));
  EXPECT_EQ(failure.code, ExitCode::Usage);
  EXPECT_NE(failure.message.find("2 \"Wuson_Walk\""), std::string::npos) << failure.message;
}

}  // namespace
}  // namespace knanim
