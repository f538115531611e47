#include "knanim/support/Console.h"

#include "knanim/support/Text.h"

namespace knanim {

ExitCode report(Failure const& failure, Terminal terminal) {
  std::fprintf(terminal.errors, "knanim: %s\n", failure.message.c_str());
  return failure.code;
}

void warn(std::string const& message, Terminal terminal) {
  std::fprintf(terminal.errors, "knanim: warning: %s\n", message.c_str());
}

void warn(std::vector<std::string> const& messages, Terminal terminal) {
  for (std::string const& message : messages) warn(message, terminal);
}

void printRow(std::FILE* output, char const* label, std::string const& text) {
  std::fprintf(output, "  %-10s  %s\n", label, text.c_str());
}

void printFiles(std::FILE* output, std::vector<WrittenFile> const& files) {
  for (WrittenFile const& file : files) printRow(output, "file", printable(file.path) + ", " + file.what);
}

}  // namespace knanim
