#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/scene/AnimatedScene.h"

#include <span>
#include <string>
#include <vector>

namespace knanim {

/// A picture of curves before and after a reduction: for each a panel with the old curve, the new one and its keys, and
/// below it a panel with the difference of the two between the tolerances. Made before the reduction, which it needs
/// twice; the scene has to live as long.
class ReductionPlot {
 public:
  /// Reads the old curves of these indices, six at most.
  ReductionPlot(ImportedModel const& model, AnimatedScene const& scene, std::span<std::size_t const> curves);

  std::size_t size() const { return _curves.size(); }
  /// Reads the new curves. `tolerances` stand in the order of the model's curves; an empty list draws none.
  PlotPicture draw(std::string const& title, std::span<double const> tolerances) const;

 private:
  std::vector<Key> read(std::size_t curve) const;

  ImportedModel const& _model;
  AnimatedScene const& _scene;
  std::vector<std::size_t> _curves;
  TimeSpan _span;
  std::vector<double> _times;
  std::vector<std::vector<Key>> _old;
};

}  // namespace knanim
