#include "model/scenefiles/SceneFileHandler.h"

#include "model/scenefiles/SceneFileFrame.h"
#include "model/scenefiles/SceneFileProgress.h"
#include "model/scenefiles/SceneText.h"
#include "model/utils/FileReplacement.h"
#include "model/utils/knCachedStream.h"
#include "model/utils/knFile.h"
#include "model/utils/knLog.h"

#include <algorithm>
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

bool writeFailed(std::string const& name, std::string const& why) {
  knLog::error((name + " cannot be written: " + why).c_str());
  return false;
}

NodePtr readFailed(std::string const& name, SceneFileProblem const& problem) {
  std::string const line = problem.line > 0 ? "line " + std::to_string(problem.line) + ", " : "";
  std::string const place = " (" + line + "byte " + std::to_string(problem.offset) +
                            (problem.inContents ? " of its contents)" : ")");
  knLog::error((name + " cannot be read: " + problem.what + place).c_str());
  return {};
}

using Warnings = std::vector<std::string>;

NodePtr readBinary(std::istream& stream, SceneFileProblem& problem, Warnings& warnings) {
  SceneContents contents;
  return readSceneFrame(stream, contents, problem) ? getSceneContents(contents, problem, warnings)
                                                   : NodePtr();
}

/// All that is left of a stream. False when it can't be read to its end.
bool readAll(std::istream& stream, std::string& text) {
  // One more than there is shows the end.
  text.reserve(static_cast<std::size_t>(bytesLeft(stream)) + 1);
  while (stream) {
    std::size_t const had = text.size();
    std::size_t const room = std::min(text.capacity() - had, FileBufferSize);
    text.resize(had + (room > 0 ? room : std::max(FileBufferSize, had)));
    stream.read(text.data() + had, static_cast<std::streamsize>(text.size() - had));
    text.resize(had + static_cast<std::size_t>(stream.gcount()));
  }
  if (stream.bad()) return false;
  stream.clear(std::ios::eofbit);
  return true;
}

NodePtr readText(std::istream& stream, SceneFileProblem& problem, Warnings& warnings) {
  std::string text;
  if (!readAll(stream, text)) {
    problem = {"the rest of it cannot be read", text.size(), false};
    return {};
  }
  SceneContents contents;
  SceneTextPlaces places;
  if (getSceneText(text, contents, places, problem)) {
    NodePtr const root = getSceneContents(contents, problem, warnings);
    if (root) return root;
    problem.offset = places.find(problem.offset);
    problem.inContents = false;
  }
  problem.line = lineOf(text, problem.offset);
  return {};
}

NodePtr readGraph(std::istream& stream, std::string const& name) {
  SceneFileProblem problem;
  Warnings warnings;
  NodePtr root;
  try {
    bool const isText = beginsSceneText(stream.peek());
    root = isText ? readText(stream, problem, warnings) : readBinary(stream, problem, warnings);
  } catch (std::bad_alloc const&) {
    problem = {"there is not enough memory", 0, false};
  }
  if (!root) return readFailed(name, problem);
  for (std::string const& warning : warnings) knLog::warning((name + ' ' + warning).c_str());
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

SceneFileForm formOf(char const* fileName) {
  bool const isText = fileName != nullptr && knFile::getExtension(fileName) == "json";
  return isText ? SceneFileForm::Text : SceneFileForm::Binary;
}

bool writeText(SceneContents const& contents, std::ostream& stream, SceneFileProblem& problem) {
  std::string const text = putSceneText(contents, problem);
  if (SceneFileProgress::isInterrupted()) return false;
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  stream.flush();
  return stream.good();
}

/// Why the graph can't be written; empty when it is.
std::string writeGraph(NodePtr const& root, std::ostream& stream, SceneFileForm form, bool compress) {
  if (!root.isAlive()) return "there is no scene";
  try {
    SceneFileProblem problem;
    SceneContents const contents = putSceneContents(root, problem);
    if (contents.bytes.empty()) return problem.what;
    bool const isWritten = form == SceneFileForm::Text ? writeText(contents, stream, problem)
                                                       : writeSceneFrame(stream, contents, compress);
    if (SceneFileProgress::isInterrupted()) return SceneFileProgress::WhenInterrupted;
    return isWritten ? problem.what : "the stream failed";
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
  // By value: who watches may drop what the argument stands in.
  std::string const name = sceneName(fileName);
  std::string const why = writeGraph(root, stream, formOf(fileName), compress != 0);
  return why.empty() || writeFailed(name, why);
}

NodePtr SceneFileHandler::read(std::istream& stream, char const* fileName, GraphOpSeq const* graphOpSeq) {
  // A file tells its name: who reads by the extension alone gives no more than that.
  auto const* const file = dynamic_cast<cached_ifstream const*>(&stream);
  std::string const name = sceneName(file != nullptr ? file->getName().c_str() : fileName);
  return runOperations(readGraph(stream, name), graphOpSeq);
}

bool saveSceneFile(NodePtr const& root, std::string const& fileName, bool compress, SceneFileForm form) {
  std::string const name = sceneName(fileName.c_str());
  if (!root.isAlive()) return writeFailed(name, "there is no scene");
  FileReplacement file(fileName);
  std::string why;
  if (file.isGood()) {
    ReplacementBuffer buffer(file);
    std::ostream stream(&buffer);
    why = writeGraph(root, stream, form == SceneFileForm::ByName ? formOf(fileName.c_str()) : form, compress);
  }
  if (why.empty() && file.commit()) return true;
  return writeFailed(name, file.isGood() ? why : file.reason());
}

NodePtr loadSceneFile(std::string const& fileName) {
  cached_ifstream stream(fileName, FileBufferSize, 1);
  if (!stream.is_open()) {
    knLog::error((sceneName(fileName.c_str()) + " cannot be read: it cannot be opened").c_str());
    return {};
  }
  return SceneFileHandler::the().read(stream, fileName.c_str());
}

}  // namespace knscene
}  // namespace osg
