#include "knanim/support/FileProgress.h"

#include "knanim/support/Interruption.h"

namespace knanim {

FileProgress::FileProgress(std::FILE* terminal)
    : _terminal(terminal), _progress([this](char const* step, osg::UInt64 done, osg::UInt64 total) {
        return show(step, done, total);
      }) {}

bool FileProgress::show(std::string const& step, std::uint64_t done, std::uint64_t total) {
  if (!_bar || _step != step) {
    _step = step;
    _bar.emplace(_terminal, _step, total);
  }
  _bar->update(done);
  return !InterruptionGuard::isInterrupted();
}

}  // namespace knanim
