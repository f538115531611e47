#pragma once

#include "knanim/support/ExitCode.h"

#include <string>

namespace knanim {

/// Why something could not be done: the program's exit code, and a line for the user.
struct Failure {
  ExitCode code = ExitCode::Failed;
  std::string message;
};

}  // namespace knanim
