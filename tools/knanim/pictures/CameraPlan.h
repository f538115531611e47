#pragma once

#include "knanim/pictures/FilmPanel.h"
#include "knanim/playing/CameraMove.h"

#include <span>

namespace knanim {

/// What a camera is at one moment, and what it sees.
struct CameraMoment {
  double time = 0;  ///< seconds
  osg::Pnt3f from;
  osg::Pnt3f at;
  osg::Matrix toWorld;  ///< from the space that it looks down -z in
  osg::Vec4f edges;     ///< left, right, bottom and top of what it sees, at distance 1
  double skew = 0;
  double near = 0.1;
  double far = 1e4;
  double exposure = 1;

  PictureView view(double aspect) const;
};

/// Reads a camera as it is now, for pictures of an aspect (width divided by height).
CameraMoment momentOf(osg::UberCamera const& camera, double time, double aspect);

/// A picture from above: the figure as in `frame`, the way of the camera, where it looks at some moments, and the
/// viewpoints by their numbers.
struct CameraPlan {
  std::string title;
  std::string subtitle;
  FilmFrame frame;
  std::span<CameraMoment const> way;  ///< in short steps
  std::span<CameraMoment const> shown;
  std::span<Viewpoint const> viewpoints;
};

/// Draws it. False with a `message` when it cannot be drawn.
bool drawCameraPlan(CameraPlan plan, SceneFigure const& figure, PictureFormat format, std::string& bytes,
                    std::string& message);

}  // namespace knanim
