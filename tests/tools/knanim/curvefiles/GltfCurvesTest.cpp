#include "knanim/import/EulerAngles.h"
#include "tools/knanim/curvefiles/CurveDifference.h"

#include <cstring>
#include <tiny_gltf.h>

namespace knanim {
namespace {

using Numbers = std::vector<float>;

/// A file with one node, which is called node.
class File {
 public:
  File() {
    _model.asset.version = "2.0";
    _model.nodes.emplace_back().name = "node";
    _model.scenes.emplace_back().nodes = {0};
    _model.defaultScene = 0;
    _model.buffers.emplace_back();
    _model.animations.emplace_back().name = "move";
  }

  void add(std::string const& path, std::string const& interpolation, Numbers const& times,
           Numbers const& values) {
    auto& animation = _model.animations[0];
    tinygltf::AnimationSampler sampler;
    sampler.input = addNumbers(times, TINYGLTF_TYPE_SCALAR, 1);
    bool const isRotation = path == "rotation";
    sampler.output =
        addNumbers(values, isRotation ? TINYGLTF_TYPE_VEC4 : TINYGLTF_TYPE_VEC3, isRotation ? 4 : 3);
    sampler.interpolation = interpolation;
    tinygltf::AnimationChannel channel;
    channel.sampler = static_cast<int>(animation.samplers.size());
    channel.target_node = 0;
    channel.target_path = path;
    animation.samplers.push_back(sampler);
    animation.channels.push_back(channel);
  }
  tinygltf::Model& model() { return _model; }
  void write(std::string const& path) {
    tinygltf::TinyGLTF().WriteGltfSceneToFile(&_model, path, false, true, false, false);
  }

 private:
  int addNumbers(Numbers const& numbers, int type, std::size_t size) {
    auto& bytes = _model.buffers[0].data;
    tinygltf::BufferView view;
    view.buffer = 0;
    view.byteOffset = bytes.size();
    view.byteLength = numbers.size() * sizeof(float);
    bytes.resize(bytes.size() + view.byteLength);
    std::memcpy(&bytes[view.byteOffset], numbers.data(), view.byteLength);
    tinygltf::Accessor accessor;
    accessor.bufferView = static_cast<int>(_model.bufferViews.size());
    accessor.componentType = TINYGLTF_COMPONENT_TYPE_FLOAT;
    accessor.type = type;
    accessor.count = numbers.size() / size;
    accessor.minValues = accessor.maxValues = {};
    _model.bufferViews.push_back(view);
    _model.accessors.push_back(accessor);
    return static_cast<int>(_model.accessors.size()) - 1;
  }

  tinygltf::Model _model;
};

/// What the format says of a sampler, for one component; rotations are not normalised.
double play(Numbers const& times, Numbers const& values, std::string const& interpolation, std::size_t size,
            std::size_t component, double time) {
  bool const isCubic = interpolation == "CUBICSPLINE";
  auto const at = [&](std::size_t key, std::size_t part) {
    return static_cast<double>(values[(isCubic ? 3 * key + part : key) * size + component]);
  };
  std::size_t next = 0;
  while (next < times.size() && times[next] <= time) ++next;
  if (next == 0) return at(0, 1);
  if (next == times.size() || interpolation == "STEP") return at(next - 1, 1);
  double const width = static_cast<double>(times[next]) - times[next - 1];
  double const s = (time - times[next - 1]) / width;
  return (2 * s * s * s - 3 * s * s + 1) * at(next - 1, 1) +
         (s * s * s - 2 * s * s + s) * width * at(next - 1, 2) + (3 * s * s - 2 * s * s * s) * at(next, 1) +
         (s * s * s - s * s) * width * at(next, 0);
}

TEST(GltfCurves, HaveTheValuesOfTheFormatsFormulas) {
  Numbers const times = {0.25F, 1, 1.5F, 4};
  Numbers cubic;
  Numbers turns;
  Numbers steps;
  std::mt19937 random(7);
  std::uniform_real_distribution<float> number(-2, 2);
  for (std::size_t i = 0; i < 36; ++i) cubic.push_back(number(random));
  for (std::size_t i = 0; i < 48; ++i) turns.push_back(number(random) + (i % 12 == 7 ? 3.F : 0.F));
  for (std::size_t i = 0; i < 12; ++i) steps.push_back(number(random));
  File file;
  file.add("translation", "CUBICSPLINE", times, cubic);
  file.add("rotation", "CUBICSPLINE", times, turns);
  file.add("scale", "STEP", times, steps);
  test::TemporaryFolder const folder;
  file.write(folder.file("cubic.gltf"));
  test::PlayedFile const played(folder.file("cubic.gltf"));
  for (std::size_t i = 0; i < 3; ++i) {
    auto const curves = played.scene.curves();
    test::expectLike(
        curves[i], [&](double time) { return play(times, cubic, "CUBICSPLINE", 3, i, time); }, 0.25F, 4);
    test::expectLike(
        curves[6 + i], [&](double time) { return play(times, steps, "STEP", 3, i, time); }, 0.25F, 4);
  }
  CurveReader angles(played.scene.curves().subspan(3, 3));
  double largest = 0;
  for (double time = -1; time < 6; time += 0.007) {
    angles.evaluate(time);
    auto const part = [&](std::size_t i) { return play(times, turns, "CUBICSPLINE", 4, i, time); };
    Rotation wanted{part(3), part(0), part(1), part(2)};
    ASSERT_TRUE(normalize(wanted));
    largest = std::max(largest,
                       angleBetween(toRotation({angles.value(0), angles.value(1), angles.value(2)}), wanted));
  }
  EXPECT_LT(largest, 0.003);
  EXPECT_TRUE(played.model.warnings.at(0).starts_with("1 channel of rotations as angles, to within 0.0"));
}

}  // namespace
}  // namespace knanim
