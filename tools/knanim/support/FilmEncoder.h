#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <sys/types.h>
#include <vector>

namespace knanim {

/// Makes a film of pictures by the program ffmpeg, which has to be installed; the ending of the file's name says of which
/// kind. The film is written beside the old file and renamed when it is whole.
class FilmEncoder {
 public:
  /// Starts the program; ask `message` whether it worked. Both sides are even numbers of pixels.
  FilmEncoder(std::string path, std::size_t width, std::size_t height, double framesPerSecond);
  ~FilmEncoder();
  FilmEncoder(FilmEncoder const&) = delete;
  FilmEncoder& operator=(FilmEncoder const&) = delete;

  /// Whether the program can be found.
  static bool isInstalled();

  /// Appends a picture of pixels as 0xRRGGBB. After a failure it does nothing.
  bool add(std::vector<std::uint32_t> const& pixels);
  /// Ends the film, and puts it in its place.
  bool commit();
  /// Removes the film that is being written, if there is one. May be called from a signal handler.
  static void removeUnfinished();
  /// Why it failed; empty while all is good.
  std::string const& message() const { return _message; }

 private:
  void fail(std::string reason);
  void failAs(int status);
  int wait();
  std::string firstWords() const;

  std::string _path;
  std::string _partial;
  std::string _message;
  int _pipe = -1;
  std::FILE* _words = nullptr;  ///< what the program prints
  pid_t _process = -1;
};

}  // namespace knanim
