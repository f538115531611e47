// What saving and loading costs: 1,000,000 keys in both forms, against the plain bytes in the same run and against Assimp
// reading the same animation from glTF; and animation texts of older releases.
#include "knAnimManager.h"
#include "model/fields/Ref.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/Transform3D.h"

#include <benchmark/benchmark.h>
#ifdef KN_WITH_ASSIMP
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

using Path = std::filesystem::path;

constexpr int NodeCount = 100;
constexpr int KeyCount = 3334;  // for each of three components, about 1,000,000 in all
constexpr double PayloadBytes = 28.0 * 3 * NodeCount * KeyCount;

float keyTime(int key) { return static_cast<float>(key) / 30.F; }
float keyValue(int node, int key, int component) {
  return std::sin(static_cast<float>(node + key) * 0.37F) * static_cast<float>(component + 1);
}

/// Files that go with the process.
class Folder {
 public:
  Folder() : _path(std::filesystem::temp_directory_path() / ("FileBench." + std::to_string(::getpid()))) {
    std::filesystem::create_directory(_path);
  }
  ~Folder() { std::filesystem::remove_all(_path); }
  std::string file(char const* name) const { return (_path / name).string(); }

 private:
  Path const _path;
};

Folder const& folder() {
  static Folder const instance;
  return instance;
}

osg::AnimCurvePtr makeCurve(int node, int component) {
  osg::AnimCurvePtr const curve = osg::AnimCurveBase::create();
  osg::MField<osg::Pnt2f> points;
  for (int key = 0; key < KeyCount; ++key) points.push_back({keyTime(key), keyValue(node, key, component)});
  curve->addPoints(points);
  curve->setName("translation");
  curve->setValueIndex(static_cast<osg::UInt32>(component));
  return curve;
}

osg::NodePtr makeScene() {
  osg::NodePtr const root = osg::Node::create();
  root->setCore(osg::GroupBase::create());
  for (int n = 0; n < NodeCount; ++n) {
    osg::NodePtr const node = osg::Node::create();
    root->addChild(node);
    node->setCore(osg::Transform3DBase::create());
    osg::NodeUtils::setName(node, ("node" + std::to_string(n)).c_str(), true);
    osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
    node->addAttachment(attachment);
    for (int component = 0; component < 3; ++component) {
      osg::AnimNodePtr const curveNode = osg::AnimNodeBase::create();
      curveNode->setCore(makeCurve(n, component));
      attachment->addAnimation(curveNode);
    }
  }
  return root;
}

osg::NodePtr const& scene() {
  static osg::Ref<osg::Node> const instance = makeScene();
  return instance.get();
}

// --- The same animation as glTF -----------------------------------------------------------------------------------

#ifdef KN_WITH_ASSIMP

/// The parts of a glTF file that grow with the animation, each an array of JSON.
class GltfWriter {
 public:
  explicit GltfWriter(std::string const& binaryName) : _binary(binaryName, std::ios::binary) {}

  void addChannel(int node) {
    std::vector<float> times;
    std::vector<float> values;
    for (int key = 0; key < KeyCount; ++key) {
      times.push_back(keyTime(key));
      for (int c = 0; c < 3; ++c) values.push_back(keyValue(node, key, c));
    }
    std::string const n = std::to_string(node);
    std::string const last = std::to_string(times.back());
    std::string const input = addAccessor(times, R"("type":"SCALAR","min":[0],"max":[)" + last + "]");
    std::string const output = addAccessor(values, R"("type":"VEC3")");
    add(_nodes, R"({"name":"node)" + n + "\"}");
    add(_roots, n);
    add(_samplers, "{\"input\":" + input + ",\"output\":" + output + "}");
    add(_channels, "{\"sampler\":" + n + ",\"target\":{\"node\":" + n + R"(,"path":"translation"}})");
  }

  void close() { _binary.close(); }
  void finish(std::string const& name, std::string const& binaryName) {
    close();
    std::ofstream(name) << R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[)" << _roots
                        << R"(]}],"nodes":[)" << _nodes << R"(],"buffers":[{"uri":")" << binaryName
                        << R"(","byteLength":)" << _size << R"(}],"bufferViews":[)" << _views
                        << R"(],"accessors":[)" << _accessors << R"(],"animations":[{"samplers":[)"
                        << _samplers << R"(],"channels":[)" << _channels << "]}]}";
  }

 private:
  static void add(std::string& list, std::string const& element) {
    list += (list.empty() ? "" : ",") + element;
  }

  std::string addAccessor(std::vector<float> const& values, std::string const& type) {
    std::size_t const size = values.size() * sizeof(float);
    _binary.write(reinterpret_cast<char const*>(values.data()), static_cast<std::streamsize>(size));
    std::string const number = std::to_string(_count++);
    add(_views, R"({"buffer":0,"byteOffset":)" + std::to_string(_size) +
                    ",\"byteLength\":" + std::to_string(size) + "}");
    add(_accessors, "{\"bufferView\":" + number + R"(,"componentType":5126,"count":)" +
                        std::to_string(KeyCount) + "," + type + "}");
    _size += size;
    return number;
  }

  std::ofstream _binary;
  std::size_t _size = 0;
  std::size_t _count = 0;
  std::string _nodes, _roots, _views, _accessors, _samplers, _channels;
};

std::string inBase64(std::string const& bytes) {
  constexpr char Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::size_t const count = std::min<std::size_t>(3, bytes.size() - i);
    unsigned three = 0;
    for (std::size_t n = 0; n < 3; ++n)
      three = three << 8U | (n < count ? static_cast<unsigned char>(bytes[i + n]) : 0U);
    for (std::size_t n = 0; n < 4; ++n) text += n <= count ? Digits[three >> (18U - 6U * n) & 63U] : '=';
  }
  return text;
}

/// The keys in a file beside it, or in it as text.
std::string writeGltf(bool isOneFile) {
  std::string const binary = folder().file("animation.bin");
  GltfWriter writer(binary);
  for (int node = 0; node < NodeCount; ++node) writer.addChannel(node);
  std::string const name = folder().file(isOneFile ? "one.gltf" : "animation.gltf");
  if (!isOneFile) {
    writer.finish(name, "animation.bin");
    return name;
  }
  writer.close();
  std::ifstream stream(binary, std::ios::binary);
  std::string const bytes(std::istreambuf_iterator<char>(stream), {});
  writer.finish(name, "data:application/octet-stream;base64," + inBase64(bytes));
  return name;
}

void assimpReadsGltf(benchmark::State& state, bool isOneFile) {
  std::string const name = writeGltf(isOneFile);
  for (auto _ : state) {
    Assimp::Importer importer;
    aiScene const* const read = importer.ReadFile(name, 0);
    if (read == nullptr || read->mNumAnimations != 1 || read->mAnimations[0]->mNumChannels != NodeCount ||
        read->mAnimations[0]->mChannels[NodeCount - 1]->mNumPositionKeys != KeyCount) {
      state.SkipWithError(importer.GetErrorString());
      return;
    }
  }
}
BENCHMARK_CAPTURE(assimpReadsGltf, keysBeside, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(assimpReadsGltf, oneFile, true)->Unit(benchmark::kMillisecond);

#endif

// --- Scene files --------------------------------------------------------------------------------------------------

/// Drops what it gets, for the cost of writing without that of the disk.
class Nowhere : public std::streambuf {
 protected:
  std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
  int_type overflow(int_type next) override { return traits_type::not_eof(next); }
};

void rate(benchmark::State& state, std::string const& name) {
  using benchmark::Counter;
  double const size = static_cast<double>(std::filesystem::file_size(name));
  state.counters["file"] = Counter(size, Counter::kIsIterationInvariantRate, Counter::kIs1024);
  state.counters["payload"] = Counter(PayloadBytes, Counter::kIsIterationInvariantRate, Counter::kIs1024);
}

std::string const& savedFile(bool isText) {
  static std::string const files[] = {folder().file("scene.osb"), folder().file("scene.json")};
  [[maybe_unused]] static bool const saved =
      osg::saveSceneFile(scene(), files[0], false) && osg::saveSceneFile(scene(), files[1], false);
  return files[isText ? 1 : 0];
}

void saveToFile(benchmark::State& state, bool isText) {
  std::string const name = savedFile(isText);
  for (auto _ : state) {
    if (!osg::saveSceneFile(scene(), name, false)) state.SkipWithError("not saved");
  }
  rate(state, name);
}

void saveToNowhere(benchmark::State& state, bool isText) {
  std::string const name = savedFile(isText);
  Nowhere nowhere;
  for (auto _ : state) {
    std::ostream stream(&nowhere);
    if (!osg::SceneFileHandler::the().write(scene(), stream, name.c_str(), 0))
      state.SkipWithError("not saved");
  }
  rate(state, name);
}

void load(benchmark::State& state, bool isText) {
  std::string const name = savedFile(isText);
  for (auto _ : state) {
    osg::Ref<osg::Node> root = osg::loadSceneFile(name);
    if (!root) state.SkipWithError("not loaded");
    state.PauseTiming();
    root.reset();
    state.ResumeTiming();
  }
  rate(state, name);
}

/// The bytes alone: read into one buffer and copied into another.
void readBytes(benchmark::State& state) {
  std::string const name = savedFile(false);
  std::vector<char> buffer(std::filesystem::file_size(name));
  std::vector<char> copy(buffer.size());
  for (auto _ : state) {
    std::FILE* const file = std::fopen(name.c_str(), "rb");
    if (std::fread(buffer.data(), 1, buffer.size(), file) != buffer.size()) state.SkipWithError("not read");
    std::fclose(file);
    std::memcpy(copy.data(), buffer.data(), buffer.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  rate(state, name);
}

// --- Texts of older releases --------------------------------------------------------------------------------------

/// One curve on a node, with as many keys as there are to be elements.
std::string oldText(int elements) {
  std::string text = "<animations>";
  std::string ids;
  for (int i = 0; i < elements - 1; ++i) {
    std::string const id = std::to_string(i + 2);
    text += "<point id=\"" + id + "\"><position>" + std::to_string(i) + " 1.5</position></point>";
    ids += "<point id=\"" + id + "\"/>";
  }
  return text + R"(<curve id="1" name="translationX" active="1">)" + ids + "</curve></animations>";
}

void convertOldText(benchmark::State& state) {
  std::string const text = oldText(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    osg::Ref<osg::Node> root = osg::Node::create();
    root->setCore(osg::Transform3DBase::create());
    osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
    root->addAttachment(attachment);
    attachment->getOldRecordIds().push_back(1);
    state.ResumeTiming();
    knAnimManager::the()->convertXMLAnimations(root, text);
    state.PauseTiming();
    if (!knAnimManager::getAnimAttachment(root.get())) state.SkipWithError("nothing was converted");
    root.reset();
    state.ResumeTiming();
  }
  state.SetComplexityN(state.range(0));
}

BENCHMARK(readBytes)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(saveToNowhere, binary, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(saveToFile, binary, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load, binary, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(saveToNowhere, text, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(saveToFile, text, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load, text, true)->Unit(benchmark::kMillisecond);
BENCHMARK(convertOldText)->Arg(1000)->Arg(10000)->Arg(100000)->Complexity()->Unit(benchmark::kMillisecond);

}  // namespace
