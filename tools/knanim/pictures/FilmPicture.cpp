#include "knanim/pictures/FilmPicture.h"

#include "knanim/pictures/FilmPanel.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

constexpr double kWidth = 1040;
constexpr double kMargin = 20;
constexpr double kGap = 6;
constexpr double kHeader = 62;
constexpr double kCaption = 34;
constexpr double kFittedFieldOfView = 28 * std::numbers::pi / 180;
constexpr std::size_t kMostColumns = 8;
constexpr std::size_t kMostWideColumns = 4;
constexpr double kNarrowPanel = 0.62;
constexpr TextStyle kTitleStyle{20, true};
constexpr TextStyle kSubtitleStyle{12.5, false};
constexpr TextStyle kFrameStyle{12, true};
constexpr TextStyle kTimeStyle{11, false};
constexpr Color kInk = Color::fromHex(0x1F2733);
constexpr Color kSoft = Color::fromHex(0x5F6B7A);

/// Three quarters from the front, a little from above.
osg::Vec3f fittedDirection() { return osg::normalized(osg::Vec3f(-0.62F, -0.30F, -0.78F)); }

/// The points again, on a ground at the height of the lowest one.
void addShadows(std::vector<osg::Pnt3f>& points) {
  float ground = INFINITY;
  for (osg::Pnt3f const& point : points) ground = std::min(ground, point.y());
  std::size_t const count = points.size();
  points.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) points.emplace_back(points[i].x(), ground, points[i].z());
}

/// Narrow panels stand in one row, as far as there is room; wide ones in rows of about equal length.
std::size_t columnsFor(std::size_t frames, double aspect) {
  std::size_t const most = aspect <= kNarrowPanel ? kMostColumns : kMostWideColumns;
  std::size_t const rows = (frames + most - 1) / most;
  return (frames + rows - 1) / std::max<std::size_t>(rows, 1);
}

struct Layout {
  std::size_t columns = 1;
  double panelWidth = 0;
  double panelHeight = 0;

  Layout(std::size_t frames, double aspect) : columns(std::max<std::size_t>(1, columnsFor(frames, aspect))) {
    auto const count = static_cast<double>(columns);
    panelWidth = (kWidth - 2 * kMargin - (count - 1) * kGap) / count;
    panelHeight = panelWidth / aspect;
  }
  Box box(std::size_t index) const {
    double const left = kMargin + static_cast<double>(index % columns) * (panelWidth + kGap);
    double const top = kHeader + static_cast<double>(index / columns) * (panelHeight + kCaption + kGap);
    return {left, top, left + panelWidth, top + panelHeight};
  }
};

void drawHeader(FilmPicture const& film, Canvas& canvas) {
  double const width = kWidth - 2 * kMargin;
  canvas.drawText(canvas.fitted(film.title, kTitleStyle, width), {kMargin, 30}, kTitleStyle, kInk);
  canvas.drawText(canvas.fitted(film.subtitle, kSubtitleStyle, width), {kMargin, 50}, kSubtitleStyle, kSoft);
}

void drawCaption(FilmFrame const& frame, Box const& box, Canvas& canvas) {
  double const middle = (box.left + box.right) / 2;
  std::string const number = (frame.label.empty() ? "" : frame.label + ", ") +
                             (box.width() > 60 ? "frame " : "") + std::to_string(frame.frame);
  canvas.drawText(number, {middle, box.bottom + 14}, kFrameStyle, kInk, Align::Center);
  canvas.drawText(brief(frame.time, 4) + " s", {middle, box.bottom + 28}, kTimeStyle, kSoft, Align::Center);
}

}  // namespace

double boundedAspect(double aspect, std::size_t frames) {
  return frames == 1 ? std::clamp(aspect, 1.5, 2.4) : std::clamp(aspect, 0.5, 1.8);
}

double filmAspect(std::span<osg::Pnt3f const> points, osg::Vec3f const& direction, std::size_t frames) {
  osg::Vec3f const right = osg::normalized(osg::cross(direction, osg::Vec3f(0, 1, 0)));
  osg::Vec3f const up = osg::cross(right, direction);
  std::array<float, 4> extent = {INFINITY, -INFINITY, INFINITY, -INFINITY};
  for (osg::Pnt3f const& point : points) {
    float const x = osg::dot(osg::Vec3f(point), right);
    float const y = osg::dot(osg::Vec3f(point), up);
    extent = {std::min(extent[0], x), std::max(extent[1], x), std::min(extent[2], y), std::max(extent[3], y)};
  }
  double const width = static_cast<double>(extent[1]) - extent[0];
  double const height = static_cast<double>(extent[3]) - extent[2];
  double const wanted = width > 0 && height > 0 ? width / height : 1;
  return boundedAspect(wanted, frames);
}

void useFittedView(FilmPicture& film, SceneFigure const& figure, std::optional<double> aspect) {
  std::vector<osg::Pnt3f> points;
  for (FilmFrame const& frame : film.frames) figure.addPoints(frame.pose, points);
  addShadows(points);
  film.panelAspect = aspect.value_or(filmAspect(points, fittedDirection(), film.frames.size()));
  PictureView const view =
      PictureView::around(points, fittedDirection(), kFittedFieldOfView, film.panelAspect);
  for (FilmFrame& frame : film.frames) frame.view = view;
}

bool drawFilm(FilmPicture const& film, SceneFigure const& figure, PictureFormat format, std::string& bytes,
              std::string& message, FilmStage const* given) {
  Layout const layout(film.frames.size(), film.panelAspect);
  double const bottom = film.frames.empty() ? kHeader : layout.box(film.frames.size() - 1).bottom + kCaption;
  Canvas canvas(format, kWidth, bottom + kMargin / 2);
  drawHeader(film, canvas);
  FilmStage const stage = given != nullptr ? *given : FilmStage(film.frames, figure);
  for (std::size_t i = 0; i < film.frames.size(); ++i) {
    Box const box = layout.box(i);
    drawFilmPanel(film.frames[i], figure, stage, box, canvas);
    drawCaption(film.frames[i], box, canvas);
  }
  return canvas.finish(bytes, message);
}

}  // namespace knanim
