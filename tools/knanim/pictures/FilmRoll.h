#pragma once

#include "knanim/pictures/AnimatedPng.h"
#include "knanim/pictures/FilmPanel.h"
#include "knanim/support/Console.h"
#include "knanim/support/FilmEncoder.h"

#include <array>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// Where all frames of a film go.
struct FilmTargets {
  std::string frames;                            ///< a folder for numbered pictures; empty for none
  std::string film;                              ///< a moving picture; empty for none
  std::array<std::size_t, 2> size = {640, 360};  ///< in pixels, even numbers
  double framesPerSecond = 30;

  bool isEmpty() const { return frames.empty() && film.empty(); }
  double aspect() const { return static_cast<double>(size[0]) / static_cast<double>(size[1]); }
};

/// Width and height in pixels, as 640x360; fails with `Usage`.
std::variant<std::array<std::size_t, 2>, Failure> readFilmSize(std::string const& text);

/// Whether a film of this name can be made: a .png always, by the program itself; others where ffmpeg is installed. Fails
/// with `Usage` for an unknown ending of the name and for a .gif too fast for players, and else with `OutputUnwritable`.
std::optional<Failure> checkFilm(std::string const& path, double framesPerSecond);

/// Draws the frames of a film one by one, each into a picture of its own, into a moving one, or both. A film appears in
/// its place when it is whole.
class FilmRoll {
 public:
  /// For `count` frames.
  FilmRoll(FilmTargets targets, std::size_t count);

  std::optional<Failure> add(FilmFrame const& frame, SceneFigure const& figure, FilmStage const& stage);
  /// Ends the film. `written` gets a line for each of the targets.
  std::optional<Failure> commit(std::vector<WrittenFile>& written);

 private:
  std::optional<Failure> open();
  std::optional<Failure> writeFrame(long long number, Canvas& canvas);
  std::size_t countOthers() const;

  FilmTargets _targets;
  std::size_t _count;
  bool _isOpen = false;
  std::set<std::string> _names;  ///< of the frames in the folder
  std::optional<FilmEncoder> _encoder;
  std::optional<AnimatedPng> _picture;
};

}  // namespace knanim
