#pragma once

#include "editing/EvaluatedSegment.h"

#include <optional>
#include <span>
#include <vector>

/// A place that a fitted segment should pass.
struct CurveSample {
  double time;
  double value;
};

/// What a fitted segment has to keep: its ends, and its slope at an end that is to stay smooth.
struct FitFrame {
  CurveSample start;
  CurveSample end;
  std::optional<double> startSlope;
  std::optional<double> endSlope;
};

/// How far the tangents of a segment reach, in parts of its width. Above a third each, time ascends and the solver's
/// cubic has one real root at every time.
struct TangentReach {
  double out;
  double in;
};

/// The tangents of a fitted segment, in values, and how far it misses the samples.
struct CurveFit {
  double outValue = 0.0;
  double inValue = 0.0;
  double error = 0.0;
};

/// Fits a segment to samples by least squares, with the reach of its tangents given: what is free of their values then
/// enters linearly (Schneider 1990, An algorithm for automatically fitting digitized curves, with the slopes in place of
/// the lengths free). Then weighs the samples by how far they are missed, again and again, so that the largest miss
/// falls (Lawson 1961), for as long as that can bring it below `enough`. Keeps its room between calls.
class CurveFitter {
 public:
  CurveFit fit(std::span<CurveSample const> samples, FitFrame const& frame, TangentReach reach,
               double enough);

 private:
  struct Row {
    double out;  ///< how much the inner values weigh here
    double in;
    double rest;  ///< what they have to make up
    double weight;
  };
  void prepare(std::span<CurveSample const> samples, FitFrame const& frame, TangentReach reach);
  CurveFit solve(FitFrame const& frame, TangentReach reach) const;
  double largestMiss(CurveFit const& fit) const;
  void weigh(CurveFit const& fit);

  std::vector<Row> _rows;
};
