#pragma once

#include "knanim/pictures/CameraPlan.h"
#include "knanim/support/Console.h"

#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace knanim {

/// What became of a move.
struct ShootRecord {
  std::vector<Viewpoint> viewpoints;
  std::vector<double> arrivals;  ///< at the viewpoints, in seconds
  std::size_t curves = 0;
  std::size_t keys = 0;
  std::vector<WrittenFile> files;
};

/// "a track through 4 viewpoints, 3 s each".
std::string describeMove(ShootOptions const& options, std::size_t viewpoints);

/// Prints viewpoints, curves, how evenly the camera moved from frame to frame, how near it came to each viewpoint, and
/// what was written. `way` has a moment for each frame.
void printShootReport(ShootOptions const& options, ShootRecord const& record,
                      std::span<CameraMoment const> way, std::string const& title, std::FILE* output);

}  // namespace knanim
