#include "knanim/curvefiles/CurveReplacement.h"
#include "tools/knanim/TestFiles.h"

namespace knanim::FileCurvesTest {

std::string lightWave(std::string const& envelope) {
  return "LWSC\n5\nFirstFrame 1\nLastFrame 30\nFramesPerSecond 30\nAddNullObject 10000000 Arm\nObjectMotion\n"
         "NumChannels 1\nChannel 0\n{ Envelope\n" +
         envelope;
}

/// A file with a translation of two keys; what stands in the place of count, offset and interpolation is given.
std::string gltf(std::string const& count, std::string const& view, std::string const& rest = "") {
  return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":[{"name":"arm"}],"buffers":[{"byteLength":32,)"
         R"("uri":"data:application/octet-stream;base64,AAAAAAAAgD8AAAAAAAAAAAAAAAAAAIA/AACAPwAAwH8="}],"bufferViews":[)"
         R"({"buffer":0,"byteLength":32)" +
         view +
         R"(}],"accessors":[{"bufferView":0,"componentType":5126,"count":2,"type":"SCALAR"},)"
         R"({"bufferView":0,"byteOffset":8,"componentType":5126,"count":)" +
         count +
         R"(,"type":"VEC3"}],"animations":[{"samplers":[{"input":0,"output":1}],"channels":[{"sampler":0,"target":)"
         R"({"node":0,"path":"translation"}}]}])" +
         rest + "}";
}

TEST(FileCurves, DamagedFilesAreRefusedOrWarnedOfByName) {
  struct Case {
    char const* file;
    std::string content;
    std::vector<std::string> said;
  };
  std::string deep = "<COLLADA>";
  for (int i = 0; i < 100'000; ++i) deep += "<node>";
  std::string const keys = "2\nKey 0 0 3 0 0 0 0 0 0\nKey 1 1 3 0 0 0 0 0 0\n";
  test::TemporaryFolder const folder;
  for (Case const& each : {
           Case{"count.lws",
                lightWave("-2\n" + keys.substr(2) + "Behaviors 1 1\n}\n"),
                {"an envelope has 2 keys, not -2, channel 0 of item 1"}},
           Case{"nan.lws",
                lightWave("2\nKey nan 0 3 0 0 0 0 0 0\nKey 1 1 9 0 0 0 0 0 0\nBehaviors 1 77\n}\n"),
                {"dropped 1 of 2 keys", "unknown curve shape 9", "unknown behavior"}},
           Case{"cut.lws", lightWave(keys), {"ends inside an envelope"}},
           Case{"old.lws", "LWSC\n2\n", {"old.lws"}},
           Case{"count.gltf", gltf("200000000000", ""), {"count.gltf"}},
           Case{"negative.gltf", gltf("-1", ""), {"negative.gltf"}},
           Case{"cut.gltf", gltf("2", "").substr(0, 500), {"cut.gltf"}},
           Case{"nan.gltf", gltf("2", ""), {"arm.translation: dropped 1 of 2 keys"}},
           Case{"deep.dae", deep, {"deep.dae"}},
       }) {
    test::writeFile(folder.file(each.file), each.content);
    test::Outcome const outcome = test::run("play " + folder.file(each.file));
    test::expectParts(outcome.errors, each.said);
  }
}

TEST(FileCurves, TakenNodesLoseWhatIsNotAddedAndEndsAreKept) {
  ImportedModel model;
  model.nodes.resize(3);
  for (std::size_t node = 0; node < 3; ++node)
    model.curves.push_back({node, ChannelKind::Scale, 0, {}, {}, {{0, 1}, {1, 2}}});
  CurveReplacement replacement(model);
  replacement.takeNode(0);
  replacement.add(1, ChannelKind::Scale, 0,
                  SourceCurve{{{0, 1}, {1, 3}}, {{}}, Outside::Repeat, Outside::Constant});
  replacement.finish();
  ASSERT_EQ(model.curves.size(), 2U);
  EXPECT_EQ(model.curves[0].node, 1U);
  EXPECT_EQ(model.curves[0].form.keys.size(), 2U) << "the way it repeats is in the form";
  EXPECT_EQ(model.curves[1].keys.back().value, 2);
}

}  // namespace knanim::FileCurvesTest
