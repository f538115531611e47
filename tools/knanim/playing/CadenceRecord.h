#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace knanim {

/// How evenly frames followed each other: how often each step from frame to frame was made.
class CadenceRecord {
 public:
  CadenceRecord() = default;
  /// Steps are sorted by multiples of `resolution` frames.
  explicit CadenceRecord(double resolution) : _resolution(resolution) {}

  /// The pass that shows the first frame; it makes no step.
  void addFirst();
  /// A pass that moved on by `frames`, in the direction of playing. 0 is a repeat of the frame before; any other step
  /// counts as one multiple of the resolution at least.
  void addStep(double frames);

  std::uint64_t passes() const { return _passes; }
  /// Passes that brought another frame than the pass before.
  std::uint64_t shown() const { return _shown; }
  /// Passes that showed the same frame again.
  std::uint64_t repeats() const;
  /// Frames that were never shown: of every step what it has beyond one frame, summed up.
  double dropped() const { return _dropped; }
  /// How often each step was made, by multiples of the resolution.
  std::map<long long, std::uint64_t> const& steps() const { return _steps; }

  /// A line with a bar for each step: the step in frames, how often, its share. Of more than `mostLines` steps the
  /// longest stand together in the last line.
  std::vector<std::string> histogram(std::size_t mostLines = 12) const;

 private:
  double _resolution = 1;
  std::uint64_t _passes = 0;
  std::uint64_t _shown = 0;
  double _dropped = 0;
  std::map<long long, std::uint64_t> _steps;
};

}  // namespace knanim
