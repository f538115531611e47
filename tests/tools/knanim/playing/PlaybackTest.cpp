#include "knanim/playing/Playback.h"

#include "knanim/import/ModelReader.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/scene/SceneFigure.h"
#include "tools/knanim/TestFiles.h"

#include <assimp/scene.h>

namespace knanim::PlaybackTest {

struct LoadedModel {
  ModelReader file;
  ImportedModel model;
  ModelContent content;
};

LoadedModel load(std::string const& name) {
  auto file = std::get<ModelReader>(ModelReader::open(test::modelPath(name)));
  auto model = std::get<ImportedModel>(file.load(0));
  auto content = std::get<ModelContent>(file.loadContent());
  return {std::move(file), std::move(model), std::move(content)};
}

/// The key that holds at a whole tick.
template <typename Key>
auto const& keyAt(Key const* keys, unsigned count, double tick) {
  unsigned i = 0;
  while (i + 1 < count && keys[i + 1].mTime <= tick) ++i;
  return keys[i].mValue;
}

/// The places of all nodes at a tick at which every channel that moves has a key, from the model alone.
class ModelPose {
 public:
  ModelPose(aiScene const& scene, double tick) : _tick(tick) {
    aiAnimation const& animation = *scene.mAnimations[0];
    for (unsigned i = 0; i < animation.mNumChannels; ++i)
      _channels[animation.mChannels[i]->mNodeName.C_Str()] = animation.mChannels[i];
    place(*scene.mRootNode, aiMatrix4x4());
  }
  std::vector<aiMatrix4x4> worlds;  ///< depth first

 private:
  void place(aiNode const& node, aiMatrix4x4 const& parent) {
    aiMatrix4x4 local = node.mTransformation;
    if (auto const found = _channels.find(node.mName.C_Str()); found != _channels.end()) {
      aiNodeAnim const& channel = *found->second;
      local = aiMatrix4x4(keyAt(channel.mScalingKeys, channel.mNumScalingKeys, _tick),
                          keyAt(channel.mRotationKeys, channel.mNumRotationKeys, _tick),
                          keyAt(channel.mPositionKeys, channel.mNumPositionKeys, _tick));
    }
    worlds.push_back(parent * local);
    aiMatrix4x4 const world = worlds.back();
    for (unsigned i = 0; i < node.mNumChildren; ++i) place(*node.mChildren[i], world);
  }

  double _tick;
  std::map<std::string, aiNodeAnim const*> _channels;
};

struct Capture {
  char const* name;
  double ticksPerSecond;
  long long last;
};

TEST(Playback, JointsStandWhereTheModelHasThem) {
  for (Capture const& capture : {Capture{"BVH/Boxing_Toes.bvh", 100, 3068},
                                 Capture{"BVH/01_01.bvh", 120, 2751}, Capture{"BVH/01_03.bvh", 120, 4510}}) {
    LoadedModel const loaded = load(capture.name);
    AnimatedScene const scene(loaded.model, loaded.content);
    Playback playback({capture.ticksPerSecond, 0, capture.last});
    for (long long const frame : {0LL, 1LL, 37LL, 500LL, 1717LL, capture.last}) {
      if (frame > capture.last) continue;
      playback.show(static_cast<double>(frame));
      ModelPose const pose(loaded.file.scene(), static_cast<double>(frame));
      ASSERT_EQ(pose.worlds.size(), scene.nodes().size());
      double size = 0;
      for (aiMatrix4x4 const& world : pose.worlds)
        size = std::max<double>(size, aiVector3D(world.a4 - pose.worlds[0].a4, world.b4 - pose.worlds[0].b4,
                                                 world.c4 - pose.worlds[0].c4)
                                          .Length());
      ASSERT_GT(size, 0);
      for (std::size_t i = 0; i < pose.worlds.size(); ++i) {
        osg::Matrix const found = scene.nodes()[i]->getToWorld();
        aiMatrix4x4 const& expected = pose.worlds[i];
        std::string const where = loaded.model.nodes[i].name + " at frame " + std::to_string(frame);
        EXPECT_NEAR(found(0, 3), expected.a4, 1e-4 * size) << where;
        EXPECT_NEAR(found(1, 3), expected.b4, 1e-4 * size) << where;
        EXPECT_NEAR(found(2, 3), expected.c4, 1e-4 * size) << where;
      }
    }
  }
}

TEST(SceneFigure, VerticesFollowTheirBones) {
  ImportedModel model;
  model.nodes.resize(2);
  model.nodes[0].name = "root";
  model.nodes[1].name = "bone";
  model.nodes[1].parent = 0;
  model.nodes[1].translation = {0, 1, 0};
  model.curves.resize(1);
  model.curves[0] = {1,        ChannelKind::Rotation, 2, Extrapolation::Constant, Extrapolation::Constant,
                     {{0, 90}}};
  ModelContent content;
  content.materials.resize(1);
  content.meshesOfNodes = {{0}, {}};
  ImportedMesh& mesh = content.meshes.emplace_back();
  mesh.positions = {{0, 2, 0}, {0, 0.5, 0}, {0, 2, 0}};
  mesh.indices = {0, 1, 2};
  mesh.faceSizes = {3};
  mesh.bones = {{1, osg::Matrix::translation({0, -1, 0}), {{0, 1}, {2, 0.25F}}}, {0, {}, {{2, 0.25F}}}};

  AnimatedScene const scene(model, content);
  SceneFigure const figure(model, content, scene);
  ASSERT_TRUE(figure.hasMeshes());
  EXPECT_EQ(figure.capture().meshes[0][0], osg::Pnt3f(0, 2, 0)) << "at rest nothing moves";
  Playback playback({30, 0, 1});
  playback.play(0);
  playback.play(1);
  EXPECT_EQ(playback.record().mostAnnouncements, playback.record().announcements)
      << "all with the first frame";
  std::vector<osg::Pnt3f> const places = figure.capture().meshes[0];
  std::vector<osg::Pnt3f> const expected = {{-1, 1, 0}, {0, 0.5, 0}, {-0.5, 1.5, 0}};
  for (std::size_t i = 0; i < 3; ++i) EXPECT_LT(osg::length(places[i] - expected[i]), 1e-6F) << i;
}

}  // namespace knanim::PlaybackTest
