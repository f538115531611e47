#include "knanim/support/Interruption.h"

#include "knanim/support/ExitCode.h"
#include "knanim/support/FilmEncoder.h"
#include "model/utils/FileReplacement.h"

#include <csignal>
#include <string_view>
#include <unistd.h>

namespace knanim {
namespace {

constexpr unsigned kSecondsOfGrace = 1;

std::sig_atomic_t volatile interrupted = 0;

// The handlers call nothing but what may be called at any moment.

void endAtOnce(int) {
  constexpr std::string_view kMessage = "knanim: interrupted\n";
  osg::FileReplacement::removeUnfinished();
  FilmEncoder::removeUnfinished();
  [[maybe_unused]] auto const written = write(STDERR_FILENO, kMessage.data(), kMessage.size());
  _exit(static_cast<int>(ExitCode::Failed));
}

void remember(int signal) {
  if (interrupted != 0) endAtOnce(signal);
  interrupted = 1;
  alarm(kSecondsOfGrace);
}

/// A signal that is ignored, as for a program that was sent into the background, stays ignored.
auto handleUnlessIgnored(int signal, void (*handler)(int)) {
  auto const former = std::signal(signal, handler);
  if (former == SIG_IGN) std::signal(signal, SIG_IGN);
  return former;
}

}  // namespace

InterruptionGuard::InterruptionGuard() {
  interrupted = 0;
  _alarm = std::signal(SIGALRM, endAtOnce);
  _interrupt = handleUnlessIgnored(SIGINT, remember);
  _terminate = handleUnlessIgnored(SIGTERM, remember);
}

InterruptionGuard::~InterruptionGuard() {
  alarm(0);
  interrupted = 0;
  std::signal(SIGINT, _interrupt);
  std::signal(SIGTERM, _terminate);
  std::signal(SIGALRM, _alarm);
}

bool InterruptionGuard::isInterrupted() {
  if (interrupted == 0) return false;
  alarm(0);
  return true;
}

}  // namespace knanim
