#pragma once

namespace knanim {

/// While one of these lives, an interruption from outside (Ctrl-C, a request to end) lets the program come to an
/// end by itself, so that it can tell how far it got. Where it does not ask for `isInterrupted` within a second,
/// and at the second interruption, it ends at once: with a message, exit code 1, and without unfinished files.
/// One at a time.
class InterruptionGuard {
 public:
  InterruptionGuard();
  ~InterruptionGuard();
  InterruptionGuard(InterruptionGuard const&) = delete;
  InterruptionGuard& operator=(InterruptionGuard const&) = delete;

  /// Whether an interruption has come. Who asks has to see to an early end.
  static bool isInterrupted();

 private:
  void (*_interrupt)(int);
  void (*_terminate)(int);
  void (*_alarm)(int);
};

}  // namespace knanim
