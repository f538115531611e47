#pragma once

#include "model/utils/Export.h"

#include <functional>
#include <string_view>

/// Lines for the user. Without a sink they go to the standard error stream as "error: <text>" and "warning:
/// <text>", and messages as they are.
///
/// Every operation may be called from any thread, also while statics are being destroyed. Lines never mix and
/// calls of the sink never overlap; a sink may itself log, but must not wait for another thread that does.
class KNSCENE_API knLog {
 public:
  /// What a line is: something that could not be done, something doubtful, or what an operation prints.
  enum class Level { Error, Warning, Message };
  /// Takes one line, without its line end; the text is valid during the call only.
  using Sink = std::function<void(Level level, std::string_view text)>;

  knLog() = delete;

  /// Tells the user what could not be done. Null is ignored.
  static void error(char const* text);
  /// Tells the user what is doubtful but was done. Null is ignored.
  static void warning(char const* text);

  /// Sends all further lines to `sink` instead, or to the standard error stream again when it is empty. Gives
  /// back the sink that was set before; on return no other thread is inside that one any more.
  static Sink setSink(Sink sink);

  /// Prints a text, line ends included, for operations that report by printing: copying and pasting, structures, old
  /// animations. It goes to the standard output or, after sendPrintsToLog(true), to the log, each line as a message.
  static void print(std::string_view text);
  /// Sends what operations print to the log, or again to the standard output. Off at first.
  static void sendPrintsToLog(bool on);
};
