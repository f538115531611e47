#pragma once

#include "knanim/support/Failure.h"
#include "knanim/support/Options.h"

#include <string>
#include <vector>

namespace knanim {

/// What a command wrote, for its report.
struct WrittenFile {
  std::string path;
  std::string what;  ///< as "8 frames"
};

/// Prints a failure, and returns its exit code.
ExitCode report(Failure const& failure, Terminal terminal);
void warn(std::string const& message, Terminal terminal);
void warn(std::vector<std::string> const& messages, Terminal terminal);

/// Prints lines of a label and a text, the texts below each other.
void printRow(std::FILE* output, char const* label, std::string const& text);
/// A line for each file.
void printFiles(std::FILE* output, std::vector<WrittenFile> const& files);

}  // namespace knanim
