#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"

#include <string>
#include <vector>

/// Why an animation moves nothing, or not as it was meant to.
enum class knStillness {
  NotAlive,        ///< the handle is null, or its container is gone
  NoScene,         ///< no scene has begun
  SimulationOff,   ///< the host's simulation switch is off
  OnlySelection,   ///< the playback context hint restricts evaluation to the curve editor's selection
  NotInScene,      ///< the tree does not hang on anything in the scene
  Inactive,        ///< a node is switched off
  Hidden,          ///< a node is hidden, so the evaluation of a scene skips it
  NoCurves,        ///< there is no curve and no shape cache
  NoKeys,          ///< the curve has no keys
  BadKeys,         ///< a key, or a shape's time, vertex or normal, is not finite
  SameValues,      ///< all keys have the same value
  NoTimeScale,     ///< a time scale of zero puts all keys or shapes at one time
  NoAim,           ///< the owner has nothing that takes the channel
  NoField,         ///< the target has no field of the curve's name
  NoComponent,     ///< the field has no such component
  NotWritable,     ///< the field is of a kind that takes no values
  Overwritten,     ///< a later curve of the same owner sets the same value
  NoShapes,        ///< a shape cache holds no shapes
  ShapesDisagree,  ///< two neighbouring shapes of a cache differ in their number of vertices or normals
  NoGeometry,  ///< the owner of a shape cache is not a node with a geometry, or that geometry has no vertices to write
  Paused,            ///< a tree in the playing queue is paused, so the queue does not move it
  KeysOutOfOrder,    ///< keys that were written by hand, or shapes, are not in order of time
  WrongVertexCount,  ///< a shape of a cache has another number of vertices, or of normals, than its geometry
  OtherComponent,    ///< a curve's suffix stands for another component than its index
  /// A tangent points away from its segment, or reaches more than twice as far as the segment: a position in place of a
  /// vector.
  StrayTangent,
  NoTangent,  ///< a linear or smooth tangent has a zero vector, so that its key holds its value until the next
  NotStepped,  ///< nobody steps the frame player, the playing queue, or a clip or camera track
  /// A play range in use ends before it begins, or has a time that is no number; or the frame player loops over one frame.
  BadPlayRange,
  BadCycles,  ///< a number of repetitions below -1
};

/// One reason.
struct knStillnessReason {
  knStillness cause = knStillness::NotAlive;  ///< what is wrong
  osg::AnimNodePtr node;                      ///< the animation node in question; may be null
  osg::FieldContainerPtr subject;  ///< the curve, shape cache, owner or target in question; may be null
  std::string text;                ///< the reason in words: one line, without a line end
};

/// What a question about the whole scene reports in addition.
struct knStillnessOptions {
  bool constantCurves = false;  ///< curves with one value at all keys, which most scenes have on purpose
};

/// Answers why something does not move. A list holds all reasons that were found, the general ones first; it is empty
/// if nothing keeps the values from arriving. Each question walks over everything that is animated in the scene, and
/// may call the host for its materials. Main thread.
///
/// Evaluations notice some of these faults themselves. When such an evaluation is done, it logs a warning, once for
/// each curve or tree and cause: a scene evaluation without a scene; a curve without a target, or whose target has no
/// such field or component; shapes of a cache that do not agree, so that they are not blended, or do not have the
/// geometry's number of vertices; a tree that was evaluated alone and hangs on nothing in the scene; and, in the next
/// scene evaluation, a tree that `knAnimManager::addAnimation` gave to a node outside the scene, to a material outside
/// its pool, or to a core. Keys that are not finite are reported when they are added, a suffix that contradicts its
/// index when the manager makes the curve, and a `BadPlayRange` or `BadCycles` when its tree is enqueued. Each of these
/// mistakes is logged once: a frame rate not above 0; a time that is not finite; a null or dead tree to enqueue,
/// evaluate or add. After a thousand warnings, one line says that there are more. An evaluation without a fault does no
/// work for this.
class KNANIM_API knDiagnosis {
 public:
  knDiagnosis() = delete;

  /// For an animation tree: a curve node, a block, a clip.
  static std::vector<knStillnessReason> whyStill(osg::AnimNodePtr const& tree);
  /// For a curve, at all nodes that have it as their core.
  static std::vector<knStillnessReason> whyStill(osg::AnimCurvePtr const& curve);
  /// For the whole scene: what keeps the animations that hang on its nodes, cameras, sceneplates and materials from
  /// moving them. A block that is switched off is not listed if active clips play all its curves. Clips themselves, and
  /// trees on objects outside the scene, are not looked at: ask for them one by one. Constant curves are listed on demand.
  static std::vector<knStillnessReason> whyStill();
  static std::vector<knStillnessReason> whyStill(knStillnessOptions const& options);

  /// Switches the warnings of evaluations on, as they are at first, or off.
  static void setWarnings(bool on);
  /// Lets each warning be logged once more. So does `knSceneDataManager::beginScene`.
  static void forgetWarnings();
};
