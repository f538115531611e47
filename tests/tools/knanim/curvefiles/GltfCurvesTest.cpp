#include "knanim/import/EulerAngles.h"
#include "tools/knanim/GltfSampler.h"
#include "tools/knanim/curvefiles/CurveDifference.h"

namespace knanim::GltfCurvesTest {

using Numbers = std::vector<float>;

struct Sampler {
  std::string path, interpolation;
  Numbers values;
};

/// A file with a node that samplers move.
void writeModel(test::TemporaryFolder const& folder, Numbers const& times,
                std::vector<Sampler> const& samplers) {
  std::string bytes;
  std::string views;
  std::string accessors;
  auto const add = [&](Numbers const& numbers, std::size_t size, std::string const& type) {
    std::string const comma = views.empty() ? "" : ",";
    std::string const length = std::to_string(numbers.size() * sizeof(float));
    views += comma + R"({"buffer":0,"byteOffset":)" + std::to_string(bytes.size()) + R"(,"byteLength":)" +
             length + "}";
    accessors += comma + R"({"componentType":5126,"bufferView":)" +
                 std::to_string(std::count(views.begin(), views.end(), '{') - 1) + R"(,"count":)" +
                 std::to_string(numbers.size() / size) + R"(,"type":")" + type + "\"}";
    bytes.append(reinterpret_cast<char const*>(numbers.data()), numbers.size() * sizeof(float));
  };
  add(times, 1, "SCALAR");
  std::string sources;
  std::string channels;
  for (std::size_t i = 0; i < samplers.size(); ++i) {
    bool const isTurn = samplers[i].path == "rotation";
    add(samplers[i].values, isTurn ? 4 : 3, isTurn ? "VEC4" : "VEC3");
    std::string const comma = i == 0 ? "" : ",";
    sources += comma + R"({"input":0,"output":)" + std::to_string(i + 1) + R"(,"interpolation":")" +
               samplers[i].interpolation + "\"}";
    channels += comma + R"({"sampler":)" + std::to_string(i) + R"(,"target":{"node":0,"path":")" +
                samplers[i].path + "\"}}";
  }
  test::writeFile(folder.file("numbers.bin"), bytes);
  test::writeFile(
      folder.file("cubic.gltf"),
      R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":[{"name":"node"}],"buffers":[{)"
      R"("uri":"numbers.bin","byteLength":)" +
          std::to_string(bytes.size()) + R"(}],"bufferViews":[)" + views + R"(],"accessors":[)" + accessors +
          R"(],"animations":[{"samplers":[)" + sources + R"(],"channels":[)" + channels + "]}]}");
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
  test::TemporaryFolder const folder;
  writeModel(
      folder, times,
      {{"translation", "CUBICSPLINE", cubic}, {"rotation", "CUBICSPLINE", turns}, {"scale", "STEP", steps}});
  test::PlayedFile const played(folder.file("cubic.gltf"));
  for (std::size_t i = 0; i < 3; ++i) {
    auto const curves = played.scene.curves();
    test::expectLike(
        curves[i], [&](double time) { return test::play(times, cubic, "CUBICSPLINE", time)[i]; }, 0.25F, 4);
    test::expectLike(
        curves[6 + i], [&](double time) { return test::play(times, steps, "STEP", time)[i]; }, 0.25F, 4);
  }
  CurveReader angles(played.scene.curves().subspan(3, 3));
  double largest = 0;
  for (double time = -1; time < 6; time += 0.007) {
    angles.evaluate(time);
    auto const turn = test::play(times, turns, "CUBICSPLINE", time);
    Rotation const wanted{turn[3], turn[0], turn[1], turn[2]};
    largest = std::max(largest,
                       angleBetween(toRotation({angles.value(0), angles.value(1), angles.value(2)}), wanted));
  }
  EXPECT_LT(largest, 0.003);
  EXPECT_TRUE(played.model.warnings.at(0).starts_with("1 channel of rotations as angles, to within 0.0"));
}

}  // namespace knanim::GltfCurvesTest
