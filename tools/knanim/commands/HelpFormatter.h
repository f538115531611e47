#pragma once

#include <CLI/CLI.hpp>

namespace knanim {

/// The values that an option may have, if they are a few words.
std::vector<std::string> choicesOf(CLI::Option const& option);

/// A validator of such words.
CLI::Validator oneOf(std::vector<std::string> const& words);

/// What stands for the value of an option, as FILE, NUMBER or linear|auto; empty for a flag.
std::string valueLabel(CLI::Option const& option);

/// The help of a program, with lines that fit a terminal of 80 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_option_opts(CLI::Option const* option) const override;
  std::string make_option_desc(CLI::Option const* option) const override;
  std::string make_option(CLI::Option const* option, bool isPositional) const override;
  std::string make_subcommand(CLI::App const* command) const override;
};

}  // namespace knanim
