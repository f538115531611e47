#include "knanim/import/ShapeCaches.h"

#include "knanim/import/ModelImport.h"
#include "knanim/import/MorphConversion.h"
#include "knanim/import/SceneConversion.h"
#include "knanim/playing/SkinBaking.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/scene/ClosedSurface.h"
#include "knanim/scene/SceneFigure.h"
#include "knanim/scene/Skinning.h"
#include "tools/knanim/TestFiles.h"

#include <assimp/scene.h>

namespace knanim::ShapeCachesTest {

constexpr double kTicks = 10;  ///< per second

struct Weights {
  double ticks = 0;
  std::vector<unsigned> targets;
  std::vector<double> weights;
};
using Channels = std::vector<std::pair<char const*, std::vector<Weights>>>;
using Vectors = std::vector<aiVector3D>;

template <typename Element>
Element* copyOf(std::vector<Element> const& elements) {
  auto* const result = new Element[elements.size()];
  std::copy(elements.begin(), elements.end(), result);
  return result;
}

/// Nodes "face" and "twin" that show one triangle with two morph targets.
class ShapeCachesTest : public ::testing::Test {
 protected:
  ShapeCachesTest() {
    scene.mRootNode = new aiNode("root");
    for (char const* const name : {"face", "twin"}) {
      aiNode* child = new aiNode(name);
      child->mMeshes = copyOf<unsigned>({0});
      child->mNumMeshes = 1;
      scene.mRootNode->addChildren(1, &child);
    }
    scene.mNumMeshes = 1;
    scene.mMeshes = copyOf<aiMesh*>({&mesh});
    mesh.mName = "skin";
    mesh.mNumVertices = target0.mNumVertices = target1.mNumVertices = 3;
    mesh.mVertices = copyOf(Vectors{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    mesh.mNormals = copyOf(Vectors{{0, 0, 1}, {0, 0, 1}, {0, 0, 1}});
    mesh.mNumAnimMeshes = 2;
    mesh.mAnimMeshes = copyOf<aiAnimMesh*>({&target0, &target1});
    target0.mVertices = copyOf(Vectors{{0, 0, 2}, {1, 0, 0}, {0, 1, 0}});
    target0.mNormals = copyOf(Vectors{{0, 1, 0}, {0, 0, 1}, {0, 0, 1}});
    target1.mVertices = copyOf(Vectors{{4, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    target1.mWeight = 0.25F;
  }

  ImportedModel convert(Channels const& channels) {
    std::vector<aiMeshMorphAnim*> made;
    for (auto const& [name, keys] : channels) {
      made.push_back(new aiMeshMorphAnim);
      made.back()->mName = name;
      made.back()->mNumKeys = static_cast<unsigned>(keys.size());
      made.back()->mKeys = new aiMeshMorphKey[keys.size()];
      for (std::size_t k = 0; k < keys.size(); ++k) {
        aiMeshMorphKey& key = made.back()->mKeys[k];
        key.mTime = keys[k].ticks;
        key.mNumValuesAndWeights = static_cast<unsigned>(keys[k].weights.size());
        key.mValues = copyOf(keys[k].targets);
        key.mWeights = copyOf(keys[k].weights);
      }
    }
    aiAnimation animation;
    animation.mNumMorphMeshChannels = static_cast<unsigned>(made.size());
    animation.mMorphMeshChannels = copyOf(made);
    ImportedModel model = describeScene(scene);
    model.summary.animations.emplace_back();
    convertMorphs(scene, animation, kTicks, model);
    return model;
  }

  aiScene scene;
  // The scene and the mesh delete what they point at.
  aiMesh& mesh = *new aiMesh;
  aiAnimMesh& target0 = *new aiAnimMesh;
  aiAnimMesh& target1 = *new aiAnimMesh;
};

TEST_F(ShapeCachesTest, TheGeometryTakesTheWeightedTargetsAtAndBetweenKeys) {
  mesh.mVertices[2] = {NAN, 1, 0};  // becomes the origin, which no target moves
  for (bool const areOffsets : {false, true}) {
    if (areOffsets) mesh.mMethod = aiMorphingMethod_MORPH_RELATIVE;
    ImportedModel const model = convert({{"face", {{0, {0, 1}, {0, 0}}, {10, {0, 1}, {1, 0.5}}}}});
    ASSERT_EQ(timeSpan(model)->end, 1);
    AnimatedScene const shown(model, readContent(scene, model));
    ASSERT_EQ(shown.caches().size(), 1U);
    Playback playback({100, 0, 100});
    for (float const way : {0.F, 0.25F, 0.8F, 1.F}) {
      playback.show(100.0 * way);
      auto const places = positionsAt(shown.meshes()[0].node);
      auto const normals = normalsAt(shown.meshes()[0].node);
      EXPECT_LT(osg::length(places[0] - osg::Pnt3f(2, 0, 2) * way), 1e-6F) << way;
      EXPECT_NEAR(places[1].x(), areOffsets ? 1 + 1.5F * way : 1, 1e-6F) << way;
      EXPECT_EQ(places[2], osg::Pnt3f()) << way;
      EXPECT_LT(osg::length(normals[0] - osg::Vec3f(0, way, areOffsets ? 1 : 1 - way)), 1e-6F) << way;
      EXPECT_EQ(positionsAt(shown.meshes()[1].node)[0], osg::Pnt3f()) << "the other node does not morph";
    }
  }
}

TEST_F(ShapeCachesTest, ChannelsFindTheirMeshesByTheNamesThatFormatsGive) {
  std::vector<Weights> const keys = {{0, {0}, {1}}, {10, {0}, {0}}};
  struct Case {
    Channels channels;
    std::vector<std::size_t> nodes;
    std::size_t warnings;
  };
  for (Case const& each : {Case{{{"face", keys}}, {1}, 0},
                           {{{"twin*0", keys}}, {2}, 0},
                           {{{"skin", keys}}, {1, 2}, 0},
                           {{{"skin*0", keys}, {"skin*1", keys}}, {1, 2}, 0},
                           {{{"skin", keys}, {"face", keys}}, {1, 2}, 1},
                           {{{"face*0", keys}, {"face*1", keys}}, {1}, 1},
                           {{{"mask", keys}, {"face*", keys}, {"", keys}}, {}, 3}}) {
    ImportedModel const model = convert(each.channels);
    std::vector<std::size_t> nodes;
    for (ImportedMorph const& morph : model.morphs) nodes.push_back(morph.node);
    EXPECT_EQ(nodes, each.nodes) << each.channels.back().first;
    EXPECT_EQ(model.warnings.size(), each.warnings) << each.channels.back().first;
  }
}

TEST_F(ShapeCachesTest, DamagedChannelsAreRepairedOrLeftOut) {
  struct Case {
    std::vector<Weights> keys;
    std::vector<std::vector<float>> expected;  ///< time and weights of each key
    char const* warning;
  };
  for (Case const& each : {
           Case{{}, {}, "no keys are left"},
           {{{0, {0}, {NAN}}, {NAN, {0}, {1}}}, {}, "no keys are left"},
           {{{0, {0}, {1e300}}, {5, {0}, {1}}}, {{0.5F, 1, 0.25F}}, "dropped 1 of 2 keys"},
           {{{20, {0}, {2}}, {0, {0}, {0}}, {10, {0}, {7}}, {10, {0}, {1}}},
            {{0, 0, 0.25F}, {1, 1, 0.25F}, {2, 2, 0.25F}},
            "by time; of keys at the same time only the last is kept, 1 dropped"},
           {{{0, {0, 2, 4'000'000'000U}, {1, NAN, 1}}}, {{0, 1, 0.25F}}, "2 weights of targets"},
           {{{0, {0}, {0}}, {5, {1}, {1}}, {10, {0}, {1}}}, {{0, 0, 1}, {0.5F, 0.5F, 1}, {1, 1, 1}}, ""},
       }) {
    ImportedModel const model = convert({{"face", each.keys}});
    std::vector<std::vector<float>> found;
    for (WeightKey const& key : model.morphs.empty() ? std::vector<WeightKey>() : model.morphs[0].keys) {
      found.push_back(key.weights);
      found.back().insert(found.back().begin(), static_cast<float>(key.time));
    }
    EXPECT_EQ(found, each.expected) << each.warning;
    std::string const warning = model.warnings.empty() ? "" : model.warnings[0];
    EXPECT_NE(warning.find(each.warning), std::string::npos) << warning;
    EXPECT_EQ(warning.empty(), *each.warning == '\0') << warning;
    EXPECT_EQ(timeSpan(model).has_value(), !each.expected.empty());
  }
}

struct Loaded {
  explicit Loaded(std::string const& name)
      : file(std::get<ModelFile>(ModelFile::open(test::modelPath(name)))),
        model(std::get<ImportedModel>(file.load(0))),
        content(std::get<ModelContent>(file.loadContent())) {}
  ModelFile file;
  ImportedModel model;
  ModelContent content;
};

TEST(ClosedSurface, IsOneThatEveryEdgeHasTwoFacesOf) {
  Loaded const cube("glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf");
  ImportedMesh solid = cube.content.meshes[0];
  EXPECT_TRUE(isClosed(solid));
  EXPECT_NEAR(signedVolume(solid, solid.positions), 6 * 0.02 * 0.02 * 0.02, 1e-9);
  solid.faceSizes.pop_back();
  EXPECT_FALSE(isClosed(solid));
}

TEST(SkinBaking, ABakedSkinStandsWhereTheBonesPlaceIt) {
  for (char const* const name : {"X/Testwuson.X", "FBX/huesitos.fbx", "glTF2/simple_skin/simple_skin.gltf"}) {
    Loaded const loaded(name);
    AnimatedScene scene(loaded.model, loaded.content);
    FrameRange const frames{24, 2, 14};
    Playback playback(frames);
    SceneFigure const figure(loaded.model, loaded.content, scene);
    std::vector<Pose> direct;
    for (long long frame = frames.first; frame <= frames.last; ++frame) {
      playback.show(static_cast<double>(frame));
      direct.push_back(figure.capture());
    }
    ASSERT_FALSE(bakeSkins(loaded.model, loaded.content, scene, frames, playback, {})) << name;
    EXPECT_EQ(scene.countShapes().baked, scene.meshes().size()) << name;
    EXPECT_EQ(scene.countShapes().shapes, scene.meshes().size() * frames.count()) << name;
    osg::BoxVolume box;
    for (osg::Pnt3f const& point : direct[0].meshes[0]) box.extendBy(point);
    osg::Pnt3f low, high;
    box.getBounds(low, high);
    float const most = 1e-5F * osg::length(high - low);
    for (std::size_t i = direct.size(); i-- > 0;) {
      playback.show(static_cast<double>(i) + 2);
      Pose const baked = figure.capture();
      float farthest = 0;
      for (std::size_t m = 0; m < baked.meshes.size(); ++m) {
        for (std::size_t v = 0; v < baked.meshes[m].size(); ++v)
          farthest = std::max(farthest, osg::length(baked.meshes[m][v] - direct[i].meshes[m][v]));
      }
      EXPECT_LE(farthest, most) << name << " at frame " << i + 2;
    }
    for (osg::Vec3f const& normal : normalsAt(scene.meshes()[0].node))
      ASSERT_NEAR(osg::length(normal), 1, 1e-4) << name;
  }
}

TEST(Skinning, NormalsStandUprightOnWhatBonesStretch) {
  ImportedMesh mesh;
  mesh.positions.resize(2);
  mesh.bones = {{0, {}, {{0, 1}}}};
  osg::Matrix const turned = osg::Matrix::rotationEuler({0, 0, 90}) * osg::Matrix::scale({2, 1, 1});
  Skinning const skinning(mesh, std::span(&turned, 1), {});
  std::vector<osg::Vec3f> const normals = {{1, 1, 0}, {0, 3, 0}};
  float const root = std::sqrt(5.F);
  EXPECT_LT(osg::length(skinning.moveNormals(normals)[0] - osg::Vec3f(-2 / root, 1 / root, 0)), 1e-6F);
  EXPECT_EQ(skinning.moveNormals(normals)[1], osg::Vec3f(0, 1, 0)) << "a vertex without a bone";
}

}  // namespace knanim::ShapeCachesTest
