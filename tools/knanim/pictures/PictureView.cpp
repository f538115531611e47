#include "knanim/pictures/PictureView.h"

#include <algorithm>
#include <array>
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
  view._slope = view._slopeY = std::tan(fieldOfView / 2);
  return view;
}

PictureView PictureView::through(osg::Matrix const& toWorld, osg::Vec4f const& edges, double skew,
                                 double near, double far, double aspect) {
  PictureView view;
  osg::Matrix toEye;
  auto const row = [&toEye](osg::UInt32 i) { return osg::Vec3f(toEye(i, 0), toEye(i, 1), toEye(i, 2)); };
  view._nearest = toWorld.inverse(toEye) ? near : INFINITY;
  view._farthest = far;
  view._eye = {toWorld(0, 3), toWorld(1, 3), toWorld(2, 3)};
  view._up = row(1);
  view._right = row(0) + view._up * static_cast<float>(skew);
  view._forward = -row(2);
  view._slope = (static_cast<double>(edges[1]) - edges[0]) / 2;
  view._slopeY = (static_cast<double>(edges[3]) - edges[2]) / 2 * aspect;
  view._centerX = (static_cast<double>(edges[1]) + edges[0]) / 2;
  view._centerY = (static_cast<double>(edges[3]) + edges[2]) / 2;
  return view;
}

SeenPoint PictureView::toEyeSpace(osg::Pnt3f const& point) const {
  osg::Vec3f const offset = osg::Vec3f(point) - _eye;
  return {osg::dot(offset, _right), osg::dot(offset, _up), osg::dot(offset, _forward)};
}

std::optional<SeenPoint> PictureView::see(osg::Pnt3f const& point) const {
  if (!isFinite(point)) return std::nullopt;
  SeenPoint const p = toEyeSpace(point);
  if (!(p.depth >= _nearest && p.depth <= _farthest)) return std::nullopt;
  return project(p);
}

SeenPoint PictureView::project(SeenPoint const& p) const {
  return {(p.x / p.depth - _centerX) / _slope, (p.y / p.depth - _centerY) / _slopeY, p.depth};
}

/// One plane of the view after the other cuts off what is beyond it (Sutherland and Hodgman 1974).
std::vector<SeenPoint> PictureView::seePart(std::span<osg::Pnt3f const> corners) const {
  constexpr double Reach = 4;  ///< how far beyond the borders is near enough, in halves of the picture
  std::vector<SeenPoint> part;
  for (osg::Pnt3f const& corner : corners) {
    if (!isFinite(corner)) return {};
    part.push_back(toEyeSpace(corner));
  }
  using Side =
      std::array<double, 4>;  ///< seen is where x, y, depth and 1, each times its number, add up to 0 or more
  double const wide = Reach * _slope;
  double const high = Reach * _slopeY;
  Side const sides[] = {{0, 0, 1, -_nearest},        {0, 0, -1, _farthest},      {1, 0, wide - _centerX, 0},
                        {-1, 0, wide + _centerX, 0}, {0, 1, high - _centerY, 0}, {0, -1, high + _centerY, 0}};
  for (Side const& side : sides) {
    if (std::isinf(side[3]) && side[3] > 0) continue;
    auto const distance = [&side](SeenPoint const& p) {
      return side[0] * p.x + side[1] * p.y + side[2] * p.depth + side[3];
    };
    std::vector<SeenPoint> kept;
    // A line has one edge, a face as many as corners.
    for (std::size_t i = 0; i < part.size(); ++i) {
      SeenPoint const& a = part[i];
      SeenPoint const& b = part[(i + 1) % part.size()];
      double const da = distance(a);
      double const db = distance(b);
      if (da >= 0) kept.push_back(a);
      if ((da >= 0) == (db >= 0) || (corners.size() < 3 && i + 1 == part.size())) continue;
      double const share = da / (da - db);
      kept.push_back(
          {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share, a.depth + (b.depth - a.depth) * share});
    }
    part = std::move(kept);
  }
  for (SeenPoint& p : part) p = project(p);
  return part;
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
