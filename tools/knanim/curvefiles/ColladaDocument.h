#pragma once

#include "knanim/curvefiles/SourceCurve.h"

#include <array>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace knanim {

/// One of the transforms that a node of a Collada file has, applied from the last to the first.
struct ColladaStep {
  enum class Type : std::uint8_t { Translate, Rotate, Scale, Matrix, Other };

  Type type = Type::Other;
  std::string sid;
  /// Three numbers; axis and angle in degrees; a matrix row by row.
  std::vector<double> values;
  /// What moves the values, by their index.
  std::map<std::size_t, SourceCurve> curves;

  double valueAt(std::size_t index, double time, double inside) const;
};

struct ColladaNode {
  std::string id;
  std::vector<ColladaStep> steps;

  bool isAnimated() const;
};

/// The nodes of a Collada file that something moves, with the curves of one animation.
struct ColladaDocument {
  std::vector<ColladaNode> nodes;
  std::vector<std::string> warnings;
  std::string failure;  ///< why nothing could be read; empty otherwise
};

/// Reads a file. `animation` is a name of an animation or clip, and counts where the file moves something twice.
ColladaDocument readColladaDocument(std::string const& text, std::string const& animation);

}  // namespace knanim
