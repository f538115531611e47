#include "knanim/saving/GltfExport.h"
#include "knanim/saving/GltfTracks.h"
#include "knanim/scene/AnimatedScene.h"
#include "tools/knanim/TestFiles.h"

#include <tiny_gltf.h>

namespace knanim {
namespace {

using Values = std::vector<double>;

/// What the standard says a sampler gives, apart from turning the shorter way.
Values play(std::vector<float> const& times, std::vector<float> const& values,
            std::string const& interpolation, double time) {
  bool const isCubic = interpolation == "CUBICSPLINE";
  std::size_t const size = values.size() / times.size() / (isCubic ? 3 : 1);
  auto const at = [&](std::size_t key, std::size_t part, std::size_t i) {
    return static_cast<double>(values[(isCubic ? 3 * key + part : key) * size + i]);
  };
  std::size_t next = 0;
  while (next < times.size() && times[next] <= time) ++next;
  Values result(size);
  for (std::size_t i = 0; i < size; ++i) {
    std::size_t const a = next == 0 ? 0 : next - 1;
    result[i] = at(a, 1, i);
    if (next == 0 || next == times.size() || interpolation == "STEP") continue;
    double const width = static_cast<double>(times[next]) - times[a];
    double const s = (time - times[a]) / width;
    if (!isCubic) {
      result[i] += s * (at(next, 1, i) - result[i]);
      continue;
    }
    result[i] = (2 * s * s * s - 3 * s * s + 1) * at(a, 1, i) +
                (s * s * s - 2 * s * s + s) * width * at(a, 2, i) +
                (3 * s * s - 2 * s * s * s) * at(next, 1, i) + (s * s * s - s * s) * width * at(next, 0, i);
  }
  if (size != 4) return result;
  double const length = std::sqrt(result[0] * result[0] + result[1] * result[1] + result[2] * result[2] +
                                  result[3] * result[3]);
  for (double& each : result) each /= length;
  return result;
}

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
      Values const place = play(tracks[0].times, tracks[0].values,
                                kNames[static_cast<std::size_t>(tracks[0].interpolation)], time);
      for (osg::UInt32 i = 0; i < 3; ++i)
        ASSERT_NEAR(place[i], transform.getTranslation()[i], each.isSampled ? 80 * 1e-4 : 2e-4)
            << each.expected << " at " << time;
      GltfPlace const truth = placeOf(transform);
      Values const turn = play(tracks[1].times, tracks[1].values,
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
      Values const played =
          play(document.floats(sampler.input), document.floats(sampler.output), sampler.interpolation, time);
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

}  // namespace
}  // namespace knanim
