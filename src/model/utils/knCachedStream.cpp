#include "model/utils/knCachedStream.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <streambuf>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

/// A file descriptor. Once an operation on it has failed, all further ones fail without reaching the file,
/// and the stream is told at once: by its results alone a streambuf can't tell a failed read from the file's
/// end.
class File {
 public:
  explicit File(std::ios& stream) : _stream(stream) {}
  ~File() { close(); }
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  bool isOpen() const { return _descriptor >= 0; }

  void open(char const* name, int flags) {
    if (name == nullptr) return;
    do {
      _descriptor = ::open(name, flags | O_CLOEXEC, 0666);
    } while (_descriptor < 0 && errno == EINTR);
    struct stat status {};
    if (isOpen() && ::fstat(_descriptor, &status) == 0 && S_ISDIR(status.st_mode)) close();
  }

  bool close() { return isOpen() && ::close(std::exchange(_descriptor, -1)) == 0 && !_hasFailed; }

  bool write(char const* bytes, std::streamsize count) {
    while (count > 0 && isUsable()) {
      ssize_t const written = ::write(_descriptor, bytes, static_cast<std::size_t>(count));
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        fail();
      } else {
        bytes += written;
        count -= written;
      }
    }
    return isUsable();
  }

  /// The number of bytes read, which may be less than `count`; 0 at the end and after a failure.
  std::streamsize read(char* bytes, std::streamsize count) {
    while (isUsable()) {
      ssize_t const got = ::read(_descriptor, bytes, static_cast<std::size_t>(count));
      if (got >= 0) return got;
      if (errno != EINTR) fail();
    }
    return 0;
  }

  /// The new position, or -1.
  std::streamoff seek(std::streamoff offset, std::ios::seekdir direction) const {
    if (!isUsable()) return -1;
    int const whence = direction == std::ios::beg   ? SEEK_SET
                       : direction == std::ios::cur ? SEEK_CUR
                                                    : SEEK_END;
    return ::lseek(_descriptor, offset, whence);
  }

 private:
  bool isUsable() const { return isOpen() && !_hasFailed; }

  void fail() {
    _hasFailed = true;
    _stream.setstate(std::ios::badbit);
  }

  std::ios& _stream;
  int _descriptor = -1;
  bool _hasFailed = false;
};

std::unique_ptr<char[]> allocateBuffer(std::size_t size) {
  if (size > PTRDIFF_MAX) return nullptr;
  return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

}  // namespace

class cached_ofstream::Buffer : public std::streambuf {
 public:
  Buffer(std::ios& stream, char const* name, std::size_t size)
      : _file(stream), _memory(allocateBuffer(size)) {
    if (_memory == nullptr) return;
    _file.open(name, O_WRONLY | O_CREAT | O_TRUNC);
    if (isOpen()) _end = _memory.get() + size;
    makeEmpty();
  }
  ~Buffer() override { finish(); }

  bool isOpen() const { return _file.isOpen(); }
  bool close() { return finish(); }

 protected:
  int_type overflow(int_type next) override {
    if (traits_type::eq_int_type(next, traits_type::eof()))
      return flush() ? traits_type::not_eof(next) : next;
    char const byte = traits_type::to_char_type(next);
    return Buffer::xsputn(&byte, 1) == 1 ? next : traits_type::eof();
  }

  std::streamsize xsputn(char const* bytes, std::streamsize count) override {
    if (count <= 0) return 0;
    if (count > epptr() - pptr()) {
      if (!flush()) return 0;
      if (count >= epptr() - pptr()) return _file.write(bytes, count) ? count : 0;
    }
    std::memcpy(pptr(), bytes, static_cast<std::size_t>(count));
    setp(pptr() + count, epptr());  // unlike pbump, takes any count
    return count;
  }

  int sync() override { return flush() ? 0 : -1; }

  pos_type seekoff(off_type offset, std::ios::seekdir direction, std::ios::openmode) override {
    if (offset == 0 && direction == std::ios::cur) {
      off_type const position = _file.seek(0, direction);
      return position < 0 ? position : position + pending();
    }
    return flush() ? _file.seek(offset, direction) : off_type(-1);
  }

  pos_type seekpos(pos_type position, std::ios::openmode mode) override {
    return Buffer::seekoff(off_type(position), std::ios::beg, mode);
  }

 private:
  std::streamsize pending() const { return pptr() - _memory.get(); }
  void makeEmpty() { setp(_memory.get(), _end != nullptr ? _end : _memory.get()); }

  bool flush() {
    bool const isWritten = _file.write(_memory.get(), pending());
    makeEmpty();
    return isWritten;
  }

  bool finish() {
    bool const isWritten = flush();
    _end = nullptr;
    makeEmpty();
    return _file.close() && isWritten;
  }

  File _file;
  std::unique_ptr<char[]> _memory;
  char* _end = nullptr;  // null while no file is open: nothing fits in
};

cached_ofstream::cached_ofstream(char const* name, std::size_t bufferSize, int /*mode*/)
    : std::ostream(nullptr), _buffer(std::make_unique<Buffer>(*this, name, bufferSize)) {
  init(_buffer.get());
  if (!is_open()) setstate(failbit);
}

cached_ofstream::cached_ofstream(std::string const& name, std::size_t bufferSize, int mode)
    : cached_ofstream(name.c_str(), bufferSize, mode) {}

cached_ofstream::~cached_ofstream() = default;

bool cached_ofstream::is_open() const { return _buffer->isOpen(); }

bool cached_ofstream::close() {
  if (!_buffer->close()) setstate(failbit);
  return !fail();
}

/// The first byte of the memory keeps the last one of the piece before, so that one byte can always be put
/// back.
class cached_ifstream::Buffer : public std::streambuf {
 public:
  Buffer(std::ios& stream, char const* name, std::size_t size) : _file(stream) {
    std::size_t const pieceSize = std::max<std::size_t>(size, 1);
    if (pieceSize >= PTRDIFF_MAX) return;
    _memory = allocateBuffer(pieceSize + 1);
    if (_memory == nullptr) return;
    _pieceSize = static_cast<std::streamsize>(pieceSize);
    _file.open(name, O_RDONLY);
    dropPiece();
  }

  bool isOpen() const { return _file.isOpen(); }

  bool close() {
    if (_memory != nullptr) dropPiece();
    return _file.close();
  }

 protected:
  int_type underflow() override {
    bool const isFilled = gptr() < egptr() || fill();
    return isFilled ? traits_type::to_int_type(*gptr()) : traits_type::eof();
  }

  std::streamsize xsgetn(char* bytes, std::streamsize count) override {
    std::streamsize got = 0;
    while (got < count) {
      std::streamsize const wanted = count - got;
      std::streamsize const step = std::min(wanted, remaining());
      if (step > 0) {
        std::memcpy(bytes + got, gptr(), static_cast<std::size_t>(step));
        setg(eback(), gptr() + step, egptr());
        got += step;
      } else if (wanted >= _pieceSize) {
        std::streamsize const read = _file.read(bytes + got, wanted);
        if (read <= 0) break;
        got += read;
        _memory[0] = bytes[got - 1];
        setg(_memory.get(), piece(), piece());
      } else if (!fill()) {
        break;
      }
    }
    return got;
  }

  pos_type seekoff(off_type offset, std::ios::seekdir direction, std::ios::openmode) override {
    if (direction == std::ios::cur) {
      off_type const position = _file.seek(0, direction);
      if (position < 0 || offset == 0) return position < 0 ? position : position - remaining();
      if (__builtin_sub_overflow(offset, remaining(), &offset)) return off_type(-1);
    }
    off_type const position = _file.seek(offset, direction);
    if (position >= 0) dropPiece();
    return position;
  }

  pos_type seekpos(pos_type position, std::ios::openmode mode) override {
    return Buffer::seekoff(off_type(position), std::ios::beg, mode);
  }

 private:
  char* piece() const { return _memory.get() + 1; }
  std::streamsize remaining() const { return egptr() - gptr(); }
  void dropPiece() { setg(piece(), piece(), piece()); }

  bool fill() {
    bool const hasLast = gptr() > eback();
    char const last = hasLast ? gptr()[-1] : '\0';
    std::streamsize const read = isOpen() ? _file.read(piece(), _pieceSize) : 0;
    if (read <= 0) return false;
    _memory[0] = last;
    setg(piece() - (hasLast ? 1 : 0), piece(), piece() + read);
    return true;
  }

  File _file;
  std::unique_ptr<char[]> _memory;
  std::streamsize _pieceSize = 1;
};

cached_ifstream::cached_ifstream(char const* name, std::size_t bufferSize, int /*mode*/)
    : std::istream(nullptr),
      _name(name != nullptr ? name : ""),
      _buffer(std::make_unique<Buffer>(*this, name, bufferSize)) {
  init(_buffer.get());
  if (!is_open()) setstate(failbit);
}

cached_ifstream::cached_ifstream(std::string const& name, std::size_t bufferSize, int mode)
    : cached_ifstream(name.c_str(), bufferSize, mode) {}

cached_ifstream::~cached_ifstream() = default;

bool cached_ifstream::is_open() const { return _buffer->isOpen(); }

bool cached_ifstream::close() {
  bool const isComplete = _buffer->close();
  if (!isComplete) setstate(failbit);
  return isComplete;
}
