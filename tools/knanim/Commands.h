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
};

/// Plays an animation of a model: evaluates every curve at every frame, writes what is asked for, prints what it
/// found.
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
