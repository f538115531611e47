#pragma once

#include "knDiagnosis.h"
#include "model/geometry/Geometry.h"
#include "model/sceneext/AnimCurve.h"
#include "model/sceneext/AnimNode.h"
#include "model/sceneext/TimeShapeCache.h"

#include <string>

/// What evaluations tell the log of by themselves, each once; see knDiagnosis. While values are written, faults are only
/// noted: the log, and with it the host, hears of them when an evaluation is done. Main thread.
namespace MotionWarnings {

/// A value that its aim does not take. The curve is null where there is none.
void noteRefusal(osg::FieldContainerPtr const& curve, osg::FieldContainerPtr const& aim,
                 std::string const& field, osg::UInt32 valueIndex);
/// A curve whose owner has nothing that takes its values.
[[gnu::cold]] void noteNoAim(osg::FieldContainerPtr const& curve, osg::FieldContainerPtr const& owner);
/// Two shapes of a cache that are to be blended and have different numbers of vertices or normals.
[[gnu::cold]] void noteDisagreement(osg::AnimNodePtr const& node, osg::FieldContainerPtr const& geometry,
                                    osg::TimeShapeData const& lower, osg::TimeShapeData const& upper);
/// A shape that is shown on a geometry with another number of vertices or normals.
[[gnu::cold]] void noteMisfit(osg::AnimNodePtr const& node, osg::GeometryPtr const& geometry,
                              osg::TimeShapeData const& shape);
/// A tree was given to an object: the next scene evaluation looks whether the scene holds it.
void noteNewTree(osg::AnimNodePtr const& tree);

/// Something was noted and not told yet.
inline constinit bool hasRefusals = false;
inline constinit bool hasNewTrees = false;

[[gnu::cold]] void tellNotedRefusals();
[[gnu::cold]] void checkNewTrees();
inline void tellRefusals() {
  if (hasRefusals) [[unlikely]]
    tellNotedRefusals();
}
/// At the end of a scene evaluation.
inline void tellOfScene() {
  tellRefusals();
  if (hasNewTrees) [[unlikely]]
    checkNewTrees();
}
/// A scene evaluation without a scene.
[[gnu::cold]] void noScene();
/// A tree with keys was evaluated alone, and nothing that the scene holds owns one of its curves.
[[gnu::cold]] void treeWithoutOwner(osg::AnimNodePtr const& tree);

/// Arguments that no operation can make sense of. Each kind is told once, at once.
enum class Mistake { FrameRate, TimelineTime, TreeTime, NoTreeToPlay, NoTreeToEvaluate, NoTreeToAdd };
[[gnu::cold]] void tellMistake(Mistake mistake, char const* text);

/// A fault of one object, told at once, and once for each object and cause. Calls the host.
[[gnu::cold]] void tellFault(osg::FieldContainerPtr const& subject, knStillness cause,
                             std::string const& text);

void setOn(bool on);
void forget();

}  // namespace MotionWarnings
