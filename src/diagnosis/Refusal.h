#pragma once

#include "knDiagnosis.h"
#include "model/geometry/Geometry.h"
#include "model/sceneext/TimeShapeCache.h"

#include <optional>

/// Why a field takes no value; nothing where it does, or the aim is gone. Any thread.
std::optional<knStillness> findRefusal(osg::FieldContainerPtr const& aim, std::string const& field,
                                       osg::UInt32 valueIndex);
/// The same in words, without naming the curve.
std::string describeRefusal(osg::FieldContainerPtr const& aim, std::string const& field,
                            osg::UInt32 valueIndex, knStillness cause);
/// That two shapes of a cache are not blended, as their numbers differ; empty where they agree.
std::string describeDisagreement(osg::TimeShapeData const& one, osg::TimeShapeData const& other);
/// That a shape does not show on a geometry as it is, as their numbers of vertices or normals differ; empty where it does.
std::string describeMisfit(osg::TimeShapeData const& shape, osg::Geometry const& geometry);
/// Whether a curve was made by a flight of the camera that it aims at, or by a camera track for the one channel that
/// cameras list and do not take. They have curves for all channels, and are made anew time and again: nobody is to be
/// told of those. Main thread.
bool isOfFlightOrTrack(osg::AnimCurve const& curve, osg::FieldContainerPtr const& aim);
/// That the owner of a curve has nothing that takes it.
std::string describeNoAim(osg::FieldContainerPtr const& owner, std::string const& field);
inline constexpr char const* NoSceneText =
    "nothing is evaluated, because there is no scene: start one with knSceneDataManager::beginScene()";

/// A text without line ends: names may have some.
std::string onOneLine(std::string text);

/// What to call things in a line of text. A curve: by the name of a node that has it, or by its channel. A tree: by its
/// name, by its curve, or by what has it. Anything else: by the name of a node that has it, and its type.
std::string titleOf(osg::AnimCurvePtr const& curve);
std::string titleOf(osg::AnimNodePtr const& tree);
std::string titleOf(osg::FieldContainerPtr const& container);
