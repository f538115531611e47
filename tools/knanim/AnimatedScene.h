#pragma once

#include "knAnimManager.h"
#include "knanim/ImportedModel.h"
#include "model/scenegraph/Node.h"

#include <span>
#include <vector>

namespace knanim {

/// A model as a scene of the library: a node with a transform for every node of the model, and under each animated
/// one its curves. One curve may be read by any number of `CurveReader`s while the scene lives.
class AnimatedScene {
 public:
  explicit AnimatedScene(ImportedModel const& model);
  ~AnimatedScene();
  AnimatedScene(AnimatedScene const&) = delete;
  AnimatedScene& operator=(AnimatedScene const&) = delete;

  osg::NodePtr const& root() const { return _root; }
  std::size_t curveCount() const { return _curves.size(); }

 private:
  friend class CurveReader;

  osg::NodePtr _root;
  std::vector<knAnimManager::knCurveData> _curves;  ///< in the order of the model's curves
};

/// Evaluates some curves of a scene together.
class CurveReader {
 public:
  /// Reads the curves of these indices, in this order.
  CurveReader(AnimatedScene const& scene, std::span<std::size_t const> curves);
  /// Reads all curves.
  explicit CurveReader(AnimatedScene const& scene) : _records(scene._curves) {}

  /// Computes the value of every curve at a time in seconds.
  void evaluate(double time);

  std::size_t size() const { return _records.size(); }
  /// The value of the last evaluation.
  float value(std::size_t index) const { return _records[index].value + _records[index].cycleValueOffset; }

 private:
  std::vector<knAnimManager::knCurveData> _records;
};

}  // namespace knanim
