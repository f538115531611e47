#include "knanim/pictures/PictureView.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

constexpr double kMargin = 1.06;
constexpr int kCenteringSteps = 12;

osg::Vec3f perpendicular(osg::Vec3f const& direction) {
  return std::abs(direction.y()) < 0.9F ? osg::Vec3f(0, 1, 0) : osg::Vec3f(0, 0, -1);
}

bool isFinite(osg::Pnt3f const& p) {
  return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

/// The extent of values along one axis of the picture.
struct Extent {
  double low = INFINITY;
  double high = -INFINITY;

  void add(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
};

}  // namespace

PictureView PictureView::along(osg::Vec3f const& eye, osg::Vec3f const& direction, osg::Vec3f const& up,
                               double fieldOfView) {
  PictureView view;
  view._eye = eye;
  if (osg::length(direction) > 0) view._forward = osg::normalized(direction);
  osg::Vec3f right = osg::cross(view._forward, up);
  if (!(osg::length(right) > 1e-6F * osg::length(up)))
    right = osg::cross(view._forward, perpendicular(view._forward));
  view._right = osg::normalized(right);
  view._up = osg::cross(view._right, view._forward);
  view._slope = std::tan(fieldOfView / 2);
  return view;
}

SeenPoint PictureView::toEyeSpace(osg::Pnt3f const& point) const {
  osg::Vec3f const offset = osg::Vec3f(point) - _eye;
  return {osg::dot(offset, _right), osg::dot(offset, _up), osg::dot(offset, _forward)};
}

std::optional<SeenPoint> PictureView::see(osg::Pnt3f const& point) const {
  if (!isFinite(point)) return std::nullopt;
  SeenPoint const p = toEyeSpace(point);
  if (p.depth < _nearest) return std::nullopt;
  double const scale = scaleAt(p.depth);
  return SeenPoint{p.x * scale, p.y * scale, p.depth};
}

PictureView PictureView::around(std::span<osg::Pnt3f const> points, osg::Vec3f const& direction,
                                double fieldOfView, double aspect) {
  PictureView view = along({}, direction, {0, 1, 0}, fieldOfView);
  double const slopeY = view._slope / aspect;
  std::vector<SeenPoint> offsets;
  for (osg::Pnt3f const& point : points) {
    if (isFinite(point)) offsets.push_back(view.toEyeSpace(point));
  }
  if (offsets.empty()) offsets.emplace_back();

  // The eye moves across the line of sight until what it sees is centred, and back until all of it is seen.
  SeenPoint eye;
  for (int step = 0; step < kCenteringSteps; ++step) {
    eye.depth = INFINITY;
    for (SeenPoint const& p : offsets) {
      double const wanted = std::max(std::abs(p.x - eye.x) / view._slope, std::abs(p.y - eye.y) / slopeY);
      eye.depth = std::min(eye.depth, p.depth - wanted * kMargin);
    }
    Extent x;
    Extent y;
    for (SeenPoint const& p : offsets) {
      double const depth = std::max(p.depth - eye.depth, 1e-9);
      x.add((p.x - eye.x) / depth);
      y.add((p.y - eye.y) / depth);
    }
    double const depth = std::max(offsets.front().depth - eye.depth, 1e-9);
    eye.x += (x.low + x.high) / 2 * depth;
    eye.y += (y.low + y.high) / 2 * depth;
  }
  Extent all;
  for (SeenPoint const& p : offsets) all.add(p.depth - eye.depth);
  double const size = std::max(all.high, 1e-6);
  // A single point, or one in the eye: a distance that single precision can tell at this place.
  double const place = osg::length(osg::Vec3f(points.empty() ? osg::Pnt3f() : points.front()));
  if (all.low < size * 0.05) eye.depth -= size * 0.05 + 0.01 * std::max(place, 0.1);
  view._nearest = std::max(size * 1e-4, 1e-9);
  view._eye = view._right * static_cast<float>(eye.x) + view._up * static_cast<float>(eye.y) +
              view._forward * static_cast<float>(eye.depth);
  return view;
}

}  // namespace knanim
