#include "knanim/support/Interruption.h"

#include <csignal>

namespace knanim {
namespace {

std::sig_atomic_t volatile interrupted = 0;

void remember(int) { interrupted = 1; }

/// A signal that is ignored, as for a program that was sent into the background, stays ignored.
auto rememberUnlessIgnored(int signal) {
  auto const former = std::signal(signal, remember);
  if (former == SIG_IGN) std::signal(signal, SIG_IGN);
  return former;
}

}  // namespace

InterruptionGuard::InterruptionGuard() {
  interrupted = 0;
  _interrupt = rememberUnlessIgnored(SIGINT);
  _terminate = rememberUnlessIgnored(SIGTERM);
}

InterruptionGuard::~InterruptionGuard() {
  std::signal(SIGINT, _interrupt);
  std::signal(SIGTERM, _terminate);
}

bool InterruptionGuard::isInterrupted() { return interrupted != 0; }

}  // namespace knanim
