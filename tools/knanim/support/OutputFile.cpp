#include "knanim/support/OutputFile.h"

#include "knanim/support/Text.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

namespace knanim {
namespace {

constexpr std::size_t kBufferSize = 256UL * 1024;

/// The open descriptor that a path names, -1 when it names none. Opening such a path anew would start at the
/// beginning of what stands behind it.
int openDescriptor(std::string_view path) {
  if (path == "-" || path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (std::string_view const folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (!path.starts_with(folder)) continue;
    int number = -1;
    auto const [end, error] = std::from_chars(path.data() + folder.size(), path.data() + path.size(), number);
    if (error == std::errc() && end == path.data() + path.size()) return number;
  }
  return -1;
}

}  // namespace

OutputFile::OutputFile(std::string path) : _path(std::move(path)) {
  if (int const given = openDescriptor(_path); given >= 0) {
    std::fflush(nullptr);
    _file.emplace(given);
  } else {
    _file.emplace(_path);
  }
}

std::string OutputFile::message() const {
  if (isGood()) return {};
  return "cannot write " + (isStandardOutput(_path) ? "to standard output" : printable(_path)) + ": " +
         _file->reason();
}

bool OutputFile::write(std::string_view bytes) {
  if (!isGood()) return false;
  _buffer += bytes;
  return _buffer.size() < kBufferSize || flush();
}

bool OutputFile::flush() {
  _file->write(_buffer);
  _buffer.clear();
  return isGood();
}

bool OutputFile::commit() { return flush() && _file->commit(); }

std::optional<Failure> checkOutput(std::string const& output, std::span<std::string const> inputs) {
  if (output.empty()) return std::nullopt;
  std::error_code error;
  for (std::string const& input : inputs) {
    if (std::filesystem::equivalent(output, input, error) && std::filesystem::is_regular_file(input, error))
      return Failure{ExitCode::Usage, "the output would replace " + printable(input) + ", which is read"};
  }
  // Who reads from a pipe would take its being opened and closed for the end.
  if (openDescriptor(output) >= 0 || std::filesystem::is_other(output, error)) return std::nullopt;
  OutputFile const file(output);
  if (file.isGood()) return std::nullopt;
  return Failure{ExitCode::OutputUnwritable, file.message()};
}

bool isStandardOutput(std::string const& path) { return openDescriptor(path) == STDOUT_FILENO; }

}  // namespace knanim
