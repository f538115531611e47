#pragma once

#include "evaluation/ScenePlan.h"
#include "knAnimEvaluator.h"

/// What passes over the playing queue keep from one to the next: for trees of one curve with one owner that takes it
/// itself, where the value goes. It holds as ScenePlan does, and while the same trees play; everything else is read
/// again in each pass. Values are computed for all trees ahead of their turns, which is good until anything of the
/// host's runs.
class PlayingPlan {
 public:
  using ParentMap = knAnimEvaluator::ParentMap;

  /// When a tree is evaluated in a pass, and whether for the last time.
  struct Moment {
    float time;
    bool isOver;
  };
  struct Tree {
    WriteRule const* rule = nullptr;  ///< null for a tree of another kind
    osg::AnimCurve const* curve = nullptr;
    float* place = nullptr;
    osg::FieldContainerPtr owner;
    osg::FieldContainerPtr aim;
    osg::UInt32 valueIndex = 0;
    // Of the running pass:
    float value = 0.F;
    Moment moment{};
    bool isReady = false;  ///< it is evaluated as planned
    bool isPausing = false;
    bool writes = false;
  };

  /// Looks at all trees for a pass. Nothing is ready where the plan is not, which it becomes when two passes in a row
  /// find the same trees and the same structure.
  void look(std::vector<osg::AnimNodePtr> const& playing, ParentMap const& owners, double now);
  /// Nothing that was found counts any more.
  void spoil() { _isSpoilt = true; }
  bool isReady(std::size_t i) const { return !_isSpoilt && _trees[i].isReady; }
  Tree const& tree(std::size_t i) const { return _trees[i]; }

 private:
  void make(ParentMap const& owners);
  static void plan(osg::AnimNodePtr const& node, ParentMap const& owners, Tree& tree);
  static void lookAt(osg::AnimNode const& node, ParentMap const& owners, double now, Tree& tree,
                     SegmentBatch& batch);

  osg::UInt64 _structure = ~osg::UInt64{0};
  std::vector<osg::AnimNodePtr> _playing;
  std::vector<Tree> _trees;
  bool _isSpoilt = true;
};

/// When a playing tree is evaluated at the simulation time `now`.
PlayingPlan::Moment findMoment(osg::AnimNode const& node, double now);
