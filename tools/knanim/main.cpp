#include "knanim/commands/Commands.h"

#include <csignal>
#include <cstdio>
#include <exception>

int main(int count, char** arguments) {
  // A limit to the size of files is told like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return static_cast<int>(knanim::runCommandLine(count, arguments, {}));
  } catch (std::exception const& exception) {
    std::fprintf(stderr, "knanim: %s\n", exception.what());
  }
  return static_cast<int>(knanim::ExitCode::Failed);
}
