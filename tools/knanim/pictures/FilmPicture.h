#pragma once

#include "knanim/pictures/Canvas.h"
#include "knanim/pictures/PictureView.h"
#include "knanim/scene/SceneFigure.h"

#include <optional>
#include <string>
#include <vector>

namespace knanim {

struct FilmStage;

/// One moment of a film.
struct FilmFrame {
  long long frame = 0;
  double time = 0;  ///< seconds
  Pose pose;
  std::vector<std::vector<osg::Pnt3f>> trails;  ///< the ways of some joints up to this moment
  PictureView view;
  std::string label;             ///< in front of the frame's number; may be empty
  double exposure = 1;           ///< multiplies the light
  std::vector<FilmFrame> blend;  ///< further moments that are laid over this one, all of the same weight
};

/// Frames side by side, each with its number and time below.
struct FilmPicture {
  std::string title;
  std::string subtitle;
  double panelAspect = 1;  ///< width divided by height
  std::vector<FilmFrame> frames;
};

/// The aspect of panels (width divided by height) nearest to `aspect` that suits a picture of `frames` panels.
double boundedAspect(double aspect, std::size_t frames);

/// Width divided by height that lets all of the points fill a panel seen along `direction`, within the bounds of
/// what fits well into a picture of `frames` panels.
double filmAspect(std::span<osg::Pnt3f const> points, osg::Vec3f const& direction, std::size_t frames);

/// Gives all frames one view from aside, in which everything that they show has room, and the panels `aspect` or, where
/// none is given, the one that suits.
void useFittedView(FilmPicture& film, SceneFigure const& figure, std::optional<double> aspect = {});

/// Draws a film on a ground of squares at the lowest point of all poses, or on the one of `stage`. False with a `message` when it cannot
/// be drawn, as for want of memory.
bool drawFilm(FilmPicture const& film, SceneFigure const& figure, PictureFormat format, std::string& bytes,
              std::string& message, FilmStage const* stage = nullptr);

}  // namespace knanim
