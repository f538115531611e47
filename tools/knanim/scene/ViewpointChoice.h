#pragma once

#include "knanim/playing/CameraMove.h"
#include "knanim/scene/SceneFigure.h"
#include "knanim/support/Failure.h"
#include "knanim/support/Options.h"

#include <variant>

namespace knanim {

/// The room that a figure takes: an upright box.
struct FigureRoom {
  osg::Pnt3f low;
  osg::Pnt3f high;

  osg::Pnt3f center() const { return low + (high - low) * 0.5F; }
  float size() const { return osg::length(high - low); }
};

/// The viewpoints that the options ask for: cameras of the model by their names, then the look-ats of the command line;
/// without either all cameras of the model, and where these are too few for the move four places around `room`; for a
/// turntable the first of them. Cameras that are not named are passed over unless `useOwn`. Fails with `Usage` for names that no camera has, texts that are no look-at, and less
/// viewpoints than the move needs.
std::variant<std::vector<Viewpoint>, Failure> chooseViewpoints(ShootOptions const& options,
                                                               AnimatedScene const& scene,
                                                               FigureRoom const& room, bool useOwn = true);

/// That no camera of a scene has a name, and which names there are.
std::string noCamera(std::string const& name, std::span<SceneCamera const> cameras);

}  // namespace knanim
