#pragma once

#include "evaluation/SegmentSolver.h"

#include <array>
#include <cstddef>

/// Segments that are solved together: the same number of steps as for one, where the processor does them side by side.
class SegmentBatch {
 public:
  static constexpr std::size_t Size = 16;

  SegmentBatch() = default;
  SegmentBatch(SegmentBatch const&) = delete;
  SegmentBatch& operator=(SegmentBatch const&) = delete;
  ~SegmentBatch() { solve(); }

  /// Adds a segment. `result` receives solveSegment's value, or `value` where that leaves it alone, to the last bit, and
  /// `offset` on top, when enough segments have come together, or the batch ends.
  void add(SegmentKeys const& keys, float time, float value, float offset, float& result) {
    if (_count == Size) solve();
    _keys[0][_count] = keys.ax;
    _keys[1][_count] = keys.ay;
    _keys[2][_count] = keys.aoutX;
    _keys[3][_count] = keys.aoutY;
    _keys[4][_count] = keys.bx;
    _keys[5][_count] = keys.by;
    _keys[6][_count] = keys.binX;
    _keys[7][_count] = keys.binY;
    _times[_count] = time;
    _offsets[_count] = offset;
    _results[_count] = &result;
    _values[_count++] = value;
  }
  /// Ends the waiting of all that were added.
  void solve();

 private:
  using Row = std::array<float, Size>;

  void solveAll();

  void solveOne(std::size_t i);
  void solveFour(std::size_t first);

  std::array<Row, 8> _keys;
  Row _times;
  Row _values;
  Row _offsets;
  std::array<float*, Size> _results;
  std::size_t _count = 0;
};
