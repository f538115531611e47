#pragma once

#include "model/sceneext/AnimNode.h"

#include <unordered_map>
#include <vector>

/// Which rows of a timeline track are taken from when to when. Row 0 is the first, rows are 50 apart, and only what
/// stands exactly on a row takes part. Times are in seconds.
class FreeRows {
 public:
  /// Takes in the animation nodes directly below `parent`, except `ignore`.
  FreeRows(osg::NodePtr const& parent, osg::AnimNodePtr const& ignore);

  /// Takes in one more node, where it stands.
  void add(osg::AnimNodePtr const& animation);
  /// The first row on which nothing stands between `start` and `end`; what only touches counts as standing there.
  float find(float start, float end) const;

 private:
  struct Span {
    float start;
    float end;
  };
  static bool collide(Span const& taken, Span const& wanted);

  std::unordered_map<float, std::vector<Span>> _rows;
};
