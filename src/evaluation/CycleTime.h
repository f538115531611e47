#pragma once

#include "model/sceneext/AnimNode.h"

/// The time within the first run of a node that repeats by its `PostCycles`; of one without cycles, the time itself.
/// Past the last cycle time stays as it is, and what is evaluated there decides. Seconds, single precision.
float wrapByCycles(osg::AnimNode const& node, float time);
