#pragma once

#include "model/records/knContainerSet.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"

struct WriteRule;

/// One curve in one evaluation. Gathering makes it, the computation of curve values fills in the result, field
/// writing takes it from there. A copy copies everything.
struct knCurveData {
  knCurveData() = default;
  /// Both handles may be null; the ids are taken from them, 0 for null.
  knCurveData(osg::AnimNodePtr const& animNode, osg::AnimCurvePtr const& animCurve)
      : node(animNode),
        nodeId(animNode.getContainerId()),
        curve(animCurve),
        curveId(animCurve.getContainerId()) {}

  osg::AnimNodePtr node;    ///< the curve's node; null when the record came from a walk over plain nodes
  osg::UInt32 nodeId = 0;   ///< container id of `node`
  osg::AnimCurvePtr curve;  ///< the curve
  osg::UInt32 curveId = 0;  ///< container id of `curve`
  float value = 0.F;        ///< the computed value
  /// Time of evaluation in seconds, after the node's cycles. A cycling infinity mode wraps it in place.
  float time = 0.F;
  /// What reaches a field is value + cycleValueOffset. Written by the infinity mode "cycle relative" alone.
  float cycleValueOffset = 0.F;
  knContainerSet aims;     ///< the containers that the curve writes to
  knContainerSet parents;  ///< those containers' parents

  /// Not for hosts. How the value reaches the first aim, where gathering has found it out, so that writing need not go
  /// back to the curve while nothing of the host's has run; a null rule where it has not.
  struct Prepared {
    /// The parts.
    WriteRule const* rule = nullptr;
    osg::UInt32 valueIndex = 0;
    osg::UInt32 vertexIndex = 0;
  };
  /// Made by gathering.
  Prepared prepared;

  /// Whether two records name the same curve with the same result. `time` and the sets take no part: records
  /// that a host kept from an earlier gathering find their counterparts by this.
  friend bool operator==(knCurveData const& a, knCurveData const& b) {
    return a.node == b.node && a.nodeId == b.nodeId && a.curve == b.curve && a.curveId == b.curveId &&
           a.value == b.value && a.cycleValueOffset == b.cycleValueOffset;
  }
};
