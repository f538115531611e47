#include "model/scenefiles/SceneFileHandler.h"

#include "model/scenefiles/SceneFileFrame.h"
#include "model/utils/FileReplacement.h"
#include "model/utils/knCachedStream.h"
#include "model/utils/knLog.h"

#include <new>
#include <streambuf>

namespace osg {
inline namespace knscene {

GraphOpSeq const* SceneFileHandler::_defaultgraphOpSeq = nullptr;

namespace {

constexpr std::size_t FileBufferSize = 0x50000;

std::string sceneName(char const* fileName) {
  return fileName != nullptr ? "scene file " + std::string(fileName) : "scene file";
}

bool writeFailed(char const* fileName, std::string const& why) {
  knLog::error((sceneName(fileName) + " can't be written: " + why).c_str());
  return false;
}

NodePtr readFailed(char const* fileName, SceneFileProblem const& problem) {
  std::string const place =
      " (byte " + std::to_string(problem.offset) + (problem.inContents ? " of its contents)" : ")");
  knLog::error((sceneName(fileName) + " can't be read: " + problem.what + place).c_str());
  return {};
}

NodePtr readGraph(std::istream& stream, char const* fileName) {
  SceneFileProblem problem;
  std::vector<std::string> warnings;
  NodePtr root;
  try {
    SceneContents contents;
    if (readSceneFrame(stream, contents, problem)) root = getSceneContents(contents, problem, warnings);
  } catch (std::bad_alloc const&) {
    problem = {"there is not enough memory", 0, false};
  }
  if (!root) return readFailed(fileName, problem);
  for (std::string const& warning : warnings) knLog::warning((sceneName(fileName) + ' ' + warning).c_str());
  return root;
}

NodePtr runOperations(NodePtr root, GraphOpSeq const* operations) {
  if (operations == nullptr) return root;
  for (auto const& operation : *operations) {
    if (operation) root = operation(root);
    if (!root.isAlive()) return {};
  }
  return root;
}

/// Why the graph can't be written; empty when it is.
std::string writeGraph(NodePtr const& root, std::ostream& stream, bool compress) {
  if (!root.isAlive()) return "there is no scene";
  try {
    SceneFileProblem problem;
    SceneContents const contents = putSceneContents(root, problem);
    if (contents.bytes.empty()) return problem.what;
    return writeSceneFrame(stream, contents, compress) ? "" : "the stream failed";
  } catch (std::bad_alloc const&) {
    return "there is not enough memory";
  }
}

/// Lets a stream write to a file that is replaced.
class ReplacementBuffer : public std::streambuf {
 public:
  explicit ReplacementBuffer(FileReplacement& file) : _file(file) {}

 protected:
  std::streamsize xsputn(char const* bytes, std::streamsize count) override {
    return _file.write({bytes, static_cast<std::size_t>(count)}) ? count : 0;
  }
  int_type overflow(int_type next) override {
    if (traits_type::eq_int_type(next, traits_type::eof())) return traits_type::not_eof(next);
    char const byte = traits_type::to_char_type(next);
    return _file.write({&byte, 1}) ? next : traits_type::eof();
  }

 private:
  FileReplacement& _file;
};

}  // namespace

SceneFileHandler& SceneFileHandler::the() {
  static auto* const handler = new SceneFileHandler;
  return *handler;
}

bool SceneFileHandler::write(NodePtr const& root, std::ostream& stream, char const* fileName,
                             unsigned int compress) {
  std::string const why = writeGraph(root, stream, compress != 0);
  return why.empty() || writeFailed(fileName, why);
}

NodePtr SceneFileHandler::read(std::istream& stream, char const* fileName, GraphOpSeq const* graphOpSeq) {
  // A file tells its name: who reads by the extension alone gives no more than that.
  auto const* const file = dynamic_cast<cached_ifstream const*>(&stream);
  return runOperations(readGraph(stream, file != nullptr ? file->getName().c_str() : fileName), graphOpSeq);
}

bool saveSceneFile(NodePtr const& root, std::string const& fileName, bool compress) {
  if (!root.isAlive()) return writeFailed(fileName.c_str(), "there is no scene");
  FileReplacement file(fileName);
  std::string why;
  if (file.isGood()) {
    ReplacementBuffer buffer(file);
    std::ostream stream(&buffer);
    why = writeGraph(root, stream, compress);
  }
  if (why.empty() && file.commit()) return true;
  return writeFailed(fileName.c_str(), file.isGood() ? why : file.reason());
}

NodePtr loadSceneFile(std::string const& fileName) {
  cached_ifstream stream(fileName, FileBufferSize, 1);
  if (!stream.is_open()) return readFailed(fileName.c_str(), {"it can't be opened", 0, false});
  return SceneFileHandler::the().read(stream, fileName.c_str());
}

}  // namespace knscene
}  // namespace osg
