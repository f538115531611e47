#pragma once

#include "knAnimExport.h"
#include "model/records/knCurveData.h"
#include "model/sceneext/AnimAttachment.h"

#include <tbb/blocked_range.h>
#include <vector>

/// The facade of the library and owner of its global state. Operations are for the host's main thread unless they
/// say otherwise.
class KNANIM_API knAnimManager {
 public:
  using knCurveData = ::knCurveData;

  knAnimManager(knAnimManager const&) = delete;
  knAnimManager& operator=(knAnimManager const&) = delete;

  /// The one manager, made at first use. Any thread.
  static knAnimManager& the();

  // --- Curve values -------------------------------------------------------------------------------------------

  /// Computes `value` of every record at the record's own `time`, in parallel, and returns when all are done. The
  /// infinity modes that cycle also wrap `time`, "cycle relative" sets `cycleValueOffset`; nothing else is
  /// written, neither in the records nor in the scene.
  ///
  /// A record keeps its earlier value, 0 in a new one, when its node is null, dead or inactive, when its curve is
  /// null, dead or empty, and when the segment at that time has no solution (see solveSegment). Division by zero
  /// (a zero scale, a cycle without length) runs through as infinity or NaN. `time` (seconds) takes no part: one
  /// evaluation can give every node its own wrapped time.
  ///
  /// A worked example: keys (0 s, 0) and (1 s, 10) with straight tangents under a node of scale 2 and offset 3
  /// stand at 3 s and 5 s. Time 4 gives 5; time 5 gives 10, the end key belonging to the curve; time 5.5 is past
  /// the end: 10 by the constant mode, 2.5 by "cycle" (as time 3.5 is), 12.5 by "cycle relative".
  ///
  /// Each record can be a task of its own, so that curves of very uneven sizes share the cores well. No heap
  /// allocation per record. One bisection, or for long curves a look at the segment read last, and at most one
  /// cubic per record.
  void computeCurveValues(std::vector<knCurveData>& data, float time);

  // --- Attachments --------------------------------------------------------------------------------------------

  /// The container's animation attachment; null when the container is null, dead or has none. Any thread, while
  /// nobody writes.
  static osg::AnimAttachmentPtr getAnimAttachment(osg::AttachmentContainerPtr const& container);

 private:
  knAnimManager() = default;
};

/// The body of the parallel loop over curve records. Workers write only the records of their own range.
class KNANIM_API knAnimComputeCurveValueTask {
 public:
  /// `time` is kept and never read: each record has its own.
  knAnimComputeCurveValueTask(std::vector<knCurveData>* data, float time) : _data(data), _time(time) {}

  /// Computes the records of the range in order of index.
  void operator()(tbb::blocked_range<unsigned int> const& range) const;

 private:
  std::vector<knCurveData>* _data;
  [[maybe_unused]] float _time;
};
