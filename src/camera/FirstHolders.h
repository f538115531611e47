#pragma once

#include "model/sceneext/AnimNode.h"

#include <set>
#include <unordered_map>

/// The first of several nodes whose animations hold the core of an animation node: for many at once, in one walk over
/// the animations of each. Main thread.
class FirstHolders {
 public:
  /// Of these animation nodes; null and dead ones, and those without a core of an animation node's, are held by nothing.
  explicit FirstHolders(std::set<osg::AnimNodePtr> const& wanted);

  bool wantNothing() const { return _holders.empty(); }
  /// Whether the animations of `holder` hold any of the cores. It counts for those that no node before it holds.
  bool look(osg::NodePtr const& holder);
  /// The first node that was looked at and holds the core; null when none does.
  osg::NodePtr of(osg::AnimNodePtr const& wanted) const;

 private:
  std::unordered_map<osg::NodeCorePtr, osg::NodePtr> _holders;
};
