#pragma once

#include "evaluation/PlannedAims.h"
#include "evaluation/SceneWalk.h"
#include "evaluation/WriteRule.h"
#include "model/geometry/Geometry.h"
#include "model/materials/Material.h"
#include "model/sceneext/AnimCurve.h"

#include <span>
#include <vector>

class SegmentBatch;

/// What scene evaluations keep from one to the next: which nodes of which animation trees there are, in the order of
/// gathering, and where their curves write to. It watches all that it rests on, holds until something of that changes
/// its structure, which is counted (osg::StructureCounter), and is made whole, never mended. Whatever hosts can write
/// through references without a word (masks, names, indices, keys, placements) is no part of it, and is read again by
/// each evaluation.
///
/// Objects are named by their addresses, which are good while the plan holds; ids tell what is left when it does not.
class ScenePlan {
 public:
  static constexpr osg::UInt32 None = 0xFFFFFFFFU;

  /// A node of an animation tree. The nodes of a tree follow one another, parents before children.
  struct Item {
    osg::AnimNode const* node;
    osg::AnimCurve const* curve;  ///< null for other cores
    osg::UInt32 end;              ///< the first item that is not below this one
    osg::UInt32 target;           ///< the first target at or below this item; its own, when it has a curve
  };

  enum class Kind : osg::UInt8 {
    Direct,  ///< the value goes to a float of a field
    Turn,    ///< the same, and the field is announced at once
    Asked,   ///< what the curve writes to is asked for in each evaluation
    Pooled   ///< one of several places of a curve, all of whose owners take it themselves
  };
  enum class State : osg::UInt8 {
    Idle,    ///< takes no part
    Direct,  ///< takes part as planned
    Asked    ///< takes part, in another way
  };

  /// A curve at a place in a tree, with what the running evaluation makes of it.
  struct Target {
    WriteRule const* rule = nullptr;  ///< with Direct and Turn
    float* place = nullptr;           ///< with Direct and Turn
    osg::UInt32 aim = None;           ///< with Direct and Turn, in `aims`; with Pooled, in `pools`
    osg::UInt32 valueIndex = 0;
    osg::UInt32 nodeId = 0;
    osg::UInt32 curveId = 0;
    float value = 0.F;
    Kind kind = Kind::Asked;
    State state = State::Idle;
    bool isLate = false;  ///< the curve is computed at another place in the scene, or when all are found
  };

  /// One owner of one tree. Owners of one attachment share the targets of the first of them.
  struct Visit {
    osg::FieldContainerPtr owner;
    osg::UInt32 first;  ///< target
    osg::UInt32 end;
    osg::UInt32 position;  ///< the number of targets before this visit's own
    bool isFurther;        ///< see AnimatedOwner
    bool isAsked = false;  ///< one of the targets is
    bool isPlain = false;  ///< the owner takes what is asked itself, as AnimOwner says
    osg::NodeCorePtr core = {};
  };

  /// Where one value of a pooled curve goes.
  struct Place {
    osg::UInt32 aim;
    float* place;
  };
  struct Occurrence {
    osg::UInt32 visit;
    osg::UInt32 target;
  };
  /// A curve with several places, or several owners, that all take it by the same rule.
  struct Pool {
    osg::AnimCurve const* curve;
    WriteRule const* rule;
    osg::UInt32 valueIndex;
    osg::UInt32 firstOccurrence, endOccurrence;
    osg::UInt32 firstTarget, endTarget;  ///< in `pooledTargets`, each once
    osg::UInt32 firstPlace, endPlace;    ///< in the order of the containers' handles
  };

  /// A cache of shapes in the tree of a visit.
  struct Cache {
    osg::AnimNode const* node;
    osg::AnimNode const* tree;
    osg::UInt32 visit;
  };

  /// A run of items for one worker, and the items above the first of them, the outermost first.
  struct Chunk {
    osg::UInt32 first, end;
    osg::UInt32 firstAncestor, endAncestor;
  };
  /// What is gathered at a time: the scene, its sceneplates, its materials.
  struct Section {
    osg::UInt32 firstChunk, endChunk;
    osg::UInt32 firstVisit, endVisit;
    osg::UInt32 endTarget;
  };

  /// Makes a plan for the present scene. The materials are those that the host has told.
  explicit ScenePlan(std::vector<osg::MaterialPtr> const& materials);

  /// Whether a plan that was made now would be the same.
  bool holds(std::vector<osg::MaterialPtr> const& materials) const;
  /// Whether the objects that it names have lived all the time.
  bool isSound() const;

  /// Looks at the items of a chunk and computes the values. True when there are targets that take part in another way
  /// than planned. For any thread: writes the chunk's own targets only.
  bool look(Chunk const& chunk, float time);
  /// Whether a cache and all above it in its tree take part.
  static bool takesPart(Cache const& cache);
  /// Whether a curve still says what its Direct target, or its pool, rests on.
  static bool isAsPlanned(osg::AnimCurve const& curve, WriteRule const& rule, osg::UInt32 valueIndex);
  /// The same for writing, when the channel does not count any more.
  static bool writesAsPlanned(osg::AnimCurve const& curve, WriteRule const& rule, osg::UInt32 valueIndex);

  std::vector<Item> items;
  std::vector<Target> targets;
  PlannedAims aims;
  std::vector<Visit> visits;
  std::vector<osg::UInt32> askedVisits;  ///< ascending
  std::vector<Pool> pools;
  std::vector<Occurrence> occurrences;
  std::vector<osg::UInt32> pooledTargets;
  std::vector<Place> places;
  std::vector<Cache> caches;
  std::vector<Chunk> chunks;
  std::vector<osg::UInt32> ancestors;
  std::vector<Section> sections;

 private:
  friend class ScenePlanning;

  /// A geometry with animated nodes below it, which are passed over when it is a component.
  struct Gate {
    osg::Geometry const* geometry;
    bool isComponent;
  };
  static void setIdle(std::span<Target> targets);
  osg::UInt32 targetsBefore(osg::UInt32 item) const;
  static bool lookAt(Item const& item, Target& target, float time, SegmentBatch& batch);

  osg::UInt64 _structure;
  osg::NodePtr _roots[2];
  std::vector<Gate> _gates;
  std::vector<osg::MaterialPtr> _materials;
};
