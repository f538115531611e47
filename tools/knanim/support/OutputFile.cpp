#include "knanim/support/OutputFile.h"

#include "knanim/support/Text.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <unistd.h>
#include <vector>

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

/// Those of the command that runs.
std::vector<std::string> outputs;

/// Whether two paths lead to one regular file that exists.
bool isSameFile(std::string const& a, std::string const& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error) && std::filesystem::is_regular_file(a, error);
}

/// Where a file is or would be, whatever the way there.
std::filesystem::path placeOf(std::string const& path) {
  std::error_code error;
  return std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
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
  for (std::string const& input : inputs) {
    if (isSameFile(output, input))
      return Failure{ExitCode::Usage, "the output would overwrite the input " + printable(input)};
  }
  for (std::string const& other : outputs) {
    if (isSameFile(output, other) || placeOf(output) == placeOf(other))
      return Failure{ExitCode::Usage, "two outputs would be the same file " + printable(output)};
  }
  outputs.push_back(output);
  // Who reads from a pipe would take its being opened and closed for the end.
  std::error_code error;
  if (openDescriptor(output) >= 0 || std::filesystem::is_other(output, error)) return std::nullopt;
  OutputFile const file(output);
  if (file.isGood()) return std::nullopt;
  return Failure{ExitCode::OutputUnwritable, file.message()};
}

std::optional<Failure> checkFrameFolder(std::string const& folder) {
  if (folder.empty()) return std::nullopt;
  std::error_code error;
  if (std::filesystem::exists(folder, error) && !std::filesystem::is_directory(folder, error))
    return Failure{ExitCode::OutputUnwritable,
                   printable(folder) + " is not a folder; --frames writes into one"};
  for (std::string const& output : outputs) {
    std::filesystem::path const place = placeOf(output);
    std::string const name = place.filename().string();
    if (place.parent_path() == placeOf(folder + "/x").parent_path() && name.starts_with("frame-") &&
        name.ends_with(".png"))
      return Failure{ExitCode::Usage, "a frame could be the same file as the output " + printable(output)};
  }
  return std::nullopt;
}

std::optional<Failure> checkKeeps(std::span<std::string const> files) {
  for (std::string const& file : files) {
    for (std::string const& output : outputs) {
      if (isSameFile(output, file))
        return Failure{ExitCode::Usage,
                       "the output " + printable(output) + " would overwrite a file of the model"};
    }
  }
  return std::nullopt;
}

void forgetOutputs() { outputs.clear(); }

bool isStandardOutput(std::string const& path) { return openDescriptor(path) == STDOUT_FILENO; }

}  // namespace knanim
