#pragma once

#include "model/camera/UberCamera.h"
#include "model/fields/Ref.h"
#include "model/records/knContainerSet.h"
#include "model/records/knOSGChannelData.h"
#include "model/sceneext/AnimCurve.h"

#include <string>

/// A tree that curves are made for. Of the tree of a camera's own flights it is known who owns the curves: the evaluator
/// is told of them one by one, and a flight costs the same whatever else is animated. Everywhere else owners are looked
/// for anew at the next evaluation. Lives no longer than one operation.
class FlightTree {
 public:
  /// Adds to a tree as it is.
  explicit FlightTree(osg::AnimNodePtr const& root) : _root(root) {}
  /// Takes the root of a camera's flights, made when there is none: empty, not playing and without cycles. The camera
  /// must be alive. The root is null when a handler destroyed it.
  static FlightTree prepare(osg::UberCameraPtr const& camera);

  osg::AnimNodePtr const& root() const { return _root; }
  bool isAlive() const { return _root.isAlive(); }

  /// Nodes with curves, which hang nowhere yet; null for a channel without a name.
  static osg::Ref<osg::AnimNode> makeCurveNode(knOSGChannelData const& channel);
  static osg::Ref<osg::AnimNode> makeCurveNode(std::string const& name, osg::UInt32 index,
                                               std::string const& suffix, std::string const& channelName);
  /// Hangs such a node below the root, and announces nothing. Null and dead handles are left alone.
  void add(osg::AnimNodePtr const& node);
  void announceChildren() const;
  /// Lets the queue play the tree.
  void start() const;

 private:
  FlightTree(osg::AnimNodePtr const& root, osg::UberCameraPtr const& camera);

  static void clear(osg::AnimNodePtr const& root);

  osg::AnimNodePtr _root;
  bool _ownersAreKnown = false;
  knContainerSet _owners;
  osg::UInt64 _rebuilds = 0;  ///< of the evaluator's map, when the owners were looked for
};

/// Adds a key at 0 and one at `duration` (seconds), and announces them. A null or dead curve is left alone.
void createFromToControlPoints(osg::AnimCurvePtr const& curve, float from, float to, float duration,
                               osg::UInt32 tangentType);

/// Adds a curve for each channel of a camera track, but for those in `ignoredFields`.
void addTrackCurves(FlightTree& tree, osg::NodePtr const& trackNode,
                    std::vector<std::string> const& ignoredFields);

/// Adds the curve of a turntable.
void addTurntableCurve(FlightTree& tree, osg::UberCameraPtr const& camera);
