#pragma once

#include "model/utils/Export.h"

#include <atomic>
#include <string>
#include <string_view>

namespace osg {
inline namespace knscene {

/// Writes a file whole or not at all: the bytes go to a new file beside the old one, and `commit` gives it the
/// old one's name. Without a commit the old file stays as it was, and the new one goes away with the object.
///
/// Where the file system can do that, the new file has no name before the commit, so that nothing stays behind
/// even when the process is killed. Elsewhere its name can't be guessed, and no file that was there is opened.
/// Links are followed, also one that leads to nothing yet. A file that is replaced keeps its permissions, and
/// has to be writable. What is no regular file, as a device or a pipe, is written to directly; from that there
/// is no way back.
///
/// Objects may be used on any thread, each by one at a time.
class KNSCENE_API FileReplacement {
 public:
  /// Begins a new file beside the one at `path`.
  explicit FileReplacement(std::string const& path);
  /// Writes directly to an open descriptor, of which it takes a copy.
  explicit FileReplacement(int descriptor);
  /// Drops the new file unless it was committed.
  ~FileReplacement();
  FileReplacement(FileReplacement const&) = delete;
  FileReplacement& operator=(FileReplacement const&) = delete;

  /// False once anything failed.
  bool isGood() const { return _error == 0; }
  /// Why it failed, in the system's words; empty while all is good.
  std::string reason() const;

  /// Appends, unbuffered. False when anything failed, now or earlier.
  bool write(std::string_view bytes);
  /// Puts the new file in its place, once its content is on the disk. False when anything failed, now or earlier,
  /// and when there was a commit before. Nothing can be written after it.
  bool commit();

  /// Removes the named unfinished files of this process, for a handler of signals that ends the process. May be
  /// called at any moment, also within the operations above.
  static void removeUnfinished() noexcept;

 private:
  void openBeside(std::string const& path);
  bool openNameless(std::string const& folder);
  bool openNamed();
  bool giveName();
  void forgetName();
  bool close();
  bool fail(int error);

  std::string _target;                         ///< the file to replace; empty when writing directly
  std::string _temporary;                      ///< the name of the new file while it has one
  std::atomic<char const*>* _place = nullptr;  ///< where `removeUnfinished` finds that name
  int _descriptor = -1;
  int _error = 0;
  bool _isNameless = false;
};

}  // namespace knscene
}  // namespace osg
