#pragma once

#include "knanim/pictures/FilmPicture.h"

namespace knanim {

/// Where a film plays: what all its panels have in common.
struct FilmStage {
  FilmStage(std::span<FilmFrame const> frames, SceneFigure const& figure);

  osg::Pnt3f center;      ///< on the ground
  float radius = 1;       ///< of the ground that is drawn
  float gridStep = 0.25;  ///< between the lines of the ground
  float figureSize = 1;   ///< from corner to corner, in the first frame
};

/// Draws one frame of a film into a box.
void drawFilmPanel(FilmFrame const& frame, SceneFigure const& figure, FilmStage const& stage, Box const& box,
                   Canvas& canvas);

}  // namespace knanim
