#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace knanim {

/// What is said of a word that is no command.
std::string noCommand(CLI::App const& app, std::string const& word);

/// What is wrong with a command line that could not be parsed, what may have been meant, and where there is help.
std::string explain(CLI::App const& app, CLI::ParseError const& error);

}  // namespace knanim
