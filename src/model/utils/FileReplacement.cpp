#include "model/utils/FileReplacement.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace osg {
inline namespace knscene {

namespace {

constexpr int MaxLinks = 40;
constexpr int MaxAttempts = 100;

/// The names of unfinished files; more than these are not known to `removeUnfinished`.
std::array<std::atomic<char const*>, 32> unfinished;

std::atomic<char const*>* enter(char const* name) {
  for (auto& place : unfinished) {
    char const* nobody = nullptr;
    if (place.compare_exchange_strong(nobody, name)) return &place;
  }
  return nullptr;
}

/// Ends with a slash; empty for the current folder.
std::string folderOf(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

/// Where a path leads when every link is followed, also when the last one leads to nothing yet. Empty when they
/// lead in a circle.
std::string followLinks(std::string path) {
  for (int i = 0; i < MaxLinks; ++i) {
    std::string target(4096, '\0');
    ssize_t const length = ::readlink(path.c_str(), target.data(), target.size());
    if (length <= 0) return path;
    target.resize(static_cast<std::size_t>(length));
    path = target.front() == '/' ? target : folderOf(path) + target;
  }
  return {};
}

/// The permissions of a new file, as the process's mask leaves them.
mode_t defaultMode() {
  mode_t const mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

}  // namespace

FileReplacement::FileReplacement(std::string const& path) {
  struct stat status {};
  bool const exists = ::stat(path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) {
    fail(EISDIR);
  } else if (exists && !S_ISREG(status.st_mode)) {
    _descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (_descriptor < 0) fail(errno);
  } else if (exists && ::access(path.c_str(), W_OK) != 0) {
    fail(errno);
  } else {
    openBeside(path);
    if (isGood() && ::fchmod(_descriptor, exists ? status.st_mode & 07777 : defaultMode()) != 0) fail(errno);
  }
}

FileReplacement::FileReplacement(int descriptor) : _descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
  if (_descriptor < 0) fail(errno);
}

FileReplacement::~FileReplacement() {
  close();
  if (!_temporary.empty()) ::unlink(_temporary.c_str());
  forgetName();
}

void FileReplacement::openBeside(std::string const& path) {
  _target = followLinks(path);
  if (_target.empty()) {
    fail(path.empty() ? ENOENT : ELOOP);
  } else if (!openNameless(folderOf(_target)) && !openNamed()) {
    fail(errno);
  }
}

/// The way to its later name leads through the folder of descriptors.
bool FileReplacement::openNameless(std::string const& folder) {
  if (::access("/proc/self/fd", X_OK) != 0) return false;
  _descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600);
  _isNameless = _descriptor >= 0;
  return _isNameless;
}

bool FileReplacement::openNamed() {
  _temporary = folderOf(_target) + ".unfinished-XXXXXX";
  // Entered before the file is made; until then the name leads to nothing.
  _place = enter(_temporary.c_str());
  _descriptor = ::mkostemp(_temporary.data(), O_CLOEXEC);
  if (_descriptor >= 0) return true;
  int const error = errno;
  forgetName();
  errno = error;
  return false;
}

/// A name for the file that has none. The system gives no file a name that is taken, so it gets one beside that
/// is free, and takes the place of the old file by that.
bool FileReplacement::giveName() {
  std::string const self = "/proc/self/fd/" + std::to_string(_descriptor);
  for (int i = 0; i < MaxAttempts; ++i) {
    unsigned long long number = 0;
    if (::getentropy(&number, sizeof(number)) != 0) return fail(errno);
    char digits[17];
    std::snprintf(digits, sizeof(digits), "%016llx", number);
    _temporary = folderOf(_target) + ".unfinished-" + digits;
    _place = enter(_temporary.c_str());
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, _temporary.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
    int const error = errno;
    forgetName();
    if (error != EEXIST) return fail(error);
  }
  return fail(EEXIST);
}

void FileReplacement::forgetName() {
  if (_place != nullptr) _place->store(nullptr);
  _place = nullptr;
  _temporary.clear();
}

bool FileReplacement::fail(int error) {
  if (_error == 0) _error = error;
  return false;
}

std::string FileReplacement::reason() const { return isGood() ? "" : std::strerror(_error); }

bool FileReplacement::write(std::string_view bytes) {
  if (_descriptor < 0) fail(EBADF);
  while (isGood() && !bytes.empty()) {
    ssize_t const written = ::write(_descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
  return isGood();
}

bool FileReplacement::close() {
  int const descriptor = _descriptor;
  _descriptor = -1;
  return descriptor < 0 || ::close(descriptor) == 0;
}

bool FileReplacement::commit() {
  if (_descriptor < 0) fail(EBADF);
  if (!isGood()) return false;
  // Otherwise a crash of the machine could leave the new name with nothing behind it.
  if (!_target.empty() && ::fsync(_descriptor) != 0) return fail(errno);
  if (_isNameless && !giveName()) return false;
  if (!close()) return fail(errno);
  if (_target.empty()) return true;
  if (::rename(_temporary.c_str(), _target.c_str()) != 0) return fail(errno);
  forgetName();
  return true;
}

void FileReplacement::removeUnfinished() noexcept {
  for (auto const& place : unfinished) {
    if (char const* const name = place.load()) ::unlink(name);
  }
}

}  // namespace knscene
}  // namespace osg
