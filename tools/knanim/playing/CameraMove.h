#pragma once

#include "knanim/support/HostClock.h"
#include "model/camera/UberCamera.h"
#include "model/sceneext/AnimNode.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace knanim {

/// A state of a camera, in the space of the scene.
struct Viewpoint {
  std::string name;
  osg::Pnt3f from;
  osg::Pnt3f at;
  osg::Vec3f up = {0, 1, 0};
  float fov = 40;  ///< vertically, in degrees
  float exposure = 1;
  bool isOfModel = false;  ///< one of the model's cameras
};

/// By which of the library's means a camera gets from one viewpoint to the next.
enum class MoveKind : std::uint8_t { Track, Flight, Shot, Turntable };

struct MoveSettings {
  MoveKind kind = MoveKind::Track;
  double seconds = 3;  ///< from one viewpoint to the next, or once around
  double pause = 0;    ///< seconds at a viewpoint, but the first and the last
  double fade = 0;     ///< seconds in which the exposure comes up at the begin of a part
  bool even = false;   ///< the turntable has one speed all around
  float near = 0.1F;
  float far = 10000;
  float shutterSpeed = 50;
};

/// A camera that is moved through viewpoints by what the library offers for that: a camera track, flights in
/// the playing queue one after the other, shots in a clip, or the turntable. Begins at the first
/// viewpoint. Below the current scene's root while it lives; the library's clock is that of the move. One move at a time.
class CameraMove {
 public:
  /// There are at least two viewpoints, or for a turntable one.
  CameraMove(std::vector<Viewpoint> viewpoints, MoveSettings const& settings);
  ~CameraMove();
  CameraMove(CameraMove const&) = delete;
  CameraMove& operator=(CameraMove const&) = delete;

  osg::UberCamera const& camera() const { return *_camera; }
  std::vector<Viewpoint> const& viewpoints() const { return _viewpoints; }
  /// In seconds.
  double duration() const;
  /// When the camera is at each of the viewpoints, in seconds. A turntable is at the first one twice.
  std::vector<double> arrivals() const;
  /// How many curves and keys the library has made, or has made for the present flight.
  std::size_t curveCount() const;
  std::size_t keyCount() const;

  /// A frame of a host: clock, queue, timeline, constraints. Time never goes back.
  void showAt(double time);
  /// Moves all to a place in the shutter interval after the time that is shown, 0 to 1, and back.
  void showSample(float sample);
  void endSamples();

 private:
  osg::NodePtr addViewpoint(Viewpoint const& viewpoint, osg::NodePtr const& parent) const;
  void setUp(osg::UberCameraPtr const& camera, Viewpoint const& viewpoint) const;
  void makeTrack();
  void makeShots();
  void startDueFlights(double time);
  void startDueShots(double time);
  static void evaluate(osg::AnimNodePtr const& tree, double time);
  double legs() const { return static_cast<double>(_viewpoints.size() - 1); }

  std::vector<Viewpoint> _viewpoints;
  MoveSettings _settings;
  SimulationTime _clock;
  osg::NodePtr _root;    ///< of the scene
  osg::NodePtr _node;    ///< of the camera
  osg::NodePtr _stands;  ///< above the viewpoints
  osg::UberCameraPtr _camera;
  osg::AnimNodePtr
      _tree;  ///< what is evaluated apart from the scene: the track's block, a flight, or the clip
  std::vector<osg::UberCameraPtr> _targets;  ///< of flights
  std::size_t _started = 0;                  ///< flights or shots
  double _time = 0;
};

}  // namespace knanim
