#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace knanim {

/// Adds the hidden option --print, by which the program writes its manual page and the completions of shells from its own
/// commands and options: `page` becomes the text, and parsing ends with CLI::Success.
void addPageOption(CLI::App& app, std::string& page);

/// A page for man, in section 1.
std::string manualPage(CLI::App const& app);
/// What completes commands, options and files in bash, and in zsh.
std::string bashCompletion(CLI::App const& app);
std::string zshCompletion(CLI::App const& app);

}  // namespace knanim
