#include "knanim/scene/ViewpointChoice.h"

#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

std::vector<std::string_view> split(std::string_view text, char at) {
  std::vector<std::string_view> parts;
  for (;;) {
    std::size_t const end = text.find(at);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::optional<float> readNumber(std::string_view text) {
  float value = 0;
  auto const read = std::from_chars(text.data(), text.data() + text.size(), value);
  bool const isGood = read.ec == std::errc() && read.ptr == text.data() + text.size() && std::isfinite(value);
  return isGood ? std::optional(value) : std::nullopt;
}

std::optional<osg::Vec3f> readTriple(std::string_view text) {
  std::vector<std::string_view> const parts = split(text, ',');
  osg::Vec3f triple;
  for (osg::UInt32 i = 0; i < 3; ++i) {
    auto const number = parts.size() == 3 ? readNumber(parts[i]) : std::nullopt;
    if (!number) return std::nullopt;
    triple[i] = *number;
  }
  return triple;
}

/// FROM:AT or FROM:AT:UP, each as X,Y,Z.
std::optional<Viewpoint> readLookAt(std::string_view text) {
  std::vector<std::string_view> const parts = split(text, ':');
  if (parts.size() < 2 || parts.size() > 3) return std::nullopt;
  auto const from = readTriple(parts[0]);
  auto const at = readTriple(parts[1]);
  auto const up = parts.size() == 3 ? readTriple(parts[2]) : osg::Vec3f(0, 1, 0);
  if (!from || !at || !up || *from == *at || osg::length(*up) == 0) return std::nullopt;
  Viewpoint viewpoint;
  viewpoint.from = osg::Pnt3f(*from);
  viewpoint.at = osg::Pnt3f(*at);
  viewpoint.up = *up;
  return viewpoint;
}

/// What a camera of the model sees. Files tell no place that it looks at, only the way: it looks as far as the figure.
Viewpoint ofCamera(SceneCamera const& source, FigureRoom const& room) {
  auto const camera = osg::dcast<osg::UberCameraPtr>(source.node->getCore());
  Viewpoint viewpoint;
  viewpoint.name = source.name;
  viewpoint.isOfModel = true;
  osg::Pnt3f at;
  camera->getFromAtUp(viewpoint.from, at, viewpoint.up, osg::Camera::WorldSpace);
  osg::Vec3f const way = osg::normalized(at - viewpoint.from);
  float const far = osg::dot(room.center() - viewpoint.from, way);
  viewpoint.at = viewpoint.from + way * std::max(far, 0.1F * std::max(room.size(), 1e-3F));
  viewpoint.fov = camera->getFov();
  viewpoint.exposure = camera->getTonemappingSettings()->getExposure();
  return viewpoint;
}

/// Around the figure, at different heights and distances: far enough that it is seen whole on the way between them too,
/// which comes nearer.
std::vector<Viewpoint> around(FigureRoom const& room, float fov) {
  struct Place {
    float azimuth;
    float elevation;
    float distance;
  };
  constexpr Place places[] = {{25, 12, 1}, {100, 38, 1.15F}, {190, 8, 1.1F}, {285, 24, 1.2F}};
  float const degree = std::numbers::pi_v<float> / 180;
  float const fitting = 0.5F * std::max(room.size(), 1e-3F) / std::sin(fov / 2 * degree);
  std::vector<Viewpoint> viewpoints;
  for (Place const& place : places) {
    Viewpoint& viewpoint = viewpoints.emplace_back();
    float const flat = std::cos(place.elevation * degree);
    osg::Vec3f const way(flat * std::sin(place.azimuth * degree), std::sin(place.elevation * degree),
                         flat * std::cos(place.azimuth * degree));
    viewpoint.at = room.center();
    viewpoint.from = viewpoint.at + way * (fitting * place.distance);
  }
  return viewpoints;
}

std::optional<Failure> addCameras(ShootOptions const& options, AnimatedScene const& scene,
                                  FigureRoom const& room, bool useOwn, std::vector<Viewpoint>& viewpoints) {
  for (std::string const& name : options.cameras) {
    auto const cameras = scene.cameras();
    auto const found = std::find_if(cameras.begin(), cameras.end(),
                                    [&](SceneCamera const& camera) { return camera.name == name; });
    if (found == cameras.end()) return usage(noCamera(name, cameras));
    viewpoints.push_back(ofCamera(*found, room));
  }
  if (!useOwn || !options.cameras.empty() || !options.views.empty()) return std::nullopt;
  // One camera is enough to turn around, but not to go anywhere.
  if (scene.cameras().size() < 2 && options.move != "turntable") return std::nullopt;
  for (SceneCamera const& camera : scene.cameras()) viewpoints.push_back(ofCamera(camera, room));
  return std::nullopt;
}

std::optional<Failure> setExposures(std::string const& text, std::vector<Viewpoint>& viewpoints) {
  if (text.empty()) return std::nullopt;
  std::vector<std::string_view> const parts = split(text, ',');
  if (parts.size() > viewpoints.size())
    return usage(counted(parts.size(), "exposure") + " for " + counted(viewpoints.size(), "viewpoint"));
  for (std::size_t i = 0; i < viewpoints.size(); ++i) {
    auto const exposure = readNumber(parts[std::min(i, parts.size() - 1)]);
    if (!exposure || *exposure < 0)
      return usage("bad exposures \"" + printable(text) +
                   "\": they must be numbers from 0 up, such as 1,0.3,2");
    viewpoints[i].exposure = *exposure;
  }
  return std::nullopt;
}

}  // namespace

std::string noCamera(std::string const& name, std::span<SceneCamera const> cameras) {
  std::vector<std::string> names;
  for (SceneCamera const& each : cameras) names.push_back(each.name);
  return "no camera \"" + printable(name) + "\" in this model" +
         (names.empty() ? "; it has none" : insteadClause(name, names));
}

std::variant<std::vector<Viewpoint>, Failure> chooseViewpoints(ShootOptions const& options,
                                                               AnimatedScene const& scene,
                                                               FigureRoom const& room, bool useOwn) {
  std::vector<Viewpoint> viewpoints;
  if (auto failure = addCameras(options, scene, room, useOwn, viewpoints)) return std::move(*failure);
  std::size_t const ofModel = viewpoints.size();
  for (std::string const& text : options.views) {
    auto const viewpoint = readLookAt(text);
    if (!viewpoint)
      return usage(
          "bad view \"" + printable(text) +
          "\": a view is FROM:AT or FROM:AT:UP, two different places and a direction, each three numbers "
          "such as 4,2,-1.5");
    viewpoints.push_back(*viewpoint);
  }
  float const usual = Viewpoint().fov;
  if (viewpoints.empty()) viewpoints = around(room, static_cast<float>(options.fov.value_or(usual)));
  for (std::size_t i = 0; i < viewpoints.size(); ++i) {
    if (options.fov) viewpoints[i].fov = static_cast<float>(*options.fov);
    if (i >= ofModel) viewpoints[i].name = "view " + std::to_string(i - ofModel + 1);
  }
  if (auto failure = setExposures(options.exposures, viewpoints)) return std::move(*failure);
  if (viewpoints.size() < 2 && options.move != "turntable")
    return usage(
        "a " + options.move +
        " needs two viewpoints, but there is only one; add some with --view, or use --move turntable");
  if (options.move == "turntable") viewpoints.resize(1);
  return viewpoints;
}

}  // namespace knanim
