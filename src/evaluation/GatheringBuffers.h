#pragma once

#include "evaluation/ChunkGathering.h"
#include "evaluation/PlayingPlan.h"
#include "evaluation/ScenePlan.h"
#include "knAnimEvaluator.h"

#include <vector>

/// What further owners add to the records of curves that they share. Collected and put in by one sort, for a set of a
/// curve that very many share costs too much handle by handle.
class SharedAims {
 public:
  /// Notes what a record's curve writes to besides.
  void add(osg::UInt32 place, knContainerSet const& aims, knContainerSet const& parents) {
    auto const [entry, isNew] = _places.insert(place, static_cast<osg::UInt32>(_count));
    if (isNew && _count++ == _entries.size()) _entries.emplace_back();
    Entry& shared = _entries[entry];
    shared.place = place;
    shared.aims.insert(shared.aims.end(), aims.begin(), aims.end());
    shared.parents.insert(shared.parents.end(), parents.begin(), parents.end());
  }
  /// Puts all that was noted into the records, and forgets it.
  void moveTo(std::vector<knCurveData>& records) {
    for (std::size_t i = 0; i < _count; ++i) {
      insert(_entries[i].aims, records[_entries[i].place].aims);
      insert(_entries[i].parents, records[_entries[i].place].parents);
    }
    _count = 0;
    _places.clear();
  }
  /// Moves handles into a set, in order.
  static void insert(std::vector<osg::FieldContainerPtr>& handles, knContainerSet& set) {
    if (!std::is_sorted(handles.begin(), handles.end())) std::sort(handles.begin(), handles.end());
    set.insert(handles.begin(), handles.end());
    handles.clear();
  }

 private:
  struct Entry {
    osg::UInt32 place = 0;
    std::vector<osg::FieldContainerPtr> aims;
    std::vector<osg::FieldContainerPtr> parents;
  };
  knIdTable<osg::UInt32> _places;  ///< by the place of a record: its entry
  std::vector<Entry> _entries;     ///< the first `_count` are in use, the others keep their memory
  std::size_t _count = 0;
};

struct knAnimEvaluator::GatheringBuffers {
  struct PendingOfTree {
    osg::AnimNodePtr node;
    float time;
  };
  std::vector<PendingOfTree> pendingOfTree;
  std::vector<osg::NodePtr> pending;
  std::vector<AnimatedOwner> animated;
  std::vector<GatheredChunk> chunks;
  std::vector<osg::FieldContainerPtr> aims;
  std::vector<osg::FieldContainerPtr> parents;
  SharedAims shared;
  std::vector<std::size_t> uncomputed;  ///< the places of records whose values are still to be computed
  std::unique_ptr<PlayingPlan> playing;
  std::unique_ptr<ScenePlan>
      plan;  ///< of the last evaluation of the scene, while it may be good for the next
  osg::UInt64 structure = ~osg::UInt64{0};  ///< the count of structural changes at that evaluation
};
