#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"

#include <string>
#include <vector>

/// Small helpers for curves. No state; for the thread that edits the scene.
class KNANIM_API knAnimHelper {
 public:
  knAnimHelper() = delete;

  /// Appends the curves with that channel name in the animations of a container, at the top or in blocks and clips; any
  /// other core ends a branch. Those of one level come in their order, then those of the blocks and clips in it, the last
  /// of these first. A curve that is there in two places is found twice. Nothing for a null or dead container and for one
  /// without animations.
  static void getAllCurvesByName(osg::AttachmentContainerPtr container, std::string const& channelName,
                                 std::vector<osg::AnimCurvePtr>& out);

  /// Values become value * scale + offset, and tangents grow with them: value 3 with an out tangent of (1 s, 1) becomes,
  /// by scale 2 and offset 1, value 7 with (1 s, 2). Times stay. Announces the keys, also when there are none or the
  /// values stay; a null or dead curve is left alone.
  static void scaleAndOffsetCurveValues(osg::AnimCurvePtr const& curve, float scale, float offset);
};
