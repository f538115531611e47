#include "knanim/commands/HelpFormatter.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <sstream>

namespace knanim {
namespace {

constexpr std::size_t kColumn = 28;
constexpr std::size_t kWidth = 80;

/// A name, and what it means in a column beside it.
std::string entry(std::string const& name, std::string const& meaning) {
  std::string text = "  " + name;
  std::size_t used = text.size();
  if (used + 2 > kColumn) {
    text += '\n';
    used = 0;
  }
  text.append(kColumn - used, ' ');
  used = kColumn;
  std::istringstream words(meaning);
  for (std::string word; words >> word;) {
    bool const isFirst = used == kColumn;
    if (!isFirst && used + 1 + word.size() > kWidth) {
      text += '\n' + std::string(kColumn, ' ');
      used = kColumn;
    } else if (!isFirst) {
      text += ' ';
      ++used;
    }
    text += word;
    used += word.size();
  }
  return text + '\n';
}

std::string joined(std::vector<std::string> const& words, char const* between) {
  std::string text;
  for (std::string const& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

}  // namespace

std::vector<std::string> choicesOf(CLI::Option const& option) {
  std::string const type = option.get_type_name();
  std::size_t const begin = type.find('{');
  std::size_t const end = type.find('}');
  std::vector<std::string> words;
  if (begin == std::string::npos || end == std::string::npos) return words;
  std::istringstream list(type.substr(begin + 1, end - begin - 1));
  for (std::string word; std::getline(list, word, ',');) words.push_back(word);
  return words;
}

CLI::Validator oneOf(std::vector<std::string> const& words) {
  std::string list = "{";
  for (std::string const& word : words) list += (list.size() > 1 ? "," : "") + word;
  return {[words](std::string& given) {
            if (std::find(words.begin(), words.end(), given) != words.end()) return std::string();
            std::vector<std::string> const all(words.begin(), words.end() - 1);
            return "no \"" + printable(given) + "\"; it takes " + joined(all, ", ") + " or " + words.back();
          },
          list + '}'};
}

std::string valueLabel(CLI::Option const& option) {
  if (option.get_expected_max() == 0) return {};
  if (std::vector<std::string> const words = choicesOf(option); !words.empty()) return joined(words, "|");
  std::string const type = option.get_type_name().substr(0, option.get_type_name().find(':'));
  bool const isNumber = type == "FLOAT" || type == "INT" || type == "UINT";
  // A colon parts the label from what checks the value, so labels are written with a slash in its place.
  std::string label = isNumber ? "NUMBER" : type;
  std::replace(label.begin(), label.end(), '/', ':');
  return label;
}

HelpFormatter::HelpFormatter() { column_width(kColumn); }

std::string HelpFormatter::make_option_opts(CLI::Option const* option) const {
  std::string const label = option->get_positional() ? "" : valueLabel(*option);
  return label.empty() ? label : ' ' + label;
}

std::string HelpFormatter::make_option_desc(CLI::Option const* option) const {
  std::string const standard = option->get_positional() ? "" : option->get_default_str();
  return option->get_description() + (standard.empty() ? "" : " [" + standard + ']');
}

std::string HelpFormatter::make_option(CLI::Option const* option, bool isPositional) const {
  return entry(make_option_name(option, isPositional) + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormatter::make_subcommand(CLI::App const* command) const {
  return entry(command->get_name(), command->get_description());
}

}  // namespace knanim
