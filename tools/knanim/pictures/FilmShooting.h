#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/pictures/FilmPanel.h"
#include "knanim/playing/FrameRange.h"
#include "knanim/playing/Playback.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// `count` frames spread evenly over a range, its ends among them; each frame once.
std::vector<long long> spreadFrames(FrameRange const& range, std::size_t count);

/// The name of the camera that looks at all of the figure from aside.
inline constexpr char const* kFittedCamera = "fit";

/// A camera that does not show as much of the figure's points in every frame crops it.
inline constexpr double kLeastShown = 0.9;

struct Shooting {
  FilmPicture film;
  std::string cameraName;  ///< empty for the fitted one
  std::string warning;     ///< that the model's own camera was passed over, or sees nothing; empty for none
};

/// Plays the frames and keeps what is seen. `camera` names a camera of the model, or is `kFittedCamera`; when it
/// is empty the model's first camera films, or the fitted one where the model has none, or it sees nothing or crops what
/// it sees. Fails with `Usage` for a name that no camera has, with `Failed` when interrupted.
std::variant<Shooting, Failure> shootFilm(SceneFigure const& figure, AnimatedScene const& scene,
                                          FrameRange const& range, std::span<long long const> frames,
                                          std::string const& camera, Playback& playback);

/// The same for every frame of the range, one after the other, for pictures of `aspect` (width divided by height).
/// `receive` gets each frame and where it plays; what it returns ends the film. The film of the result is empty.
using FrameReceiver = std::function<std::optional<Failure>(FilmFrame const&, FilmStage const&)>;
std::variant<Shooting, Failure> shootAllFrames(SceneFigure const& figure, AnimatedScene const& scene,
                                               FrameRange const& range, std::string const& camera,
                                               double aspect, Playback& playback,
                                               FrameReceiver const& receive);

}  // namespace knanim
