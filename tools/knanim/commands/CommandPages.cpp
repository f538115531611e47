#include "knanim/commands/CommandPages.h"

#include "knanim/commands/HelpFormatter.h"

#include <algorithm>
#include <functional>
#include <sstream>
#include <string_view>
#include <vector>

namespace knanim {
namespace {

using Options = std::vector<CLI::Option const*>;
using Apps = std::vector<CLI::App const*>;

Apps commandsOf(CLI::App const& app) { return app.get_subcommands(nullptr); }

/// Those with a name of two dashes, as they were added. Hidden ones have no group.
Options namedOptions(CLI::App const& app) {
  return app.get_options(
      [](CLI::Option const* each) { return !each->get_group().empty() && !each->get_lnames().empty(); });
}

Options positionals(CLI::App const& app) {
  return app.get_options([](CLI::Option const* each) { return each->get_positional(); });
}

std::string longName(CLI::Option const& option) { return "--" + option.get_lnames().front(); }

bool takesValue(CLI::Option const& option) { return option.get_expected_max() != 0; }

bool isNumber(CLI::Option const& option) {
  std::string const type = option.get_type_name();
  return type.starts_with("FLOAT") || type.starts_with("INT") || type.starts_with("UINT");
}

std::string joined(std::vector<std::string> const& words, char const* between) {
  std::string text;
  for (std::string const& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string replaced(std::string_view text, std::string_view letters,
                     std::function<std::string(char)> const& by) {
  std::string result;
  for (char const c : text) result += letters.find(c) != std::string_view::npos ? by(c) : std::string(1, c);
  return result;
}

// --- Manual -------------------------------------------------------------------------------------------------------

/// Text of a manual page, in which a dash is one that can be typed.
std::string roff(std::string_view text) {
  return replaced(text, "\\-'", [](char c) {
    return c == '\\' ? std::string("\\e") : c == '-' ? std::string("\\-") : std::string("\\(aq");
  });
}

void putOption(CLI::Option const& option, std::ostream& page) {
  std::string const value = valueLabel(option);
  page << ".TP\n\\fB" << roff(option.get_positional() ? option.get_name(true) : longName(option)) << "\\fR";
  if (!option.get_positional() && !value.empty()) page << " \\fI" << roff(value) << "\\fR";
  std::string const standard = option.get_default_str();
  bool const showsDefault = takesValue(option) && !option.get_positional() && !standard.empty();
  page << "\n\\&" << roff(option.get_description()) << (showsDefault ? " [" + roff(standard) + ']' : "")
       << '\n';
}

void putCommand(CLI::App const& command, std::ostream& page) {
  page << ".SS \"" << roff(command.get_name()) << "\"\n\\&" << roff(command.get_description()) << ".\n";
  for (CLI::Option const* const each : positionals(command)) putOption(*each, page);
  for (CLI::Option const* const each : namedOptions(command)) {
    if (longName(*each) != "--help") putOption(*each, page);
  }
  // The footer of the program is a section of its own.
  if (command.get_footer() != command.get_parent()->get_footer())
    page << ".PP\n\\&" << roff(command.get_footer()) << '\n';
}

/// The footer of the help, in which lines with two blanks in front and a number are exit codes.
void putFooter(std::string const& footer, std::ostream& page) {
  std::istringstream lines(footer);
  std::string notes;
  page << ".SH \"EXIT STATUS\"\n";
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  ")) {
      page << ".TP\n.B " << line.substr(2, 1) << "\n\\&" << roff(line.substr(5)) << '\n';
    } else if (!line.ends_with(':') && !line.empty()) {
      notes += "\\&" + roff(line) + '\n';
    } else if (!notes.empty()) {
      notes += ".PP\n";
    }
  }
  page << ".SH NOTES\n" << notes;
}

// --- Shells -------------------------------------------------------------------------------------------------------

std::string wordsOf(Options const& options) {
  std::vector<std::string> words;
  for (CLI::Option const* const each : options) words.push_back(longName(*each));
  return joined(words, " ");
}

/// Text between single quotes of a shell.
std::string inQuotes(std::string_view text) {
  return replaced(text, "'", [](char) { return std::string("'\\''"); });
}

/// A description as zsh's _arguments takes it.
std::string described(std::string_view text) {
  return inQuotes(replaced(text, "[]:\\", [](char c) { return std::string("\\") + c; }));
}

void putZshOption(CLI::Option const& option, std::ostream& script) {
  std::string const repeats = option.get_expected_max() > 1 ? "*" : "";
  script << " \\\n        '" << repeats << longName(option) << (takesValue(option) ? "=[" : "[")
         << described(option.get_description()) << ']';
  std::vector<std::string> const words = choicesOf(option);
  if (!words.empty()) {
    script << ":value:(" << joined(words, " ") << ')';
  } else if (takesValue(option)) {
    std::string const label = valueLabel(option);
    bool const isFile = label == "FILE" || label == "FOLDER";
    script << (isFile ? ":file:_files" : isNumber(option) ? ":number: " : ":value: ");
  }
  script << '\'';
}

}  // namespace

void addPageOption(CLI::App& app, std::string& page) {
  auto const print = [&app, &page](std::string const& kind) {
    page = kind == "man" ? manualPage(app) : kind == "bash" ? bashCompletion(app) : zshCompletion(app);
    throw CLI::Success();
  };
  app.add_option_function<std::string>("--print", print, "Print the manual page or a shell completion script")
      ->check(oneOf({"man", "bash", "zsh"}))
      ->group("");
}

std::string manualPage(CLI::App const& app) {
  std::ostringstream page;
  std::string const name = app.get_name();
  page << ".TH KNANIM 1 \"\" \"" << roff(name) << "\" \"User Commands\"\n"
       << ".SH NAME\n"
       << name << " \\- play, draw and edit animated models\n"
       << ".SH SYNOPSIS\n";
  for (CLI::App const* const command : commandsOf(app)) {
    page << "\\fB" << name << ' ' << roff(command->get_name()) << "\\fR [\\fIOPTIONS\\fR]";
    for (CLI::Option const* const each : positionals(*command)) {
      std::string const more = each->get_expected_max() > 1 ? "..." : "";
      std::string const argument = "\\fI" + roff(each->get_name(true)) + "\\fR" + more;
      page << ' ' << (each->get_required() ? argument : '[' + argument + ']');
    }
    page << "\n.br\n";
  }
  page << ".SH DESCRIPTION\n\\&" << roff(app.get_description()) << '\n'
       << "A model is a file of any format that Assimp reads, or a scene or animation file of the library "
          "(.osb, .json).\n"
       << ".PP\n\\fB" << name << "\\fR \\fICOMMAND\\fR \\fB\\-\\-help\\fR lists the options of a command.\n"
       << ".SH COMMANDS\n";
  for (CLI::App const* const command : commandsOf(app)) putCommand(*command, page);
  putFooter(app.get_footer(), page);
  page << ".SH EXAMPLES\n.nf\n"
       << name << " info walk.fbx\n"
       << name << " play walk.fbx \\-\\-strip walk.png\n"
       << name << " play walk.fbx \\-\\-film walk\\-film.png\n"
       << name << " convert walk.fbx walk.json\n.fi\n"
       << ".SH \"SEE ALSO\"\n.BR ffmpeg (1)\n.PP\n\\fB" << name
       << " \\-\\-print man\\fR, \\fBbash\\fR or \\fBzsh\\fR writes this page, or the completion of a "
          "shell.\n";
  return page.str();
}

std::string bashCompletion(CLI::App const& app) {
  std::ostringstream script;
  std::vector<std::string> names;
  for (CLI::App const* const each : commandsOf(app)) names.push_back(each->get_name());
  std::string const name = app.get_name();
  script << "# Completion of " << name << " for bash.\n_" << name << "() {\n"
         << "  local current=${COMP_WORDS[COMP_CWORD]} former=${COMP_WORDS[COMP_CWORD - 1]} command= word "
            "words=\n"
         << "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
         << "    [[ $word == -* ]] || { command=$word; break; }\n  done\n"
         << "  case \"$command $former\" in\n";
  for (CLI::App const* const each : commandsOf(app)) {
    for (CLI::Option const* const option : namedOptions(*each)) {
      if (choicesOf(*option).empty()) continue;
      script << "    \"" << each->get_name() << ' ' << longName(*option) << "\") words=\""
             << joined(choicesOf(*option), " ") << "\" ;;\n";
    }
  }
  script << "  esac\n  if [[ -z $command ]]; then\n    words=\"" << joined(names, " ") << ' '
         << wordsOf(namedOptions(app)) << "\"\n  elif [[ $current == -* ]]; then\n    case $command in\n";
  for (CLI::App const* const each : commandsOf(app))
    script << "      " << each->get_name() << ") words=\"" << wordsOf(namedOptions(*each)) << "\" ;;\n";
  script << "    esac\n  fi\n"
         << "  # Without words the shell completes names of files.\n"
         << "  COMPREPLY=()\n  [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W \"$words\" -- "
            "\"$current\")\n"
         << "}\ncomplete -o default -F _" << name << ' ' << name << '\n';
  return script.str();
}

std::string zshCompletion(CLI::App const& app) {
  std::ostringstream script;
  std::string const name = app.get_name();
  script << "#compdef " << name << "\n# Completion of " << name << " for zsh.\n_" << name << "() {\n"
         << "  local -a commands\n  commands=(\n";
  for (CLI::App const* const each : commandsOf(app))
    script << "    '" << each->get_name() << ':' << described(each->get_description()) << "'\n";
  script << "  )\n  if (( CURRENT == 2 )); then\n    _describe command commands\n"
         << "    compadd -- " << wordsOf(namedOptions(app)) << "\n    return\n  fi\n"
         << "  local command=$words[2]\n  shift words\n  (( CURRENT-- ))\n  case $command in\n";
  for (CLI::App const* const each : commandsOf(app)) {
    script << "    " << each->get_name() << ")\n      _arguments";
    for (CLI::Option const* const option : namedOptions(*each)) putZshOption(*option, script);
    script << " \\\n        '*:file:_files' ;;\n";
  }
  script << "  esac\n}\n_" << name << " \"$@\"\n";
  return script.str();
}

}  // namespace knanim
