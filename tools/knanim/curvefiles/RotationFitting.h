#pragma once

#include "knanim/curvefiles/CurveFitting.h"
#include "knanim/import/EulerAngles.h"

namespace knanim {

/// Rotations by time as a file has them.
struct SourceRotation {
  std::vector<double> times;  ///< of the keys, seconds, ascending strictly; at least one
  std::vector<SpanShape>
      shapes;  ///< one less; `Straight` here is any way that may be near straight lines of angles
  /// The unit rotation at a share of a span's time, 0 to 1; of a held span, at 0 only. It may jump from span to span.
  std::function<Rotation(std::size_t span, double share)> at;
  Rotation last;  ///< at the last key
};

/// Rotations as curves of the three angles of a transform.
struct FittedRotation {
  std::array<CurveForm, 3> forms;
  double deviation = 0;  ///< the largest angle that samples find, in degrees
};

/// Angles run on from key to key and are fitted within 0.001 degree, with more keys where the file has too few for that.
/// Where y passes a quarter turn angles jump, and the deviation tells by how much that is not met.
FittedRotation fitRotation(SourceRotation const& source);

}  // namespace knanim
