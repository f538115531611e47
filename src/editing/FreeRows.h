#pragma once

#include "model/sceneext/AnimNode.h"

#include <limits>
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
  /// Logarithmic in the rows, where what stands on them overlaps, and at most linear in all that stands there.
  float find(float start, float end);

 private:
  struct Span {
    float start;
    float end;
  };
  static constexpr Span Nowhere{std::numeric_limits<float>::infinity(),
                                -std::numeric_limits<float>::infinity()};

  static bool collide(Span const& taken, Span const& wanted);
  static bool isTakenOnAll(Span const& common, Span const& wanted);
  bool isFree(std::size_t row, Span const& wanted) const;
  std::size_t skip(std::size_t row, Span const& wanted) const;
  void grow();
  void note(std::size_t row);

  std::unordered_map<float, std::vector<Span>> _rows;
  /// By place as in a heap, the rows being the leaves: a span that is taken on every row below, or Nowhere. Whatever
  /// collides with it collides on all of these rows.
  std::vector<Span> _common;
  std::size_t _leaves = 0;
};
