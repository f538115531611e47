#include "knanim/support/Console.h"

#include "knanim/support/Text.h"

#include <cstdlib>

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

HeldOutput::HeldOutput(Terminal terminal)
    : _output(terminal.output), _held{open_memstream(&_text, &_size), terminal.errors} {
  // Without memory for it, nothing is held.
  if (_held.output == nullptr) _held.output = _output;
}

HeldOutput::~HeldOutput() {
  if (_held.output != _output) std::fclose(_held.output);
  std::free(_text);
}

void HeldOutput::release() {
  if (_held.output == _output) return;
  std::fclose(_held.output);
  std::fwrite(_text, 1, _size, _output);
  _held.output = _output;
}

void printRow(std::FILE* output, char const* label, std::string const& text) {
  std::fprintf(output, "  %-10s  %s\n", label, text.c_str());
}

void printFiles(std::FILE* output, std::vector<WrittenFile> const& files) {
  for (WrittenFile const& file : files) printRow(output, "file", printable(file.path) + ", " + file.what);
}

}  // namespace knanim
