#pragma once

namespace knanim {

/// While one of these lives, an interruption from outside (Ctrl-C, a request to end) does not end the program at
/// once, so that unfinished files can be put away. One at a time.
class InterruptionGuard {
 public:
  InterruptionGuard();
  ~InterruptionGuard();
  InterruptionGuard(InterruptionGuard const&) = delete;
  InterruptionGuard& operator=(InterruptionGuard const&) = delete;

  /// Whether an interruption has come.
  static bool isInterrupted();

 private:
  void (*_interrupt)(int);
  void (*_terminate)(int);
};

}  // namespace knanim
