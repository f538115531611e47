#pragma once

#include "evaluation/WriteRule.h"

/// Stores one component, or one bit, of a field by its content. False when it has that value already, or when there
/// is no such component or vertex; content that nothing can be stored in counts as changed each time.
/// `inDegrees`: vectors and colours take the value turned into radians.
bool writeToField(osg::Field& field, WriteRule::Content content, osg::UInt32 valueIndex,
                  osg::UInt32 vertexIndex, float value, bool inDegrees);

/// The float that a value by such a rule is stored in as it comes, in a field or as an angle of a transform that
/// announces it at once; null where writing takes more than that, or refuses.
float* findPlace(osg::FieldContainerPtr const& aim, WriteRule const& rule, osg::UInt32 valueIndex);

/// To the nearest whole number, halves away from zero. What fits no 32 bits, NaN included, gives the lowest one.
osg::Int32 roundToInt(float value);
/// The same cut off towards zero.
osg::Int32 truncateToInt(float value);
