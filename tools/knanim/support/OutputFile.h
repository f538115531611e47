#pragma once

#include "knanim/support/Failure.h"
#include "model/utils/FileReplacement.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace knanim {

/// An output that is either written whole or not at all, as osg::FileReplacement does it. "-" is standard output,
/// and the path of an open descriptor is written where that stands; from that there is no way back.
class OutputFile {
 public:
  /// Opens `path` for writing; ask `isGood` whether it worked.
  explicit OutputFile(std::string path);
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  /// False once anything failed.
  bool isGood() const { return _file->isGood(); }
  /// "cannot write PATH: reason"; empty while all is good.
  std::string message() const;
  std::string const& path() const { return _path; }

  /// Appends. After a failure it does nothing. Output is collected in a buffer of some hundred kilobytes.
  bool write(std::string_view bytes);
  /// Writes what is left, and puts the new file in its place. False when anything failed, now or earlier. Nothing
  /// can be written after that.
  bool commit();

 private:
  bool flush();

  std::string _path;
  std::string _buffer;
  std::optional<osg::FileReplacement> _file;
};

// The outputs of a command are looked at one after the other before anything is done for them, and kept in mind until the
// next command begins.

/// Looks at one more output of a command, empty for none. Fails with `Usage` when it leads to one of the files that are
/// read, or where another output goes, and with `OutputUnwritable` when a file cannot be made there.
std::optional<Failure> checkOutput(std::string const& output, std::span<std::string const> inputs);

/// The same for a folder of numbered pictures, "frame-00000.png", behind all other outputs.
std::optional<Failure> checkFrameFolder(std::string const& folder);

/// Fails with `Usage` when an output leads to one of these files, which turned out to be read too.
std::optional<Failure> checkKeeps(std::span<std::string const> files);

/// A new command begins.
void forgetOutputs();

/// Whether `path` is where the program prints, so that nothing else may be printed there.
bool isStandardOutput(std::string const& path);

}  // namespace knanim
