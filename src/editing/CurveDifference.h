#pragma once

#include "editing/EvaluatedSegment.h"

#include <span>

/// The largest difference of two curves: `found` occurs somewhere, and none exceeds `bound`.
struct LargestDifference {
  double found = 0.0;
  double bound = 0.0;
};

/// Whether a new segment stays within `tolerance` of the segments it stands for, everywhere and proven: not when it is
/// too close to tell. All are Bezier segments or lines, and begin and end at one time.
bool staysWithin(std::span<EvaluatedSegment const> old, EvaluatedSegment const& segment, double tolerance);

/// Encloses the largest difference, with `found` and `bound` no farther apart than `slack` as a rule.
LargestDifference enclose(std::span<EvaluatedSegment const> old, EvaluatedSegment const& segment,
                          double slack);
