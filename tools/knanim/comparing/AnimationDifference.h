#pragma once

#include "knanim/comparing/AnimationHarvest.h"

#include <functional>
#include <string>
#include <vector>

namespace knanim {

/// A curve that two scenes have, in what it differs.
struct CurveDifference {
  std::string label;
  std::string animation;
  std::size_t keysBefore = 0;
  std::size_t keysAfter = 0;
  std::size_t moved = 0;  ///< keys of the first that the second has not at the same time with the same value
  double largest = 0;     ///< difference of evaluated values; infinite where one is no number
  double at = 0;          ///< seconds: where that is
  bool isSwitched = false;  ///< on in one, off in the other
  bool repeatsOtherwise = false;
};

struct CacheDifference {
  std::string owner;
  std::size_t shapesBefore = 0;
  std::size_t shapesAfter = 0;
  double largest = 0;  ///< way of a vertex; infinite where shapes have other times or numbers of vertices
};

struct AnimationDifference {
  std::size_t equal = 0;             ///< curves and caches that do not differ
  std::vector<std::string> missing;  ///< in the second, as "path [animation]" with the number of their curves
  std::vector<std::string> added;
  std::vector<std::string>
      renamed;  ///< "path [animation] is path [animation]": the same curves or shapes under other names
  std::vector<CurveDifference> curves;
  std::vector<CacheDifference> caches;

  bool isEmpty() const {
    return missing.empty() && added.empty() && renamed.empty() && curves.empty() && caches.empty();
  }
};

/// Compares curves by the paths of their owners, their animation and their channel. Values are evaluated at all keys of
/// both, between them and around them; curves whose values differ by no more than `tolerance`, and in nothing else than
/// keys, are equal. `progress` is told how many curves are done, and ends the work by returning false.
AnimationDifference compare(AnimationHarvest const& first, AnimationHarvest const& second, double tolerance,
                            std::function<bool(std::size_t)> const& progress);

}  // namespace knanim
