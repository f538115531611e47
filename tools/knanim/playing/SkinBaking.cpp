#include "knanim/playing/SkinBaking.h"

#include "knanim/import/ShapeCaches.h"
#include "knanim/scene/Skinning.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/ProgressBar.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <utility>

namespace knanim {
namespace {

/// A mesh that is being baked. Owns its cache until the scene takes it.
class BakedMesh {
 public:
  BakedMesh(std::size_t index, SceneMesh const& shown, ImportedMesh const& mesh)
      : _index(index), _shown(shown), _mesh(mesh) {
    _cache.addRef();
  }
  ~BakedMesh() {
    if (_cache.isAlive()) _cache.subRef();
  }
  BakedMesh(BakedMesh&& other) noexcept
      : _index(other._index),
        _shown(other._shown),
        _mesh(other._mesh),
        _cache(std::exchange(other._cache, {})),
        _isFlat(other._isFlat) {}
  BakedMesh& operator=(BakedMesh&&) = delete;

  std::size_t index() const { return _index; }
  ImportedMesh const& mesh() const { return _mesh; }
  osg::TimeShapeCachePtr const& cache() const { return _cache; }
  std::string name() const { return _mesh.name; }
  /// Whether a frame had no inverse.
  bool isFlat() const { return _isFlat; }

  /// Adds the shape of the present moment.
  void add(double time, std::span<osg::Matrix const> worlds);

 private:
  std::size_t _index;
  SceneMesh _shown;
  ImportedMesh const& _mesh;
  osg::TimeShapeCachePtr _cache = osg::TimeShapeCacheBase::create();
  bool _isFlat = false;
};

void BakedMesh::add(double time, std::span<osg::Matrix const> worlds) {
  osg::Matrix const toWorld = _shown.node->getToWorld();
  osg::Matrix fromWorld;
  _isFlat = _isFlat || !toWorld.inverse(fromWorld);
  if (_isFlat) return;
  Skinning const skinning(_mesh, worlds, toWorld, fromWorld);
  std::vector<osg::Pnt3f> positions = skinning.movePositions(positionsAt(_shown.node));
  // Normals that nobody gave are those of the faces, also when the faces move.
  std::vector<osg::Vec3f> normals =
      _mesh.normals.empty() ? normalsOfFaces(_mesh, positions) : skinning.moveNormals(normalsAt(_shown.node));
  _cache->addShape(makeShape(time, std::move(positions), std::move(normals)));
}

bool hasSkin(ImportedMesh const& mesh) {
  return std::any_of(mesh.bones.begin(), mesh.bones.end(),
                     [](ImportedBone const& bone) { return !bone.weights.empty(); });
}

}  // namespace

std::optional<Failure> bakeSkins(ImportedModel const& model, ModelContent const& content,
                                 AnimatedScene& scene, FrameRange const& frames, Playback& playback,
                                 Terminal terminal) {
  std::vector<BakedMesh> baked;
  double bytes = 0;
  for (std::size_t i = 0; i < scene.meshes().size(); ++i) {
    ImportedMesh const& mesh = content.meshes[scene.meshes()[i].mesh];
    if (!hasSkin(mesh)) continue;
    baked.emplace_back(i, scene.meshes()[i], mesh);
    bytes += shapeBytes(frames.count(), mesh.positions.size());
  }
  if (bytes > kMostShapeBytes) {
    return Failure{ExitCode::Usage, "the baked skins would take " + mebibytes(bytes) + ", more than " +
                                        mebibytes(kMostShapeBytes) +
                                        "; take fewer frames with --from, --to or --fps"};
  }
  if (baked.empty()) {
    warn("no mesh of this model has bones, so there is nothing to bake", terminal);
    return std::nullopt;
  }
  ProgressBar progress(terminal.errors, "baking", frames.count());
  for (long long frame = frames.first; frame <= frames.last; ++frame) {
    if (InterruptionGuard::isInterrupted()) return Failure{ExitCode::Failed, "interrupted"};
    playback.show(static_cast<double>(frame));
    std::vector<osg::Matrix> const worlds = worldMatrices(model, scene.nodes());
    for (BakedMesh& mesh : baked) mesh.add(frames.time(frame), worlds);
    progress.update(static_cast<std::uint64_t>(frame - frames.first + 1));
  }
  for (BakedMesh const& mesh : baked) {
    if (mesh.isFlat())
      warn(mesh.name() + ": the mesh shrinks to nothing at times and is not baked", terminal);
    else
      scene.playBaked(mesh.index(), mesh.mesh(), mesh.cache());
  }
  return std::nullopt;
}

}  // namespace knanim
