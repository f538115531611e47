#pragma once

#include "evaluation/ScenePlan.h"
#include "knAnimEvaluator.h"

#include <set>

/// What passes over the playing queue keep from one to the next: for trees of one curve with one owner that takes it
/// itself, where the value goes. It holds as ScenePlan does, while the same trees play and the map of owners stays;
/// everything else is read again in each pass. Values are computed for all trees ahead of their turns, which is good
/// until anything of the host's runs.
class PlayingPlan {
 public:
  /// When a tree is evaluated in a pass, and whether for the last time.
  struct Moment {
    float time;
    bool isOver;
  };
  struct Tree {
    WriteRule const* rule = nullptr;  ///< null for a tree of another kind
    osg::AnimCurve const* curve = nullptr;
    float* place = nullptr;
    osg::UInt32 aim = 0;
    osg::UInt32 valueIndex = 0;
    // Of the running pass:
    float value = 0.F;
    Moment moment{};
    bool isReady = false;  ///< it is evaluated as planned
    bool isPausing = false;
    bool writes = false;
    osg::UInt32 entry = 0;  ///< where the tree stood in the change list
  };
  /// The queue, and the map of owners, with the numbers of their edits.
  struct Sources {
    std::set<osg::AnimNodePtr> const& playing;
    osg::UInt64 queueEdits;
    knAnimEvaluator::ParentMap const& owners;
    osg::UInt64 ownerEdits;
  };

  /// Takes the list of what plays.
  void list(Sources const& sources);
  /// Looks at all trees of the list for a pass. Nothing is ready where the plan is not, which it becomes when two passes
  /// in a row find the same trees, owners and structure.
  void look(Sources const& sources, double now);
  /// Nothing that was found counts any more.
  void spoil() { _isSpoilt = _isMixed = true; }
  /// Whether all trees are ready.
  bool isWhole() const { return !_isMixed; }
  bool isReady(std::size_t i) const { return !_isSpoilt && _trees[i].isReady; }

  std::vector<osg::AnimNodePtr> const& playing() const { return _playing; }
  std::vector<Tree>& trees() { return _trees; }
  PlannedAims& aims() { return _aims; }

 private:
  void make(knAnimEvaluator::ParentMap const& owners);
  static osg::FieldContainerPtr plan(osg::AnimNodePtr const& node, knAnimEvaluator::ParentMap const& owners,
                                     Tree& tree);
  static void lookAt(osg::AnimNode const& node, double now, Tree& tree, SegmentBatch& batch);

  osg::UInt64 _queueEdits = ~osg::UInt64{0};
  osg::UInt64 _ownerEdits = ~osg::UInt64{0};
  osg::UInt64 _structure = ~osg::UInt64{0};
  std::vector<osg::AnimNodePtr> _playing;
  std::vector<Tree> _trees;
  PlannedAims _aims;
  bool _isSpoilt = true;
  bool _isMixed = true;
};

/// When a playing tree is evaluated at the simulation time `now`.
PlayingPlan::Moment findMoment(osg::AnimNode const& node, double now);
/// Simulation time of the last pass over the queue that found something in it; not a number before the first.
double lastPassTime();
