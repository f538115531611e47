#pragma once

#include "knanim/commands/Commands.h"
#include "support/TemporaryFolder.h"
#include "support/Testing.h"

#include <filesystem>
#include <fstream>

namespace knanim::test {

/// A sample model. Ends the test program's run of the case with a failure when it is not there.
inline std::string modelPath(std::string const& name) {
  std::string path = std::string(KN_MODELS_DIR) + '/' + name;
  EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path << " is missing; install the sample models";
  return path;
}

inline std::string readFile(std::filesystem::path const& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeFile(std::filesystem::path const& path, std::string const& content) {
  std::ofstream(path, std::ios::binary) << content;
}

using kntest::TemporaryFolder;

struct Outcome {
  ExitCode code;
  std::string output;
  std::string errors;
};

inline std::string drain(std::FILE* file) {
  std::string content(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(content.data(), 1, content.size(), file), content.size());
  std::fclose(file);
  return content;
}

/// Runs a line of words, in which '' stands for an empty one.
inline Outcome run(std::string const& line) {
  std::istringstream stream("knanim " + line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word == "''" ? "" : word);
  std::vector<char const*> pointers;
  for (std::string const& word : words) pointers.push_back(word.c_str());
  Terminal const terminal{std::tmpfile(), std::tmpfile()};
  ExitCode const code = runCommandLine(static_cast<int>(pointers.size()), pointers.data(), terminal);
  return {code, drain(terminal.output), drain(terminal.errors)};
}

inline void expectParts(std::string const& text, std::vector<std::string> const& parts) {
  for (std::string const& part : parts)
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
}

}  // namespace knanim::test
