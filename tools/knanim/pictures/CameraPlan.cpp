#include "knanim/pictures/CameraPlan.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

constexpr double kWidth = 760;
constexpr double kMargin = 20;
constexpr double kHeader = 62;
constexpr double kFooter = 30;
constexpr double kFieldOfView = 8 * std::numbers::pi / 180;  ///< nearly straight down everywhere
constexpr float kLongestFrustum = 0.22F;                     ///< as a part of the picture
constexpr TextStyle kTitleStyle{20, true};
constexpr TextStyle kSubtitleStyle{12.5, false};
constexpr TextStyle kNumberStyle{12, true};
constexpr TextStyle kNoteStyle{11.5, false};
constexpr Color kInk = Color::fromHex(0x1F2733);
constexpr Color kSoft = Color::fromHex(0x5F6B7A);
constexpr Color kWay = Color::fromHex(0x7B55C2);
constexpr Color kFrustum = Color::fromHex(0x2F6FC4);
constexpr Color kViewpoint = Color::fromHex(0xDD6B20);

Color faded(Color color, double alpha) {
  color.alpha = alpha;
  return color;
}

/// The corners of what a camera sees at a distance.
std::array<osg::Pnt3f, 4> cornersOf(CameraMoment const& moment, float distance) {
  std::array<osg::Pnt3f, 4> corners;
  for (std::size_t i = 0; i < 4; ++i) {
    float const x = moment.edges[i == 0 || i == 3 ? 0 : 1];
    float const y = moment.edges[i < 2 ? 2 : 3];
    corners[i] = moment.toWorld.multMatrixPnt({x * distance, y * distance, -distance});
  }
  return corners;
}

class PlanPainter {
 public:
  PlanPainter(CameraPlan& plan, SceneFigure const& figure) : _plan(plan), _figure(figure) { lookDown(); }

  bool paint(PictureFormat format, std::string& bytes, std::string& message);

 private:
  void lookDown();
  float reachOf(CameraMoment const& moment) const {
    return std::min(osg::length(moment.at - moment.from), kLongestFrustum * _size);
  }
  double height() const { return (kWidth - 2 * kMargin) / _aspect; }
  std::optional<Point> place(osg::Pnt3f const& point) const;
  void drawWay(Canvas& canvas) const;
  void drawFrustum(CameraMoment const& moment, Canvas& canvas) const;
  void drawViewpoints(Canvas& canvas) const;

  CameraPlan& _plan;
  SceneFigure const& _figure;
  double _aspect = 1;
  float _size = 1;
};

/// Nearly straight: a little tilt keeps "up" apart from the line of sight.
void PlanPainter::lookDown() {
  std::vector<osg::Pnt3f> points;
  _figure.addPoints(_plan.frame.pose, points);
  for (CameraMoment const& moment : _plan.way) points.push_back(moment.from);
  for (Viewpoint const& viewpoint : _plan.viewpoints) points.push_back(viewpoint.from);
  osg::BoxVolume box;
  for (osg::Pnt3f const& point : points) box.extendBy(point);
  osg::Pnt3f low;
  osg::Pnt3f high;
  box.getBounds(low, high);
  _size = std::max(osg::length(high - low), 1e-6F);
  for (CameraMoment const& moment : _plan.shown) {
    for (osg::Pnt3f const& corner : cornersOf(moment, reachOf(moment))) points.push_back(corner);
  }
  for (osg::Pnt3f const& point : std::vector<osg::Pnt3f>(points)) box.extendBy(point);
  box.getBounds(low, high);
  double const wide = std::max(high.x() - low.x(), 1e-6F);
  _aspect = std::clamp(wide / std::max<double>(high.z() - low.z(), 1e-6), 0.9, 2.2);
  _plan.frame.view = PictureView::around(points, {0, -1, 0}, kFieldOfView, _aspect);
}

std::optional<Point> PlanPainter::place(osg::Pnt3f const& point) const {
  auto const seen = _plan.frame.view.see(point);
  if (!seen) return std::nullopt;
  double const half = (kWidth - 2 * kMargin) / 2;
  return Point{kMargin + half * (1 + seen->x), kHeader + height() / 2 - half * seen->y};
}

void PlanPainter::drawWay(Canvas& canvas) const {
  std::vector<Point> line;
  for (CameraMoment const& moment : _plan.way) {
    if (auto const at = place(moment.from)) line.push_back(*at);
  }
  canvas.drawPolyline(line, 2.4, kWay);
  // A dot for each whole second: close together where the camera is slow.
  double second = 0;
  for (CameraMoment const& moment : _plan.way) {
    if (moment.time < second - 1e-6) continue;
    second += 1;
    if (auto const at = place(moment.from)) canvas.fillDisc(*at, 3.2, kWay);
  }
}

void PlanPainter::drawFrustum(CameraMoment const& moment, Canvas& canvas) const {
  auto const eye = place(moment.from);
  std::vector<Point> base;
  for (osg::Pnt3f const& corner : cornersOf(moment, reachOf(moment))) {
    if (auto const at = place(corner)) base.push_back(*at);
  }
  if (!eye || base.size() != 4) return;
  for (std::size_t i = 0; i < 4; ++i)
    canvas.fillPolygon({*eye, base[i], base[(i + 1) % 4]}, faded(kFrustum, 0.07), 0.7, faded(kFrustum, 0.45));
  canvas.fillDisc(*eye, 2.2, kFrustum);
}

void PlanPainter::drawViewpoints(Canvas& canvas) const {
  int number = 0;
  for (Viewpoint const& viewpoint : _plan.viewpoints) {
    ++number;
    auto const at = place(viewpoint.from);
    if (!at) continue;
    canvas.drawDots({*at}, 9, kViewpoint);
    canvas.drawText(std::to_string(number), {at->x, at->y + 4.2}, kNumberStyle, {1, 1, 1}, Align::Center);
  }
}

bool PlanPainter::paint(PictureFormat format, std::string& bytes, std::string& message) {
  Box const box{kMargin, kHeader, kWidth - kMargin, kHeader + height()};
  Canvas canvas(format, kWidth, box.bottom + kFooter);
  double const width = kWidth - 2 * kMargin;
  canvas.drawText(canvas.fitted(_plan.title, kTitleStyle, width), {kMargin, 30}, kTitleStyle, kInk);
  canvas.drawText(canvas.fitted(_plan.subtitle, kSubtitleStyle, width), {kMargin, 50}, kSubtitleStyle, kSoft);
  drawFilmPanel(_plan.frame, _figure, FilmStage({&_plan.frame, 1}, _figure), box, canvas);
  canvas.clip(box);
  for (CameraMoment const& moment : _plan.shown) drawFrustum(moment, canvas);
  drawWay(canvas);
  drawViewpoints(canvas);
  canvas.unclip();
  canvas.drawText(
      "from above, x to the right, z downwards; a dot each second, frusta at the moments of the strip",
      {kMargin, box.bottom + 19}, kNoteStyle, kSoft);
  return canvas.finish(bytes, message);
}

}  // namespace

PictureView CameraMoment::view(double aspect) const {
  return PictureView::through(toWorld, edges, skew, near, far, aspect);
}

CameraMoment momentOf(osg::UberCamera const& camera, double time, double aspect) {
  CameraMoment moment;
  osg::Vec3f up;
  camera.getFromAtUp(moment.from, moment.at, up, osg::Camera::WorldSpace);
  moment.time = time;
  if (osg::NodePtr const node = camera.getCameraNode()) moment.toWorld = node->getToWorld();
  moment.edges = camera.getViewEdges(static_cast<float>(aspect));
  moment.skew = static_cast<double>(camera.getSkewFactor());
  moment.near = static_cast<double>(camera.getNear());
  moment.far = static_cast<double>(camera.getFar());
  if (auto const tonemapping = camera.getTonemappingSettings(); tonemapping.isAlive())
    moment.exposure = static_cast<double>(tonemapping->getExposure());
  return moment;
}

bool drawCameraPlan(CameraPlan plan, SceneFigure const& figure, PictureFormat format, std::string& bytes,
                    std::string& message) {
  return PlanPainter(plan, figure).paint(format, bytes, message);
}

}  // namespace knanim
