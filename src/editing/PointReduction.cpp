#include "knAnimManager.h"

#include <cmath>
#include <tbb/parallel_for.h>
#include <utility>

using osg::AnimCurvePtr;
using osg::MField;
using osg::Pnt2f;

namespace {

/// The tolerance of the form for curves: the distance of a key from the line through its neighbours that survive, in
/// the plane of seconds and values.
constexpr float CurveTolerance = 0.0001F;

/// The distance of `p` from the line through `a` and `b`. `Real` is the precision of the norm; the slope and the
/// numerator are floats in both forms. A line that stands upright has an infinite slope, from which every distance is
/// not a number and no point is far. All of it is meant, as is the rounding of every single step: reductions must come
/// out as they always did, so nothing here may be fused or rearranged.
template <class Real>
float distanceFromLine(Pnt2f const& p, Pnt2f const& a, Pnt2f const& b) {
  float const slope = (b.y() - a.y()) / (b.x() - a.x());
  float const numerator = (slope * p.x() - p.y()) + (a.y() - a.x() * slope);
  auto const square = static_cast<Real>(slope) * static_cast<Real>(slope);
  Real const norm = std::sqrt(square + Real(1));
  return std::fabs(static_cast<float>(static_cast<Real>(numerator) / norm));
}

struct Stretch {
  std::size_t first;
  std::size_t last;
};

/// The point of the stretch that lies farthest from the line through its ends, the first of several, when it lies
/// farther than `tolerance`; else the first point.
template <class Distance>
std::size_t findSplit(std::vector<Pnt2f> const& points, Stretch const& stretch, float tolerance,
                      Distance distanceOf) {
  float farthest = 0.F;
  std::size_t split = stretch.first;
  for (std::size_t i = stretch.first + 1; i < stretch.last; ++i) {
    float const distance = distanceOf(points[i], points[stretch.first], points[stretch.last]);
    if (!(farthest < distance)) continue;
    farthest = distance;
    split = i;
  }
  return farthest <= tolerance ? stretch.first : split;
}

/// Ramer-Douglas-Peucker with a stack of its own, as the depth can reach the number of points.
template <class Distance>
void reduce(std::vector<Pnt2f> const& points, float tolerance, std::vector<Pnt2f>& out, Distance distanceOf) {
  if (points.empty() || !(tolerance >= 0.F)) return;
  std::vector<bool> kept(points.size(), false);
  kept.front() = true;
  kept.back() = true;
  std::vector<Stretch> pending{{0, points.size() - 1}};
  while (!pending.empty()) {
    Stretch const stretch = pending.back();
    pending.pop_back();
    std::size_t const split = findSplit(points, stretch, tolerance, distanceOf);
    if (split == stretch.first) continue;
    kept[split] = true;
    pending.push_back({stretch.first, split});
    pending.push_back({split, stretch.last});
  }
  // `out` may be the field that `points` belongs to.
  std::vector<Pnt2f> survivors;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (kept[i]) survivors.push_back(points[i]);
  }
  out.insert(out.end(), survivors.begin(), survivors.end());
}

}  // namespace

float knAnimManager::perpendicularDistance(Pnt2f p, Pnt2f a, Pnt2f b) {
  return distanceFromLine<double>(p, a, b);
}

void knAnimManager::douglasPeuckerPointReduction(MField<Pnt2f> const& points, float tolerance,
                                                 MField<Pnt2f>& out) {
  reduce(points.getValues(), tolerance, out.getValues(),
         [](Pnt2f const& p, Pnt2f const& a, Pnt2f const& b) { return perpendicularDistance(p, a, b); });
}

void knAnimCurvePointReductionTask::reduce(unsigned int first, unsigned int end) const {
  for (unsigned int i = first; i != end; ++i) {
    knCurvePointsRecord& record = (*_records)[i];
    if (!record.curve.isAlive()) continue;
    MField<Pnt2f> points;
    record.curve->points(points);
    // In floats throughout, unlike the form for points: both are meant.
    ::reduce(points.getValues(), CurveTolerance, record.points.getValues(), distanceFromLine<float>);
  }
}

void knAnimManager::douglasPeuckerPointReduction(std::vector<AnimCurvePtr> const& curves) {
  if (curves.empty()) return;
  std::vector<knCurvePointsRecord> records;
  records.reserve(curves.size());
  for (AnimCurvePtr const& curve : curves) records.push_back({curve, {}});
  tbb::parallel_for(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(records.size()), 1),
                    knAnimCurvePointReductionTask(&records), tbb::auto_partitioner());
  for (knCurvePointsRecord const& record : records) {
    if (!record.curve.isAlive()) continue;
    record.curve->clear();
    record.curve->addPoints(record.points);
    record.curve->shrink();
    announce(record.curve, osg::AnimCurveBase::ControlPointsFieldMask);
  }
}
