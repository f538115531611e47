#include "knanim/import/ModelImport.h"

#include "knanim/import/ModelReader.h"
#include "knanim/import/ModelTransfer.h"
#include "knanim/import/StoredModel.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/NearNames.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <iostream>
#include <optional>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace knanim {
namespace {

constexpr int kPollMilliseconds = 200;

enum class Part : std::uint8_t { Model, Animation, Content };

struct Request {
  Part part = Part::Model;
  std::size_t animation = 0;
};

/// One end of the line between the two processes.
class Line {
 public:
  explicit Line(int socket) : _socket(socket) {}
  Line(Line&& other) noexcept : _socket(std::exchange(other._socket, -1)) {}
  Line& operator=(Line&&) = delete;
  ~Line() {
    if (_socket >= 0) close(_socket);
  }

  bool send(void const* bytes, std::size_t size) const {
    auto const* at = static_cast<char const*>(bytes);
    while (size > 0) {
      ssize_t const sent = ::send(_socket, at, size, MSG_NOSIGNAL);
      if (sent < 0 && errno == EINTR) continue;
      if (sent <= 0) return false;
      at += sent;
      size -= static_cast<std::size_t>(sent);
    }
    return true;
  }

  /// False when the other end is gone, or `isGivenUp` says so meanwhile.
  bool receive(void* bytes, std::size_t size, bool (*isGivenUp)()) const {
    auto* at = static_cast<char*>(bytes);
    while (size > 0) {
      if (isGivenUp()) return false;
      pollfd waiting = {_socket, POLLIN, 0};
      if (poll(&waiting, 1, kPollMilliseconds) <= 0) continue;
      ssize_t const received = recv(_socket, at, size, 0);
      if (received < 0 && errno == EINTR) continue;
      if (received <= 0) return false;
      at += received;
      size -= static_cast<std::size_t>(received);
    }
    return true;
  }

 private:
  int _socket;
};

template <typename Result>
std::string toBytes(std::variant<Result, Failure> const& result) {
  TransferWriter out;
  out.put(std::holds_alternative<Failure>(result));
  std::visit([&out](auto const& value) { out.put(value); }, result);
  return out.takeBytes();
}

std::string answer(std::variant<ModelReader, Failure> const& opened, Request const& request) {
  auto const* const reader = std::get_if<ModelReader>(&opened);
  if (reader == nullptr) return toBytes<ImportedModel>(std::get<Failure>(opened));
  switch (request.part) {
    case Part::Animation:
      return toBytes(reader->load(request.animation));
    case Part::Content:
      return toBytes(reader->loadContent());
    case Part::Model:
      break;
  }
  return toBytes<ImportedModel>(reader->model());
}

std::string answerSafely(std::variant<ModelReader, Failure> const& opened, Request const& request) {
  try {
    return answer(opened, request);
  } catch (std::exception const& exception) {
    return toBytes<ImportedModel>(Failure{ExitCode::Failed, exception.what()});
  }
}

/// What the process of the importers does. It ends when the other one does, and leaves its end to that.
[[noreturn]] void serve(Line const& line, std::string const& path, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_IGN);
  if (getppid() != parent) _exit(1);
  // Some importers talk to the terminal by themselves.
  std::cout.rdbuf(nullptr);
  std::cerr.rdbuf(nullptr);
  auto const opened = ModelReader::open(path);
  auto const never = [] { return false; };
  for (Request request; line.receive(&request, sizeof(request), never);) {
    std::string const bytes = answerSafely(opened, request);
    std::size_t const size = bytes.size();
    if (!line.send(&size, sizeof(size)) || !line.send(bytes.data(), size)) break;
  }
  // Nothing is torn down, which can take long and go wrong too.
  _exit(0);
}

std::string listOfAnimations(ModelSummary const& summary) {
  constexpr std::size_t kMost = 8;
  std::string list;
  for (std::size_t i = 0; i < summary.animations.size() && i < kMost; ++i) {
    list += (i == 0 ? " " : ", ") + std::to_string(i + 1) + " \"" + summary.animations[i].name + '"';
  }
  return summary.animations.size() > kMost ? list + " ..." : list;
}

}  // namespace

/// The process of the importers, as it is seen from outside.
class ModelFile::Importer {
 public:
  Importer(std::string path, pid_t process, Line line)
      : _path(std::move(path)), _process(process), _line(std::move(line)) {}
  Importer(Importer const&) = delete;
  Importer& operator=(Importer const&) = delete;
  ~Importer() { end(); }

  static std::variant<std::unique_ptr<Importer>, Failure> start(std::string const& path);

  template <typename Result>
  std::variant<Result, Failure> ask(Request const& request);

 private:
  std::optional<int> end();
  Failure whyItEnded();

  std::string _path;
  pid_t _process;  ///< 0 when it has ended
  Line _line;
};

std::variant<std::unique_ptr<ModelFile::Importer>, Failure> ModelFile::Importer::start(
    std::string const& path) {
  std::array<int, 2> ends = {-1, -1};
  pid_t const parent = getpid();
  pid_t process = -1;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0) process = fork();
  Line here(ends[0]);
  Line there(ends[1]);
  if (process < 0)
    return Failure{ExitCode::Failed, std::string("cannot start the importer: ") + std::strerror(errno)};
  if (process == 0) {
    close(ends[0]);
    serve(there, path, parent);
  }
  return std::make_unique<Importer>(path, process, std::move(here));
}

template <typename Result>
std::variant<Result, Failure> ModelFile::Importer::ask(Request const& request) try {
  std::size_t size = 0;
  bool const isAnswered = _process != 0 && _line.send(&request, sizeof(request)) &&
                          _line.receive(&size, sizeof(size), InterruptionGuard::isInterrupted);
  std::string bytes(size, '\0');
  if (!isAnswered || !_line.receive(bytes.data(), size, InterruptionGuard::isInterrupted))
    return whyItEnded();
  TransferReader in(bytes);
  if (in.get<bool>()) return in.get<Failure>();
  Result result = in.get<Result>();
  if (in.failed()) return notAModel(_path, "the importer's result is incomplete");
  return result;
} catch (std::bad_alloc const&) {
  return Failure{ExitCode::Failed, "there is not enough memory for " + printable(_path)};
}

/// The state that the process ended with, if it has not ended before.
std::optional<int> ModelFile::Importer::end() {
  if (_process == 0) return std::nullopt;
  int state = 0;
  pid_t const process = std::exchange(_process, 0);
  kill(process, SIGKILL);
  while (waitpid(process, &state, 0) < 0) {
    if (errno != EINTR) return std::nullopt;
  }
  return state;
}

Failure ModelFile::Importer::whyItEnded() {
  bool const isInterrupted = InterruptionGuard::isInterrupted();
  std::optional<int> const state = end();
  if (isInterrupted) return {ExitCode::Failed, "interrupted"};
  bool const byItself = state && WIFSIGNALED(*state);
  return notAModel(_path, byItself ? "the importer crashed (" + std::string(strsignal(WTERMSIG(*state))) + ')'
                                   : "the importer stopped without a result");
}

ModelFile::ModelFile() = default;
ModelFile::ModelFile(ModelFile&& other) noexcept = default;
ModelFile& ModelFile::operator=(ModelFile&& other) noexcept = default;
ModelFile::~ModelFile() = default;

std::variant<ModelFile, Failure> ModelFile::open(std::string const& path) {
  ModelFile file;
  if (isStoredModel(path)) {
    auto stored = StoredModel::open(path);
    if (auto* failure = std::get_if<Failure>(&stored)) return std::move(*failure);
    file._stored = std::make_unique<StoredModel>(std::move(std::get<StoredModel>(stored)));
    file._model = file._stored->model();
    return file;
  }
  auto const size = checkModelFile(path);
  if (auto const* failure = std::get_if<Failure>(&size)) return *failure;
  auto started = Importer::start(path);
  if (auto* failure = std::get_if<Failure>(&started)) return std::move(*failure);
  file._importer = std::move(std::get<std::unique_ptr<Importer>>(started));
  auto model = file._importer->ask<ImportedModel>({Part::Model});
  if (auto* failure = std::get_if<Failure>(&model)) return std::move(*failure);
  file._model = std::move(std::get<ImportedModel>(model));
  if (auto failure = checkKeeps(file._model.files)) return std::move(*failure);
  return file;
}

std::variant<std::size_t, Failure> ModelFile::findAnimation(std::string const& choice) const {
  auto const& animations = _model.summary.animations;
  if (animations.empty()) return Failure{ExitCode::NoAnimation, "no animation in this model"};
  if (choice.empty()) {
    for (std::size_t i = 0; i < animations.size(); ++i) {
      if (animations[i].keys.total() + animations[i].morphKeys != 0) return i;
    }
    return Failure{ExitCode::NoAnimation, nothingMoves(animations, "this model")};
  }
  std::size_t number = 0;
  auto const parsed = std::from_chars(choice.data(), choice.data() + choice.size(), number);
  bool const isNumber = parsed.ec == std::errc() && parsed.ptr == choice.data() + choice.size();
  if (isNumber && number >= 1 && number <= animations.size()) return number - 1;
  for (std::size_t i = 0; i < animations.size(); ++i) {
    if (animations[i].name == choice) return i;
  }
  std::vector<std::string> names;
  for (AnimationSummary const& each : animations) names.push_back(each.name);
  std::string const near = isNumber ? "" : nearClause(nearNames(choice, names));
  std::string const all = "; it has:" + listOfAnimations(_model.summary);
  return Failure{ExitCode::Usage,
                 "no animation \"" + printable(choice) + "\" in this model" + (near.empty() ? all : near)};
}

std::variant<ImportedModel, Failure> ModelFile::load(std::size_t animation) const {
  if (_stored) return _stored->load(animation);
  return _importer->ask<ImportedModel>({Part::Animation, animation});
}

std::variant<ImportedModel, Failure> ModelFile::loadChosen(std::string const& choice) const {
  auto const animation = findAnimation(choice);
  if (auto const* failure = std::get_if<Failure>(&animation)) return *failure;
  return load(std::get<std::size_t>(animation));
}

std::variant<ModelContent, Failure> ModelFile::loadContent() const {
  if (_stored) return _stored->loadContent();
  return _importer->ask<ModelContent>({Part::Content});
}

}  // namespace knanim
