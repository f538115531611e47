#pragma once

#include "knCurves.h"

#include <optional>

using CurveKeys = osg::MField<osg::CCPnt>::StoredType;

/// Sets both tangents of a key by its neighbours; `Smooth` or `Clamped`.
void setVectors(CurveKeys& keys, std::size_t index, knTangents tangents);
/// Whether a key has, to the bit, the vectors that `Smooth` or `Clamped` make of its neighbours, and which; `first` where
/// both do.
std::optional<knTangents> findVectors(CurveKeys const& keys, std::size_t index, knTangents first);
