#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/pictures/FilmPicture.h"
#include "knanim/playing/FrameRange.h"
#include "knanim/playing/Playback.h"

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// `count` frames spread evenly over a range, its ends among them; each frame once.
std::vector<long long> spreadFrames(FrameRange const& range, std::size_t count);

/// The name of the camera that looks at all of the figure from aside.
inline constexpr char const* kFittedCamera = "fit";

struct Shooting {
  FilmPicture film;
  std::string cameraName;         ///< empty for the fitted one
  bool cameraSawNothing = false;  ///< the model's own camera was passed over
};

/// Plays the frames and keeps what is seen. `camera` names a camera of the model, or is `kFittedCamera`; when it
/// is empty the model's first camera films, or the fitted one where the model has none or it sees nothing. Fails
/// with `Usage` for a name that no camera has, with `Failed` when interrupted.
std::variant<Shooting, Failure> shootFilm(SceneFigure const& figure, AnimatedScene const& scene,
                                          FrameRange const& range, std::span<long long const> frames,
                                          std::string const& camera, Playback& playback);

}  // namespace knanim
