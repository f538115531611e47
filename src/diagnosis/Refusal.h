#pragma once

#include "knDiagnosis.h"

#include <optional>

/// Why a field takes no value; nothing where it does, or the aim is gone. Any thread.
std::optional<knStillness> findRefusal(osg::FieldContainerPtr const& aim, std::string const& field,
                                       osg::UInt32 valueIndex);
/// The same in words, without naming the curve.
std::string describeRefusal(osg::FieldContainerPtr const& aim, std::string const& field,
                            osg::UInt32 valueIndex, knStillness cause);
inline constexpr char const* NoSceneText =
    "nothing is evaluated, as there is no scene: begin one by knSceneDataManager::beginScene()";

/// What to call a curve: the name of a node of its, or the channel; for a container, that of a node that uses it, with
/// its type.
std::string titleOf(osg::AnimCurvePtr const& curve);
std::string titleOf(osg::FieldContainerPtr const& container);
