#pragma once

#include <string>
#include <string_view>

namespace knanim {

/// A file that is either written whole or not at all: the content goes to a temporary file in the same folder,
/// which takes the place of the old file in `commit`. Without a commit the old file stays as it was and nothing is
/// left over. What is no regular file (a device, a pipe, an open descriptor) is written directly, and "-" is
/// standard output; there is no way back from that.
///
/// Links are followed, and a file that is replaced keeps its permissions.
class OutputFile {
 public:
  /// Opens `path` for writing; ask `isGood` whether it worked.
  explicit OutputFile(std::string path);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  /// False once anything failed.
  bool isGood() const { return _error == 0; }
  /// "cannot write PATH: reason"; empty while all is good.
  std::string message() const;
  std::string const& path() const { return _path; }

  /// Appends. After a failure it does nothing. Output is collected in a buffer of some hundred kilobytes.
  bool write(std::string_view bytes);
  /// Writes what is left, and puts the new file in its place. False when anything failed, now or earlier. Nothing
  /// can be written after that.
  bool commit();

 private:
  void openTemporary();
  void openDirectly();
  bool flush();
  bool closeFile();
  void fail(int error);

  std::string _path;
  std::string _target;     ///< the file to replace, links resolved; empty when writing directly
  std::string _temporary;  ///< empty when there is none
  std::string _buffer;
  int _descriptor = -1;
  int _error = 0;
};

/// Whether `path` is where the program prints, so that nothing else may be printed there.
bool isStandardOutput(std::string const& path);

}  // namespace knanim
