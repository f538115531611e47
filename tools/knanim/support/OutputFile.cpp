#include "knanim/support/OutputFile.h"

#include "knanim/support/Text.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace knanim {
namespace {

constexpr std::size_t kBufferSize = 256UL * 1024;
constexpr int kMaxLinks = 40;

/// Where a path leads when every link is followed, also when the last one leads to nothing yet.
std::string resolveLinks(std::string path) {
  for (int i = 0; i < kMaxLinks; ++i) {
    std::string target(4096, '\0');
    ssize_t const length = readlink(path.c_str(), target.data(), target.size());
    if (length <= 0) return path;
    target.resize(static_cast<std::size_t>(length));
    std::size_t const folder = path.rfind('/');
    bool const relative = target.front() != '/' && folder != std::string::npos;
    if (relative) target.insert(0, path, 0, folder + 1);
    path = std::move(target);
  }
  return path;
}

/// The permissions of a new file, as the process's mask leaves them.
mode_t defaultMode() {
  mode_t const mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

/// The open descriptor that a path names, -1 when it names none. Opening such a path anew would start at the
/// beginning of what stands behind it.
int openDescriptor(std::string_view path) {
  if (path == "-" || path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (std::string_view const folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (!path.starts_with(folder)) continue;
    int number = -1;
    auto const [end, error] = std::from_chars(path.data() + folder.size(), path.data() + path.size(), number);
    if (error == std::errc() && end == path.data() + path.size()) return number;
  }
  return -1;
}

std::string temporaryName(std::string const& target) {
  std::size_t const folder = target.rfind('/');
  std::string const prefix = folder == std::string::npos ? "" : target.substr(0, folder + 1);
  return prefix + ".knanim-XXXXXX";
}

}  // namespace

OutputFile::OutputFile(std::string path) : _path(std::move(path)) {
  if (int const given = openDescriptor(_path); given >= 0) {
    std::fflush(nullptr);
    _descriptor = fcntl(given, F_DUPFD_CLOEXEC, 0);
    if (_descriptor < 0) fail(errno);
    return;
  }
  struct stat status {};
  bool const exists = stat(_path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) {
    fail(EISDIR);
  } else if (exists && !S_ISREG(status.st_mode)) {
    openDirectly();
  } else if (exists && access(_path.c_str(), W_OK) != 0) {
    fail(errno);
  } else {
    openTemporary();
    if (isGood() && fchmod(_descriptor, exists ? status.st_mode & 07777 : defaultMode()) != 0) fail(errno);
  }
}

OutputFile::~OutputFile() {
  closeFile();
  if (!_temporary.empty()) unlink(_temporary.c_str());
}

void OutputFile::openTemporary() {
  _target = resolveLinks(_path);
  std::string name = temporaryName(_target);
  _descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (_descriptor < 0) return fail(errno);
  _temporary = name;
}

void OutputFile::openDirectly() {
  _descriptor = open(_path.c_str(), O_WRONLY | O_CLOEXEC);
  if (_descriptor < 0) fail(errno);
}

void OutputFile::fail(int error) {
  if (_error == 0) _error = error;
}

std::string OutputFile::message() const {
  if (isGood()) return {};
  return "cannot write " + (isStandardOutput(_path) ? "to standard output" : printable(_path)) + ": " +
         std::strerror(_error);
}

bool OutputFile::write(std::string_view bytes) {
  if (!isGood()) return false;
  _buffer += bytes;
  return _buffer.size() < kBufferSize || flush();
}

bool OutputFile::flush() {
  std::string_view rest = _buffer;
  while (isGood() && !rest.empty()) {
    ssize_t const written = ::write(_descriptor, rest.data(), rest.size());
    if (written >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
  _buffer.clear();
  return isGood();
}

bool OutputFile::closeFile() {
  int const descriptor = _descriptor;
  _descriptor = -1;
  if (descriptor < 0) return isGood();
  if (close(descriptor) != 0) fail(errno);
  return isGood();
}

bool OutputFile::commit() {
  if (_descriptor < 0) fail(EBADF);
  if (!isGood() || !flush()) return false;
  // Otherwise a crash of the machine could leave the new name with nothing behind it.
  if (!_temporary.empty() && fsync(_descriptor) != 0) fail(errno);
  if (!closeFile()) return false;
  if (_temporary.empty()) return true;
  if (std::rename(_temporary.c_str(), _target.c_str()) != 0) {
    fail(errno);
    return false;
  }
  _temporary.clear();
  return true;
}

bool isStandardOutput(std::string const& path) { return openDescriptor(path) == STDOUT_FILENO; }

}  // namespace knanim
