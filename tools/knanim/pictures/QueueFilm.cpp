#include "knanim/pictures/QueueFilm.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

constexpr double kFieldOfView = 28 * std::numbers::pi / 180;
constexpr double kSameTime = 1e-9;
constexpr float kGap = 0.15F;  ///< between rooms of size 1

/// From the front, a little from above, so that a row of models is seen from its side.
osg::Vec3f viewDirection() { return osg::normalized(osg::Vec3f(-0.3F, -0.3F, -0.9F)); }

osg::Vec3f rowDirection() { return osg::normalized(osg::cross(viewDirection(), osg::Vec3f(0, 1, 0))); }

bool isFinite(osg::Pnt3f const& point) {
  return std::isfinite(point.x()) && std::isfinite(point.y()) && std::isfinite(point.z());
}

/// The room that a model takes in all frames: along the row, in height, and away from the viewer.
struct Room {
  osg::Pnt3f low = {INFINITY, INFINITY, INFINITY};
  osg::Pnt3f high = {-INFINITY, -INFINITY, -INFINITY};

  void extendBy(osg::Pnt3f const& point) {
    osg::Vec3f const row = rowDirection();
    osg::Vec3f const away = osg::cross(osg::Vec3f(0, 1, 0), row);
    osg::Pnt3f const placed = {osg::dot(osg::Vec3f(point), row), point.y(),
                               osg::dot(osg::Vec3f(point), away)};
    for (osg::UInt32 i = 0; i < 3; ++i) {
      low[i] = std::min(low[i], placed[i]);
      high[i] = std::max(high[i], placed[i]);
    }
  }
  bool isEmpty() const { return !(low.x() <= high.x()); }
  float size() const { return isEmpty() ? 0 : osg::length(high - low); }
  float width() const { return isEmpty() ? 0 : high.x() - low.x(); }
  /// The middle of the bottom, in the space of the scene.
  osg::Vec3f bottom() const {
    osg::Vec3f const row = rowDirection();
    osg::Vec3f const away = osg::cross(osg::Vec3f(0, 1, 0), row);
    return row * ((low.x() + high.x()) / 2) + osg::Vec3f(0, low.y(), 0) + away * ((low.z() + high.z()) / 2);
  }
};

}  // namespace

QueueFilm::QueueFilm(QueueModels const& models, AnimatedScene const& scene, double end, std::size_t count)
    : _models(models), _scene(scene), _figure(models.model, models.content, scene) {
  auto const steps = static_cast<double>(std::max<std::size_t>(count - 1, 1));
  for (std::size_t i = 0; i < count; ++i) _moments.push_back(end * static_cast<double>(i) / steps);
}

void QueueFilm::see(std::uint64_t pass, double time, std::vector<bool> const& begun) {
  if (_next == _moments.size() || time < _moments[_next] - kSameTime) return;
  while (_next < _moments.size() && time >= _moments[_next] - kSameTime) ++_next;
  FilmFrame& frame = _film.frames.emplace_back();
  frame.frame = static_cast<long long>(pass);
  frame.time = std::round(time * 1e4) / 1e4;
  frame.pose = _figure.capture();
  _begun.push_back(begun);
}

/// Calls `use` for all points of a model, seen or not.
template <typename Use>
void QueueFilm::forEachPoint(QueueModel const& part, Pose& pose, Use use) const {
  for (std::size_t i = part.nodes.begin; i < part.nodes.end; ++i) use(pose.joints[i]);
  for (std::size_t i = 0; i < pose.meshes.size(); ++i) {
    if (!part.meshes.contains(_scene.meshes()[i].mesh)) continue;
    for (osg::Pnt3f& point : pose.meshes[i]) use(point);
  }
}

/// Calls `use` for those points of a model that are drawn.
template <typename Use>
void QueueFilm::forEachSeen(QueueModel const& part, Pose const& pose, Use use) const {
  for (Stick const& stick : _figure.sticks()) {
    if (!part.nodes.contains(stick.to)) continue;
    use(pose.joints[stick.from]);
    use(pose.joints[stick.to]);
  }
  for (std::size_t i = 0; i < pose.meshes.size(); ++i) {
    std::size_t const mesh = _scene.meshes()[i].mesh;
    if (!part.meshes.contains(mesh)) continue;
    for (osg::UInt32 const index : _models.content.meshes[mesh].indices) use(pose.meshes[i][index]);
  }
}

std::vector<std::string> QueueFilm::unseen() const {
  std::vector<std::string> names;
  for (QueueModel const& part : _models.parts) {
    bool isSeen = false;
    if (!_film.frames.empty())
      forEachSeen(part, _film.frames[0].pose, [&](osg::Pnt3f const&) { isSeen = true; });
    if (!isSeen) names.push_back(part.name);
  }
  return names;
}

/// Moves the points of all frames: the models stand in a row on one ground, each in room of size 1. A model that has
/// not begun stands in its pose of rest, which may be anywhere: it is put on the ground by itself.
void QueueFilm::placeSideBySide() {
  float reached = 0;
  for (std::size_t model = 0; model < _models.parts.size(); ++model) {
    QueueModel const& part = _models.parts[model];
    std::array<Room, 2> rooms;  ///< before it has begun, and from then on
    for (std::size_t i = 0; i < _film.frames.size(); ++i) {
      forEachSeen(part, _film.frames[i].pose, [&](osg::Pnt3f const& point) {
        if (isFinite(point)) rooms[_begun[i][model] ? 1 : 0].extendBy(point);
      });
    }
    float const size = std::max(rooms[0].size(), rooms[1].size());
    if (rooms[0].isEmpty() && rooms[1].isEmpty()) continue;
    float const scale = size > 0 ? 1 / size : 1;
    float const width = std::max(rooms[0].width(), rooms[1].width()) * scale;
    osg::Vec3f const place = rowDirection() * (reached + width / 2);
    reached += width + kGap;
    for (std::size_t i = 0; i < _film.frames.size(); ++i) {
      osg::Vec3f const bottom = rooms[_begun[i][model] ? 1 : 0].bottom();
      forEachPoint(part, _film.frames[i].pose, [&](osg::Pnt3f& point) {
        point = osg::Pnt3f((osg::Vec3f(point) - bottom) * scale + place);
      });
    }
  }
}

void QueueFilm::describe() {
  for (QueueModel const& part : _models.parts) _film.title += (_film.title.empty() ? "" : ", ") + part.name;
  _film.subtitle = counted(_film.frames.size(), "moment") + " of a queue of " +
                   counted(_models.parts.size(), "model") + "; a frame is a pass";
  if (_models.parts.size() > 1) _film.subtitle += "; each has room of the same size";
}

bool QueueFilm::draw(PictureFormat format, std::string& bytes, std::string& message) {
  placeSideBySide();
  describe();
  std::vector<osg::Pnt3f> points;
  for (FilmFrame const& frame : _film.frames) {
    for (QueueModel const& part : _models.parts)
      forEachSeen(part, frame.pose, [&](osg::Pnt3f const& point) { points.push_back(point); });
  }
  _film.panelAspect = filmAspect(points, viewDirection(), _film.frames.size());
  PictureView const view = PictureView::around(points, viewDirection(), kFieldOfView, _film.panelAspect);
  for (FilmFrame& frame : _film.frames) frame.view = view;
  return drawFilm(_film, _figure, format, bytes, message);
}

}  // namespace knanim
