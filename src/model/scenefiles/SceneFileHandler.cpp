#include "model/scenefiles/SceneFileHandler.h"

#include "model/scenefiles/SceneFileFrame.h"
#include "model/utils/knCachedStream.h"
#include "model/utils/knLog.h"

#include <fcntl.h>
#include <filesystem>
#include <new>
#include <unistd.h>

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
    std::string contents;
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

/// Sees to it that a file's content is on the disk before its name is.
bool synchronise(std::string const& fileName) {
  int const file = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  bool const isDone = ::fsync(file) == 0;
  return ::close(file) == 0 && isDone;
}

/// Writes a file, reporting failures under the name `shownName`.
bool writeFile(NodePtr const& root, std::string const& fileName, char const* shownName, bool compress) {
  cached_ofstream stream(fileName, FileBufferSize, 1);
  if (!stream.is_open()) return writeFailed(shownName, "it can't be opened");
  if (!SceneFileHandler::the().write(root, stream, shownName, compress ? 1 : 0)) return false;
  return stream.close() || writeFailed(shownName, "closing it failed");
}

}  // namespace

SceneFileHandler& SceneFileHandler::the() {
  static auto* const handler = new SceneFileHandler;
  return *handler;
}

bool SceneFileHandler::write(NodePtr const& root, std::ostream& stream, char const* fileName,
                             unsigned int compress) {
  if (!root.isAlive()) return writeFailed(fileName, "there is no scene");
  try {
    SceneFileProblem problem;
    std::string const contents = putSceneContents(root, problem);
    if (contents.empty()) return writeFailed(fileName, problem.what);
    return writeSceneFrame(stream, contents, compress != 0) || writeFailed(fileName, "the stream failed");
  } catch (std::bad_alloc const&) {
    return writeFailed(fileName, "there is not enough memory");
  }
}

NodePtr SceneFileHandler::read(std::istream& stream, char const* fileName, GraphOpSeq const* graphOpSeq) {
  return runOperations(readGraph(stream, fileName), graphOpSeq);
}

bool saveSceneFile(NodePtr const& root, std::string const& fileName, bool compress) {
  namespace fs = std::filesystem;
  if (!root.isAlive()) return writeFailed(fileName.c_str(), "there is no scene");
  std::error_code error;
  // A link stays, and the file that it leads to is replaced.
  fs::path target = fs::canonical(fileName, error);
  if (error) target = fileName;
  fs::file_status const status = fs::status(target, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    return writeFile(root, fileName, fileName.c_str(), compress);
  }
  std::string const temporary = target.string() + '.' + std::to_string(::getpid()) + ".tmp";
  bool isDone = writeFile(root, temporary, fileName.c_str(), compress);
  if (isDone) {
    if (fs::exists(status)) fs::permissions(temporary, status.permissions(), error);
    isDone = synchronise(temporary) && ::rename(temporary.c_str(), target.c_str()) == 0;
    if (!isDone) writeFailed(fileName.c_str(), "it can't be put in its place");
  }
  if (!isDone) ::unlink(temporary.c_str());
  return isDone;
}

NodePtr loadSceneFile(std::string const& fileName) {
  cached_ifstream stream(fileName, FileBufferSize, 1);
  if (!stream.is_open()) return readFailed(fileName.c_str(), {"it can't be opened", 0, false});
  return SceneFileHandler::the().read(stream, fileName.c_str());
}

}  // namespace knscene
}  // namespace osg
