#include "knanim/commands/UsageErrors.h"

#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"

#include <algorithm>

namespace knanim {
namespace {

std::vector<std::string> commandNames(CLI::App const& app) {
  std::vector<std::string> names;
  for (CLI::App const* const each : app.get_subcommands(nullptr)) names.push_back(each->get_name());
  return names;
}

std::vector<std::string> optionNames(CLI::App const& command) {
  std::vector<std::string> names;
  for (CLI::Option const* const each : command.get_options()) {
    for (std::string const& name : each->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

/// The first of the words that nobody expected, an option before all others; empty when there is none.
std::string unexpected(CLI::App const& command) {
  std::vector<std::string> const words = command.remaining();
  auto const option =
      std::find_if(words.begin(), words.end(), [](std::string const& word) { return word.starts_with('-'); });
  return option != words.end() ? *option : words.empty() ? std::string() : words.front();
}

std::string whatIsWrong(CLI::App const& app, CLI::App const* command, CLI::ParseError const& error) {
  bool const isAboutNames = dynamic_cast<CLI::RequiredError const*>(&error) != nullptr ||
                            dynamic_cast<CLI::ExtrasError const*>(&error) != nullptr;
  if (!isAboutNames) return printable(error.what());
  std::string word = unexpected(command != nullptr ? *command : app);
  bool const isOption = word.starts_with('-');
  std::string const shown = '"' + printable(word) + '"';
  std::string const who = command != nullptr ? command->get_name() : "knanim";
  if (command == nullptr && !isOption) {
    std::vector<std::string> const names = commandNames(app);
    return (word.empty() ? "a command is missing" : "no command " + shown) + insteadClause(word, names);
  }
  if (word.empty()) return printable(error.what());
  if (!isOption) return who + " takes no further argument, unlike " + shown;
  word.resize(std::min(word.size(), word.find('=')));
  std::vector<std::string> const names = optionNames(command != nullptr ? *command : app);
  return who + " has no option " + printable(word) + nearClause(nearNames(word, names));
}

}  // namespace

std::string explain(CLI::App const& app, CLI::ParseError const& error) {
  std::vector<CLI::App*> const parsed = app.get_subcommands();
  CLI::App const* const command = parsed.empty() ? nullptr : parsed.back();
  return whatIsWrong(app, command, error) + "\nRun knanim " +
         (command != nullptr ? command->get_name() + " " : "") + "--help for help.";
}

}  // namespace knanim
