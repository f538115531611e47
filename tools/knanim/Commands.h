#pragma once

#include "knanim/ExitCode.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace knanim {

/// Where a command prints: what it found, and warnings, failures and progress.
struct Terminal {
  std::FILE* output = stdout;
  std::FILE* errors = stderr;
};

struct PlayOptions {
  std::string model;
  std::string animation;  ///< number or name; empty for the first one
  double framesPerSecond = 30;
  std::optional<double> from;  ///< seconds
  std::optional<double> to;    ///< seconds
  std::string csv;             ///< empty for none
  std::string plot;            ///< empty for none
  std::vector<std::string> channels;
  std::string strip;  ///< a picture of several frames; empty for none
  std::size_t stripFrames = 8;
  std::string image;               ///< a picture of one frame; empty for none
  std::optional<long long> frame;  ///< the one of the image; the first when it is not given
  std::string camera;              ///< for strip and image: a name, "fit", or empty for the model's first one
  bool clips = false;              ///< arrange the animations as clips
  std::string clipsPlot;           ///< a picture of the clips; empty for none
};

/// Plays an animation of a model: lets the library evaluate its scene at every frame, writes and draws what is
/// asked for, prints what it found.
ExitCode play(PlayOptions const& options, Terminal terminal);

struct InfoOptions {
  std::string model;
  std::string animation;  ///< the one whose nodes are listed: number or name; empty for the first one
  bool allNodes = false;  ///< no limit to the length of the list
};

/// Prints what is in a model.
ExitCode info(InfoOptions const& options, Terminal terminal);

/// Carries out a command line as the program's main function gets it.
ExitCode runCommandLine(int count, char const* const* arguments, Terminal terminal);

}  // namespace knanim
