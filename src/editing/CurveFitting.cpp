#include "editing/CurveFitting.h"

#include <algorithm>

namespace {

constexpr int Reweighings = 6;

/// The parameter at which a segment of that reach stands at a part of its width.
double parameterAtPart(TangentReach reach, double part) {
  double const c = 3.0 * reach.out;
  double const b = 3.0 * (1.0 - reach.in) - 2.0 * c;
  double const a = 1.0 - b - c;
  double s = part;
  for (int i = 0; i < 4; ++i) s -= (((a * s + b) * s + c) * s - part) / ((3.0 * a * s + 2.0 * b) * s + c);
  return s;
}

}  // namespace

void CurveFitter::prepare(std::span<CurveSample const> samples, FitFrame const& frame, TangentReach reach) {
  double const width = frame.end.time - frame.start.time;
  _rows.clear();
  for (CurveSample const& sample : samples) {
    double const s = parameterAtPart(reach, (sample.time - frame.start.time) / width);
    double const t = 1.0 - s;
    // The inner values are searched as vectors from their ends.
    double const straight =
        t * t * (t + 3.0 * s) * frame.start.value + s * s * (s + 3.0 * t) * frame.end.value;
    _rows.push_back({3.0 * s * t * t, 3.0 * s * s * t, sample.value - straight, 1.0});
  }
}

CurveFit CurveFitter::solve(FitFrame const& frame, TangentReach reach) const {
  double const width = frame.end.time - frame.start.time;
  CurveFit fit;
  if (frame.startSlope) fit.outValue = *frame.startSlope * reach.out * width;
  if (frame.endSlope) fit.inValue = -*frame.endSlope * reach.in * width;
  double oo = 0.0;
  double oi = 0.0;
  double ii = 0.0;
  double ro = 0.0;
  double ri = 0.0;
  for (Row const& row : _rows) {
    double const rest = row.rest - row.out * fit.outValue - row.in * fit.inValue;
    oo += row.weight * row.out * row.out;
    oi += row.weight * row.out * row.in;
    ii += row.weight * row.in * row.in;
    ro += row.weight * row.out * rest;
    ri += row.weight * row.in * rest;
  }
  double const determinant = oo * ii - oi * oi;
  if (!frame.startSlope && !frame.endSlope && determinant > 1e-12 * oo * ii) {
    fit.outValue = (ro * ii - ri * oi) / determinant;
    fit.inValue = (ri * oo - ro * oi) / determinant;
  } else if (!frame.startSlope && frame.endSlope && oo > 0.0) {
    fit.outValue = ro / oo;
  } else if (frame.startSlope && !frame.endSlope && ii > 0.0) {
    fit.inValue = ri / ii;
  }
  return fit;
}

double CurveFitter::largestMiss(CurveFit const& fit) const {
  double largest = 0.0;
  for (Row const& row : _rows) {
    largest = std::max(largest, std::fabs(row.rest - row.out * fit.outValue - row.in * fit.inValue));
  }
  return largest;
}

void CurveFitter::weigh(CurveFit const& fit) {
  double sum = 0.0;
  for (Row& row : _rows) {
    row.weight *= std::fabs(row.rest - row.out * fit.outValue - row.in * fit.inValue);
    sum += row.weight;
  }
  if (!(sum > 0.0)) return;
  double const factor = static_cast<double>(_rows.size()) / sum;
  for (Row& row : _rows) row.weight *= factor;
}

CurveFit CurveFitter::fit(std::span<CurveSample const> samples, FitFrame const& frame, TangentReach reach,
                          double enough) {
  prepare(samples, frame, reach);
  CurveFit best = solve(frame, reach);
  best.error = largestMiss(best);
  bool const isFree = !frame.startSlope || !frame.endSlope;
  CurveFit last = best;
  for (int i = 0; i < Reweighings && isFree && best.error > enough && best.error < 3.0 * enough; ++i) {
    weigh(last);
    last = solve(frame, reach);
    last.error = largestMiss(last);
    if (last.error < best.error) best = last;
  }
  return best;
}
