#pragma once

#include "knAnimExport.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"

#include <string>
#include <vector>

/// Why an animation moves nothing.
enum class knStillness {
  NotAlive,       ///< a null handle, or one of a container that is gone
  NoScene,        ///< no scene has begun
  SimulationOff,  ///< the host's simulation switch is off
  OnlySelection,  ///< the playback context hint restricts evaluation to the curve editor's selection
  NotInScene,     ///< the tree hangs on nothing that the scene holds
  Inactive,       ///< a node is switched off
  Hidden,         ///< a node is hidden, and left out of the evaluation of a scene
  NoCurves,       ///< there is no curve
  NoKeys,         ///< a curve without keys
  BadKeys,        ///< a key with a time, value or tangent that is not finite
  SameValues,     ///< all keys have one value
  NoTimeScale,    ///< a scale of zero puts all keys at one time
  NoAim,          ///< the owner has nothing that takes the channel
  NoField,        ///< the aim has no field of the curve's name
  NoComponent,    ///< the field has no such component
  NotWritable,    ///< no value is written to fields of that kind
  Overwritten,    ///< another curve of the same owner writes the same channel later
};

/// One reason, and in words: one line without its end.
struct knStillnessReason {
  knStillness cause = knStillness::NotAlive;  ///< what is wrong
  osg::AnimNodePtr node;                      ///< the animation node in question, if there is one
  osg::FieldContainerPtr subject;             ///< the curve, owner or aim in question, if there is one
  std::string text;                           ///< the reason in words
};

/// Answers why something does not move. The lists hold all reasons that are found, those that concern everything first;
/// they are empty where values arrive. Each question walks over what is animated in the scene and may ask the host for
/// its materials. Main thread.
///
/// Evaluations find some of it themselves and send a warning to the log when they are done, once for each curve or tree
/// and cause: a scene evaluation without a scene; a curve whose aim has no such field or component; a tree that is
/// evaluated alone and that nothing in the scene holds; and, at the next scene evaluation, a tree that was given to
/// `knAnimManager::addAnimation` for an object outside the scene. Keys that are not finite are told when they are added.
/// After a thousand warnings one line says that there are more. Nothing else about an evaluation changes, and one
/// without a fault looks for nothing.
class KNANIM_API knDiagnosis {
 public:
  knDiagnosis() = delete;

  /// For an animation tree: a curve node, a block, a clip.
  static std::vector<knStillnessReason> whyStill(osg::AnimNodePtr const& tree);
  /// For a curve, at all nodes that it is the core of.
  static std::vector<knStillnessReason> whyStill(osg::AnimCurvePtr const& curve);
  /// For the scene.
  static std::vector<knStillnessReason> whyStill();

  /// Whether evaluations warn; they do at first.
  static void setWarnings(bool on);
  /// Lets evaluations warn anew of what they have told. A scene that begins does the same.
  static void forgetWarnings();
};
