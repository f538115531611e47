#include "knanim/saving/GltfExport.h"
#include "knanim/saving/GltfTracks.h"
#include "knanim/scene/AnimatedScene.h"
#include "tools/knanim/GltfSampler.h"
#include "tools/knanim/TestFiles.h"

#include <tiny_gltf.h>

namespace knanim::GltfExportTest {

using Values = std::vector<double>;

constexpr std::array<char const*, 3> kNames = {"STEP", "LINEAR", "CUBICSPLINE"};

/// Held, straight, cubic and bent stretches on one node.
ImportedModel mixedModel(std::vector<BezierKey> const& x, std::vector<BezierKey> const& y, bool isStraight) {
  ImportedModel model;
  model.summary.animations.emplace_back().name = "mixed";
  model.nodes.resize(1);
  model.nodes[0].name = "node";
  for (std::uint8_t component = 0; component < 2; ++component) {
    std::vector<BezierKey> const& keys = component == 0 ? x : y;
    for (ChannelKind const kind : {ChannelKind::Translation, ChannelKind::Rotation}) {
      ImportedCurve curve{0, kind, component, {}, {}, {{0, 0}}};
      curve.form = {keys, isStraight, 0, 0, 0.25F, 2, 0};
      model.curves.push_back(curve);
    }
  }
  return model;
}

TEST(GltfExport, TracksPlayAsTheCurvesDo) {
  float const third = 1.F / 3;
  std::vector<BezierKey> const cubic = {
      {0, 1, {}, {third, 4}, 2, 2}, {1, 3, {-third, 2}, {third, 2}, 2, 2}, {2, -70, {-third, 1}, {}, 2, 2}};
  std::vector<BezierKey> const bent = {{0.5F, 1, {}, {0.5F, 4}, 2, 2}, {2, 60, {-0.6F, 2}, {}, 2, 2}};
  std::vector<BezierKey> const held = {{0, 1, {}, {}, 0, 0}, {1, 9, {}, {}, 0, 0}, {2, -80, {}, {}, 0, 0}};
  struct Case {
    std::vector<BezierKey> x, y;
    bool isStraight;
    std::string expected;
    bool isSampled;
  };
  std::vector<Case> const cases = {{cubic, cubic, false, "CUBICSPLINE", false},
                                   {held, held, false, "STEP", false},
                                   {held, bent, true, "LINEAR", false},
                                   {bent, cubic, false, "LINEAR", true},
                                   {held, bent, false, "LINEAR", true}};
  for (Case const& each : cases) {
    AnimatedScene const scene(mixedModel(each.x, each.y, each.isStraight));
    std::vector<HungCurve> const curves = findCurves(scene.nodes()).curves;
    std::vector<GltfTrack> const tracks = makeTracks(curves, {});
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_EQ(kNames[static_cast<std::size_t>(tracks[0].interpolation)], each.expected);
    EXPECT_EQ(tracks[0].isSampled, each.isSampled);
    for (double time = 0; time < 4.6; time += 0.0137) {
      knAnimManager::the()->setCurrentTime(time, true, false);
      auto const& transform = *osg::dcastTo<osg::Transform3D>(scene.nodes()[0]->getCore());
      Values const place = test::play(tracks[0].times, tracks[0].values,
                                      kNames[static_cast<std::size_t>(tracks[0].interpolation)], time);
      for (osg::UInt32 i = 0; i < 3; ++i)
        ASSERT_NEAR(place[i], transform.getTranslation()[i], each.isSampled ? 80 * 1e-4 : 2e-4)
            << each.expected << " at " << time;
      GltfPlace const truth = placeOf(transform);
      Values const turn = test::play(tracks[1].times, tracks[1].values,
                                     kNames[static_cast<std::size_t>(tracks[1].interpolation)], time);
      double dot = 0;
      for (std::size_t i = 0; i < 4; ++i) dot += turn[i] * truth.rotation[i];
      ASSERT_GT(std::abs(dot), std::cos(0.02 / 360 * 3.1416)) << each.expected << " at " << time;
    }
  }
}

/// A document that is played.
class PlayedDocument {
 public:
  explicit PlayedDocument(std::string const& path) {
    std::string error;
    std::string warning;
    tinygltf::TinyGLTF reader;
    EXPECT_TRUE(reader.LoadBinaryFromFile(&model, &error, &warning, path)) << error;
  }
  std::vector<float> floats(int accessor) const {
    auto const& from = model.accessors[static_cast<std::size_t>(accessor)];
    auto const& view = model.bufferViews[static_cast<std::size_t>(from.bufferView)];
    std::vector<float> values(view.byteLength / sizeof(float));
    std::memcpy(values.data(), model.buffers[0].data.data() + view.byteOffset, view.byteLength);
    return values;
  }

  tinygltf::Model model;
};

TEST(GltfExport, AFileReadBackPlaysTheSame) {
  test::TemporaryFolder const folder;
  std::string const path = folder.file("a.glb");
  auto const loaded = LoadedScene::load({test::modelPath("FBX/huesitos.fbx"), ""}, {});
  LoadedScene& scene = *std::get<0>(loaded);
  Terminal const quiet{std::tmpfile(), std::tmpfile()};
  ASSERT_FALSE(exportGltf(scene, path, {}, quiet));
  PlayedDocument const document(path);
  ASSERT_EQ(document.model.animations.size(), 1U);
  tinygltf::Animation const& animation = document.model.animations[0];
  EXPECT_EQ(animation.channels.size(), 30U);
  EXPECT_EQ(document.model.skins.size(), 1U);
  for (double time = -0.1; time < 1.8; time += 0.031) {
    knAnimManager::the()->setCurrentTime(time, true, false);
    for (tinygltf::AnimationChannel const& channel : animation.channels) {
      auto const& sampler = animation.samplers[static_cast<std::size_t>(channel.sampler)];
      Values const played = test::play(document.floats(sampler.input), document.floats(sampler.output),
                                       sampler.interpolation, time);
      auto const node = static_cast<std::size_t>(channel.target_node);
      GltfPlace const place =
          placeOf(*osg::dcastTo<osg::Transform3D>(scene.scene().nodes()[node]->getCore()));
      if (channel.target_path == "rotation") {
        double dot = 0;
        for (std::size_t i = 0; i < 4; ++i) dot += played[i] * place.rotation[i];
        ASSERT_GT(std::abs(dot), std::cos(0.02 / 360 * 3.1416)) << time;
        continue;
      }
      auto const& expected = channel.target_path == "scale" ? place.scale : place.translation;
      for (std::size_t i = 0; i < 3; ++i)
        ASSERT_NEAR(played[i], expected[i], 1e-4 * (1 + std::abs(expected[i]))) << time;
    }
  }
  // The other reader finds the same bones, skin and morphs.
  test::expectParts(test::run("info " + path).output, {"glTF2", "10 bones"});
  std::string const morphs = folder.file("m.gltf");
  test::run("convert " +
            test::modelPath("glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf") + ' ' +
            morphs);
  test::expectParts(test::run("info " + morphs).output, {"2 morph targets", "127 keys of weights"});
}

}  // namespace knanim::GltfExportTest
