#pragma once

#include "knAnimManager.h"
#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/scene/BlockSwitch.h"
#include "knanim/scene/ModelNodes.h"
#include "knanim/scene/SceneParts.h"
#include "model/sceneext/TimeShapeCache.h"

#include <span>
#include <vector>

namespace knanim {

/// A mesh as it stands in the scene.
struct SceneMesh {
  osg::NodePtr node;     ///< its core is the geometry
  std::size_t mesh = 0;  ///< index into `ModelContent::meshes`
  bool isBaked = false;  ///< the geometry's vertices stand where the bones would place them
};

/// Whole shapes that are played into the geometry of a mesh.
struct SceneCache {
  std::size_t mesh = 0;          ///< index into `AnimatedScene::meshes`
  osg::AnimNodePtr node;         ///< below the attachment of the geometry's node
  osg::TimeShapeCachePtr cache;  ///< the node's core
};

/// How much the caches of a scene hold.
struct ShapeCounts {
  std::size_t caches = 0;
  std::size_t baked = 0;  ///< of the caches
  std::size_t shapes = 0;
  double bytes = 0;
};

struct SceneCamera {
  std::string name;
  osg::NodePtr node;  ///< its core is the camera
};

/// One of several models that were put together, as a scene that exists.
struct AdoptedModel {
  std::size_t group = 0;      ///< the node that holds the model; those of the model follow it
  std::size_t nodes = 0;      ///< how many these are
  std::size_t firstMesh = 0;  ///< of the content
  osg::NodePtr top;           ///< what holds the model's nodes; they move away from there
  std::vector<osg::MaterialPtr> materials = {};
};

/// A model as the library's current scene: a node with a transform for every node of the model, below it the
/// node's meshes, cameras and lights, the materials in the scene's pool. Each animated node has an attachment
/// with one block for each animation, which holds the curves; a mesh that morphs has a cache of its shapes.
/// There can be one such scene at a time; it ends with this object, and so do the clips of the library's clip
/// structure. One curve may be read by any number of `CurveReader`s while the scene lives.
class AnimatedScene {
 public:
  /// The scene of a stored model is loaded again as it is in the file, with the model's animation switched on; throws
  /// std::runtime_error when that cannot be read any more or is another one now.
  explicit AnimatedScene(ImportedModel const& model, ModelContent const& content = {});
  /// Several models put together. Those that `adopted` lists come from scenes of their own: these are taken as they are, and
  /// nothing is made for them.
  AnimatedScene(ImportedModel const& model, ModelContent const& content,
                std::span<AdoptedModel const> adopted);
  ~AnimatedScene();
  AnimatedScene(AnimatedScene const&) = delete;
  AnimatedScene& operator=(AnimatedScene const&) = delete;

  /// The root of the library's scene; the model's root is its first child.
  osg::NodePtr const& root() const { return _root; }
  /// In the order of the model's nodes.
  std::span<osg::NodePtr const> nodes() const { return _nodes; }
  /// In the order of the model's curves.
  std::span<SceneCurve const> curves() const { return _curves; }
  std::span<SceneMesh const> meshes() const { return _meshes; }
  std::span<SceneCamera const> cameras() const { return _cameras; }
  std::span<SceneCache const> caches() const { return _caches; }
  ShapeCounts countShapes() const;

  /// Hangs another animation of the same model on the nodes. Its blocks are inactive: playing the scene
  /// passes over them, clips can use their curves. Curves of nodes that the scene does not have are left out.
  std::vector<SceneCurve> addAnimation(ImportedModel const& model) {
    return hangCurves(model, _nodes, false);
  }

  /// Puts back what was switched for the sake of the animation, as before saving. It may be switched again.
  void switchBack();

  /// Switches a tree off for good: `switchBack` leaves it so.
  void switchOff(osg::AnimNodePtr const& tree);

  /// Looks at what hangs on the nodes by now, after blocks and curves came or went: `curves` and those of the model
  /// become what is active there, and caches that are gone are forgotten.
  void readCurves(ImportedModel& model);

  /// Shows a mesh by a cache in which its bones have been taken into account. Another cache that it has gives
  /// way.
  void playBaked(std::size_t mesh, ImportedMesh const& source, osg::TimeShapeCachePtr const& cache);

 private:
  void adopt(ImportedModel const& model);
  void adoptModel(AdoptedModel const& adopted);
  void addShown(SceneParts const& parts, std::size_t firstMesh);
  void hangMorphs(ImportedModel const& model, ModelContent const& content);
  void hangCache(std::size_t mesh, ImportedMesh const& source, osg::TimeShapeCachePtr const& cache,
                 std::string const& name);

  osg::NodePtr _root;
  std::vector<osg::NodePtr> _nodes;
  std::vector<SceneCurve> _curves;
  std::vector<SceneMesh> _meshes;
  std::vector<SceneCamera> _cameras;
  std::vector<SceneCache> _caches;
  std::vector<FormerMask> _formerMasks;  ///< what choosing the animation changed
  bool _keepsKeys = false;               ///< keys of a stored scene would move with the frame rate
};

/// Reads some curves of a scene at one time after the other. The scene's fields stay as they are.
class CurveReader {
 public:
  /// Reads the curves of these indices, in this order.
  CurveReader(AnimatedScene const& scene, std::span<std::size_t const> curves);
  explicit CurveReader(std::span<SceneCurve const> curves);

  /// Computes the value of every curve at a time in seconds.
  void evaluate(double time);

  std::size_t size() const { return _values.size(); }
  /// The value of the last evaluation.
  float value(std::size_t index) const { return _values[index]; }

 private:
  void add(SceneCurve const& curve);

  std::vector<osg::AnimNodePtr> _nodes;
  std::vector<float> _values;
};

/// The values of one curve at all of these times, in seconds.
std::vector<Key> readSeries(SceneCurve const& curve, std::span<double const> times);

}  // namespace knanim
