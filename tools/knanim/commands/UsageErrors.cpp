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

/// The commands that have an option, as "; play and shoot have it"; empty when none has.
std::string ownersOf(CLI::App const& app, std::string const& option) {
  std::vector<std::string> owners;
  for (CLI::App const* const each : app.get_subcommands(nullptr)) {
    if (each->get_option_no_throw(option) != nullptr) owners.push_back(each->get_name());
  }
  std::string text;
  for (std::size_t i = 0; i < owners.size(); ++i)
    text += (i == 0 ? "; " : i + 1 == owners.size() ? " and " : ", ") + owners[i];
  return text.empty() ? text : text + (owners.size() == 1 ? " has it" : " have it");
}

/// What the parser says of a value, in plain words.
std::string aboutValue(CLI::App const& command, CLI::ParseError const& error) {
  std::string const said = error.what();
  std::string const conversion = "Could not convert: ";
  if (std::size_t const sign = said.find(" = "); said.starts_with(conversion) && sign != std::string::npos) {
    std::string const name = said.substr(conversion.size(), sign - conversion.size());
    CLI::Option const* const option = command.get_option_no_throw(name);
    bool const isWhole = option != nullptr && !option->get_type_name().starts_with("FLOAT");
    return name + " takes a " + (isWhole ? "whole number" : "number") + ", not \"" + said.substr(sign + 3) +
           '"';
  }
  std::string const given = said.substr(0, said.find(": "));
  // The parser leaves out the names of hidden options, of which there is one.
  std::string const name = given.empty() ? "--print" : given;
  if (said.ends_with(" missing")) return name + " needs a value";
  if (said.find(": At Most 1 ") != std::string::npos) return name + " may be given only once";
  return said.starts_with(": ") ? name + said : said;
}

std::string whatIsWrong(CLI::App const& app, CLI::App const* command, CLI::ParseError const& error) {
  bool const isAboutNames = dynamic_cast<CLI::RequiredError const*>(&error) != nullptr ||
                            dynamic_cast<CLI::ExtrasError const*>(&error) != nullptr;
  CLI::App const& asked = command != nullptr ? *command : app;
  if (!isAboutNames) return printable(aboutValue(asked, error));
  std::string word = unexpected(asked);
  bool const isOption = word.starts_with('-');
  std::string const shown = '"' + printable(word) + '"';
  std::string const who = command != nullptr ? command->get_name() : "knanim";
  if (command == nullptr && !isOption) {
    if (!word.empty()) return noCommand(app, word);
    return "no command given" + insteadClause(word, commandNames(app));
  }
  if (word.empty()) return printable(error.what());
  if (!isOption) return "unexpected argument for " + who + ": " + shown;
  if (word.size() > 2 && word[1] == '.')
    return printable(word) + " must be written -0" + printable(word.substr(1));
  word.resize(std::min(word.size(), word.find('=')));
  std::string const elsewhere = word.starts_with("--") ? ownersOf(app, word) : "";
  return "unknown option " + printable(word) + " for " + who +
         (elsewhere.empty() ? nearClause(nearNames(word, optionNames(asked))) : elsewhere);
}

}  // namespace

std::string noCommand(CLI::App const& app, std::string const& word) {
  return "no command \"" + printable(word) + '"' + insteadClause(word, commandNames(app));
}

std::string explain(CLI::App const& app, CLI::ParseError const& error) {
  std::vector<CLI::App*> const parsed = app.get_subcommands();
  CLI::App const* const command = parsed.empty() ? nullptr : parsed.back();
  return whatIsWrong(app, command, error) + "\nRun knanim " +
         (command != nullptr ? command->get_name() + " " : "") + "--help for help.";
}

}  // namespace knanim
