#pragma once

#include "model/sceneext/AnimNode.h"

#include <limits>
#include <map>
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
  /// Logarithmic in the rows, where what stands on them overlaps, and at most linear in them; logarithmic in what stands on
  /// a row.
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

  /// What is taken of one row.
  struct Row {
    std::map<float, float> joined;  ///< from when to when, spans that touch or overlap being one
    std::vector<Span> others;       ///< whose times are no numbers
    Span longest = Nowhere;         ///< of the joined ones

    void add(Span span);
    bool isTakenAt(float time) const;
  };

  std::unordered_map<float, Row> _rows;
  /// By place as in a heap, the rows being the leaves: a span that is taken on every row below, or Nowhere. Whatever
  /// collides with it collides on all of these rows.
  std::vector<Span> _common;
  std::size_t _leaves = 0;
};
