#include "knanim/pictures/StillPicture.h"

#include "knanim/pictures/FilmShooting.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/support/Console.h"
#include "knanim/support/OutputFile.h"
#include "knanim/support/Text.h"
#include "model/materials/SurfaceMaterials.h"
#include "model/scenedata/knSceneData.h"

#include <algorithm>
#include <cmath>

namespace knanim {
namespace {

/// Shooting moves the timeline: without animations that changes nothing.
void switchOffAnimations(AnimatedScene const& scene) {
  knAnimManager& manager = *knAnimManager::the();
  for (SceneCurve const& curve : scene.curves()) manager.setTreeActive(curve.node->getParent(), false);
  for (SceneCache const& cache : scene.caches()) manager.setTreeActive(cache.node, false);
}

/// What is drawn takes its colours from the content.
ModelContent withColorsOfScene(ModelContent content) {
  std::vector<osg::MaterialPtr> materials;
  if (osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool(); pool.isAlive()) pool->get(materials);
  for (std::size_t i = 0; i < materials.size() && i < content.materials.size(); ++i) {
    if (auto const* const phong = osg::dcastTo<osg::PhongMaterial>(materials[i]))
      content.materials[i].diffuse = phong->getDiffuseColor();
  }
  return content;
}

}  // namespace

std::optional<Failure> drawStill(LoadedScene const& loaded, std::string const& path,
                                 std::string const& camera, std::string const& subtitle, Terminal terminal) {
  switchOffAnimations(loaded.scene());
  ModelContent const content = withColorsOfScene(loaded.content());
  SceneFigure const figure(loaded.model(), content, loaded.scene());
  double const rate = knAnimManager::the()->fps();
  double const time = loaded.time().value_or(0);
  long long const frame = std::llround(std::clamp(time * rate, -1e15, 1e15));
  FrameRange const range{rate, frame, frame};
  Playback playback(range);
  auto shot = shootFilm(figure, loaded.scene(), range, {&frame, 1}, camera, playback);
  if (auto const* failure = std::get_if<Failure>(&shot)) return *failure;
  Shooting& shooting = std::get<Shooting>(shot);
  if (!shooting.warning.empty()) warn(shooting.warning, terminal);
  shooting.film.title = loaded.title();
  shooting.film.subtitle = subtitle;
  shooting.film.frames[0].time = time;
  shooting.film.frames[0].trails.clear();
  std::string bytes;
  std::string message;
  if (!drawFilm(shooting.film, figure, *pictureFormat(path), bytes, message))
    return Failure{ExitCode::Failed, "cannot draw the picture: " + message};
  OutputFile output(path);
  output.write(bytes);
  if (!output.commit()) return Failure{ExitCode::OutputUnwritable, output.message()};
  return std::nullopt;
}

}  // namespace knanim
