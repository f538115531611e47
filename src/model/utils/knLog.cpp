#include "model/utils/knLog.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace {

struct State {
  std::recursive_mutex mutex;               // held while a line is written: a sink may log
  std::shared_ptr<knLog::Sink const> sink;  // shared with the running call: a sink may replace itself
};

State& state() {
  static State& instance = *new State;  // never destroyed, for lines logged by the destructors of statics
  return instance;
}

void writeToStandardError(knLog::Level level, std::string_view text) {
  std::string line = level == knLog::Level::Error ? "error: " : "";
  if (level == knLog::Level::Warning) line = "warning: ";
  line += text;
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::atomic<bool> printsGoToLog = false;

void log(knLog::Level level, std::string_view text) {
  std::lock_guard const lock(state().mutex);
  if (std::shared_ptr<knLog::Sink const> const sink = state().sink) {
    (*sink)(level, text);
  } else {
    writeToStandardError(level, text);
  }
}

}  // namespace

void knLog::error(char const* text) {
  if (text != nullptr) log(Level::Error, text);
}

void knLog::warning(char const* text) {
  if (text != nullptr) log(Level::Warning, text);
}

void knLog::print(std::string_view text) {
  if (!printsGoToLog) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return;
  }
  while (!text.empty()) {
    std::size_t const end = text.find('\n');
    if (end != 0) log(Level::Message, text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

void knLog::sendPrintsToLog(bool on) { printsGoToLog = on; }

knLog::Sink knLog::setSink(Sink sink) {
  auto next = sink ? std::make_shared<Sink const>(std::move(sink)) : nullptr;
  std::shared_ptr<Sink const> previous;
  {
    std::lock_guard const lock(state().mutex);
    previous = std::exchange(state().sink, std::move(next));
  }
  return previous ? *previous : Sink();
}
