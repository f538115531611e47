#pragma once

#include "model/utils/Export.h"

#include <cstddef>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

// File streams with a buffer of the caller's size: the file is reached in pieces of that size, however small
// the pieces are that are read or written. `bufferSize` is in bytes; 0 reaches the file with every operation.
// `mode` is 1 for binary and 0 for text, which are the same here: bytes are never converted.
//
// Nothing fails silently: what can't be opened (for want of memory for the buffer, too) sets the failbit,
// what can't be read or written the badbit, and close() reports whatever went wrong before it. Streams can
// seek where the file can. A stream is used by one thread at a time.

/// Writes a file, replacing what it held. A write that fails is final: nothing is written after a gap.
class KNSCENE_API cached_ofstream : public std::ostream {
 public:
  /// Opens, and creates when needed, the file `name`. Null fails like a name that can't be opened.
  cached_ofstream(char const* name, std::size_t bufferSize, int mode);
  cached_ofstream(std::string const& name, std::size_t bufferSize, int mode);
  /// Closes the file; only close() tells whether all was written.
  ~cached_ofstream() override;

  /// Whether the file was opened and is not closed yet.
  bool is_open() const;
  /// Writes out the buffer and closes the file, which is closed even when that fails. True when the file was
  /// open, every byte given to the stream reached the system and the stream's state is good; otherwise
  /// failbit is set.
  bool close();

 private:
  class Buffer;
  std::unique_ptr<Buffer> _buffer;
};

/// Reads a file. At its end eofbit is set as by any stream; an error in between also sets badbit, so that a
/// file that can't be read on is never taken for one that ends there.
class KNSCENE_API cached_ifstream : public std::istream {
 public:
  /// Opens the file `name`. Null and directories fail like a name that can't be opened.
  cached_ifstream(char const* name, std::size_t bufferSize, int mode);
  cached_ifstream(std::string const& name, std::size_t bufferSize, int mode);
  ~cached_ifstream() override;

  /// Whether the file was opened and is not closed yet.
  bool is_open() const;
  /// Closes the file. True when it was open and no read failed; having met its end is no failure. Otherwise
  /// failbit is set.
  bool close();
  /// The name that the stream was opened by; empty for null.
  std::string const& getName() const { return _name; }

 private:
  class Buffer;
  std::string _name;
  std::unique_ptr<Buffer> _buffer;
};
