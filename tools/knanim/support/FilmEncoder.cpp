#include "knanim/support/FilmEncoder.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace knanim {
namespace {

constexpr char const* kProgram = "ffmpeg";
constexpr char const* kGifColors = "split[a][b];[a]palettegen[p];[b][p]paletteuse=dither=none";

/// The film that is being written; empty when there is none.
std::array<char, 4096> unfinished{};

void noteUnfinished(std::string const& path) {
  unfinished[0] = '\0';
  if (path.size() >= unfinished.size()) return;
  std::memcpy(unfinished.data() + 1, path.c_str() + std::min<std::size_t>(1, path.size()), path.size());
  unfinished[0] = path.c_str()[0];
}

/// While one lives, a pipe that nobody reads makes a write fail, and not the process end.
class NoPipeSignal {
 public:
  NoPipeSignal() {
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignored, &_former);
  }
  ~NoPipeSignal() { sigaction(SIGPIPE, &_former, nullptr); }
  NoPipeSignal(NoPipeSignal const&) = delete;
  NoPipeSignal& operator=(NoPipeSignal const&) = delete;

 private:
  struct sigaction _former = {};
};

/// The same folder and ending, so that the program knows the kind of film.
std::string partialPath(std::filesystem::path const& path) {
  std::string const name = path.stem().string() + ".part" + std::to_string(getpid());
  return (path.parent_path() / (name + path.extension().string())).string();
}

}  // namespace

bool FilmEncoder::isInstalled() {
  char const* const path = std::getenv("PATH");
  std::string_view rest = path != nullptr ? path : "";
  while (!rest.empty()) {
    std::size_t const end = rest.find(':');
    std::string const file = std::string(rest.substr(0, end)) + '/' + kProgram;
    if (access(file.c_str(), X_OK) == 0) return true;
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return false;
}

FilmEncoder::FilmEncoder(std::string path, std::size_t width, std::size_t height, double framesPerSecond)
    : _path(std::move(path)), _partial(partialPath(_path)) {
  _words = std::tmpfile();
  std::array<int, 2> ends{};
  if (_words == nullptr || pipe2(ends.data(), O_CLOEXEC) != 0) {
    fail(std::strerror(errno));
    return;
  }
  std::string const size = std::to_string(width) + 'x' + std::to_string(height);
  std::string const rate = shortest(framesPerSecond);
  std::vector<std::string> words = {kProgram, "-loglevel",  "error",    "-nostdin", "-y",
                                    "-f",     "rawvideo",   "-pix_fmt", "bgr0",     "-s",
                                    size,     "-framerate", rate,       "-i",       "pipe:0"};
  bool const isGif = lowerEnding(_path) == ".gif";
  // A GIF has 256 colours, which are chosen for all frames together; most players of other films know one form only.
  for (char const* const word : {isGif ? "-vf" : "-pix_fmt", isGif ? kGifColors : "yuv420p"})
    words.emplace_back(word);
  // "file:" takes any name as a name.
  words.push_back("file:" + _partial);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(_words), STDERR_FILENO);
  // In a group of its own, an interruption from the keyboard does not reach it before it reaches this program.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  noteUnfinished(_partial);
  int const error = posix_spawnp(&_process, kProgram, &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  _pipe = ends[1];
  if (error != 0) {
    _process = -1;
    fail(std::string(kProgram) + ": " + std::strerror(error));
  }
}

FilmEncoder::~FilmEncoder() {
  if (_pipe >= 0) close(_pipe);
  wait();
  if (_words != nullptr) std::fclose(_words);
  std::error_code ignored;
  std::filesystem::remove(_partial, ignored);
  noteUnfinished({});
}

void FilmEncoder::removeUnfinished() {
  if (unfinished[0] != '\0') unlink(unfinished.data());
}

void FilmEncoder::fail(std::string reason) {
  if (_message.empty()) _message = "cannot write " + printable(_path) + ": " + std::move(reason);
}

int FilmEncoder::wait() {
  if (_process < 0) return 0;
  int status = 0;
  while (waitpid(_process, &status, 0) < 0 && errno == EINTR) {
  }
  _process = -1;
  return status;
}

/// The first line that the program printed, which is nearest to the cause: with the film's own name, and without the part
/// of the program that it comes from.
std::string FilmEncoder::firstWords() const {
  if (_words == nullptr) return {};
  std::rewind(_words);
  std::array<char, 1024> buffer;
  if (std::fgets(buffer.data(), static_cast<int>(buffer.size()), _words) == nullptr) return {};
  std::string line = buffer.data();
  if (std::size_t const end = line.find("] "); line.starts_with('[') && end != std::string::npos)
    line.erase(0, end + 2);
  if (std::size_t const at = line.find(_partial); at != std::string::npos)
    line.replace(at, _partial.size(), _path);
  line.erase(line.find_last_not_of("\r\n ") + 1);
  return line;
}

void FilmEncoder::failAs(int status) {
  std::string reason = kProgram;
  reason += WIFSIGNALED(status)
                ? std::string(" was ended by the signal \"") + strsignal(WTERMSIG(status)) + '"'
                : " failed";
  std::string const words = firstWords();
  fail(words.empty() ? reason : reason + ": " + printable(words));
}

bool FilmEncoder::add(std::vector<std::uint32_t> const& pixels) {
  if (!_message.empty()) return false;
  NoPipeSignal const quiet;
  auto const* bytes = reinterpret_cast<char const*>(pixels.data());
  std::size_t left = pixels.size() * sizeof(std::uint32_t);
  while (left > 0) {
    ssize_t const written = write(_pipe, bytes, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (errno != EPIPE) {
        fail(std::strerror(errno));
      } else {
        // It has ended before its time, and may have said why.
        failAs(wait());
      }
      return false;
    }
    bytes += written;
    left -= static_cast<std::size_t>(written);
  }
  return true;
}

bool FilmEncoder::commit() {
  if (_pipe >= 0) close(_pipe);
  _pipe = -1;
  // It prints errors only. After some, as on a full disk, it ends as if all were well.
  if (int const status = wait(); status != 0 || !firstWords().empty()) failAs(status);
  if (!_message.empty()) return false;
  std::error_code error;
  std::filesystem::rename(_partial, _path, error);
  if (error) fail(error.message());
  return _message.empty();
}

}  // namespace knanim
