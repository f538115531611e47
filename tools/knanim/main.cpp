#include "knanim/commands/Commands.h"

#include <cstdio>
#include <exception>

int main(int count, char** arguments) {
  try {
    return static_cast<int>(knanim::runCommandLine(count, arguments, {}));
  } catch (std::exception const& exception) {
    std::fprintf(stderr, "knanim: %s\n", exception.what());
  }
  return static_cast<int>(knanim::ExitCode::Failed);
}
