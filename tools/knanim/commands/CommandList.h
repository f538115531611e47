#pragma once

#include "knanim/support/ExitCode.h"
#include "knanim/support/Options.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace knanim {

/// The subcommands of the program, each with the options that it reads.
class CommandList {
 public:
  explicit CommandList(CLI::App& app) : _app(app) {}

  template <typename Options>
  void add(std::string const& name, std::string const& help, void (*define)(CLI::App&, Options&),
           ExitCode (*carryOut)(Options const&, Terminal)) {
    auto const options = std::make_shared<Options>();
    CLI::App* const command = _app.add_subcommand(name, help);
    define(*command, *options);
    _commands.push_back(
        {command, [options, carryOut](Terminal terminal) { return carryOut(*options, terminal); }});
  }

  /// Runs the one that the command line named.
  ExitCode run(Terminal terminal) const {
    for (Command const& each : _commands) {
      if (each.app->parsed()) return each.run(terminal);
    }
    return ExitCode::Usage;
  }

 private:
  struct Command {
    CLI::App* app;
    std::function<ExitCode(Terminal)> run;
  };

  CLI::App& _app;
  std::vector<Command> _commands;
};

/// An option that names a file to write.
CLI::Option* addOutput(CLI::App& command, std::string const& name, std::string& path,
                       std::string const& help);

/// An option for the scene afterwards.
void addOut(CLI::App& command, std::string& path);

/// The tangents of curves whose file has none.
void addTangents(CLI::App& command, Tangents& tangents);

/// What tells how the animation of another model is pasted.
void addPasteOptions(CLI::App& command, PasteOptions& options);

/// The commands that make files of scenes, and compare them.
void addFileCommands(CommandList& commands);

}  // namespace knanim
