#pragma once

#include "model/camera/UberCamera.h"
#include "model/records/knOSGChannelData.h"
#include "model/sceneext/AnimCurve.h"

#include <string>
#include <vector>

/// Appends the channels that flights and tracks key on a camera: from, at and up; what can be keyed on the camera but
/// for its transform, which from, at and up decide; then on its tonemapping and its fog settings. Null and dead
/// handles give nothing.
void getCameraChannelData(osg::UberCameraPtr const& camera, std::vector<knOSGChannelData>& channels);

/// Brings the tangent types of a curve's keys down to held (0) and smooth (2), and computes all tangents anew. Curves
/// of what cannot be in between ("tonemapperId", "blendMode", "postprocessingFlags") hold throughout.
void validateCameraCurveTangents(osg::AnimCurvePtr const& curve);

/// Adds a key without tangents of its own.
void addPlainKey(osg::AnimCurvePtr const& curve, float time, float value, osg::UInt32 inType,
                 osg::UInt32 outType);

/// The component of a vector or point; 0 for an index that there is none of.
template <class Triple>
float componentOf(Triple const& triple, osg::UInt32 index) {
  return index < 3 ? triple[index] : 0.F;
}
