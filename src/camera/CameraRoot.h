#pragma once

#include "model/camera/UberCamera.h"
#include "model/sceneext/AnimCurve.h"

/// The root of a camera's flights, made when there is none: empty, not playing and without cycles. The camera must be
/// alive. Null when a handler destroyed it.
osg::AnimNodePtr prepareCameraAnimationRoot(osg::UberCameraPtr const& camera);

/// Adds a key at 0 and one at `duration` (seconds), and announces them. A null or dead curve is left alone.
void createFromToControlPoints(osg::AnimCurvePtr const& curve, float from, float to, float duration,
                               osg::UInt32 tangentType);
