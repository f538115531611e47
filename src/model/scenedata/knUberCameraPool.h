#pragma once

#include "model/camera/UberCamera.h"

#include <string>
#include <vector>

/// The cameras of the current scene: what stands below the camera root of its material pool, and then below the
/// root of its objects, depth first. Main thread, linear in the number of nodes.
class KNSCENE_API knUberCameraPool {
 public:
  knUberCameraPool() = delete;

  /// The cores of all camera nodes, each once. Without `includeInactive`, nodes that are not active are passed
  /// over with all below; without `includeViewpoints`, what stands below a camera track.
  static std::vector<osg::UberCameraPtr> getContentPtrs(bool includeInactive, bool includeViewpoints);
  /// All nodes with a `CameraTrack` as their core.
  static std::vector<osg::NodePtr> getCameraTrackNodes();
};

/// Cameras by their nodes.
class KNSCENE_API knUberCameraUtils {
 public:
  knUberCameraUtils() = delete;

  /// The camera of the nearest node above `node` that has one; the node itself does not count. Null when there is
  /// none.
  static osg::UberCameraPtr findParentUberCamera(osg::NodePtr const& node);
  /// The name of the first named node that uses the camera, else of the camera itself; empty when there is none.
  static std::string getName(osg::UberCameraPtr const& camera);
};
