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

/// Holds back what a command prints while it may still fail: a failure stands by itself then, without the head of a report.
class HeldOutput {
 public:
  explicit HeldOutput(Terminal terminal);
  ~HeldOutput();
  HeldOutput(HeldOutput const&) = delete;
  HeldOutput& operator=(HeldOutput const&) = delete;

  Terminal terminal() const { return _held; }
  /// Prints what was held. Nothing more may be printed through this.
  void release();

 private:
  std::FILE* _output;
  Terminal _held;
  char* _text = nullptr;
  std::size_t _size = 0;
};

/// Prints lines of a label and a text, the texts below each other.
void printRow(std::FILE* output, char const* label, std::string const& text);
/// A line for each file.
void printFiles(std::FILE* output, std::vector<WrittenFile> const& files);

}  // namespace knanim
