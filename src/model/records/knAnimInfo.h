#pragma once

#include "model/math/Vectors.h"

/// What an animation tree holds and where it stands in time.
struct knAnimInfo {
  osg::UInt64 curves = 0;         ///< curves in the tree, those of vertex animation among them
  osg::UInt64 controlPoints = 0;  ///< keys of these curves
  osg::UInt64 reserved0 = 0;      ///< stays 0
  osg::UInt64 reserved1 = 0;      ///< stays 0
  osg::UInt64 values = 0;         ///< three for each control point
  float start = 0.F;              ///< seconds
  float end = 0.F;                ///< seconds, all repetitions included
  /// Of the root's core, where that is an `AnimObject`; else 1 and no offset.
  float scale = 0.F;
  float accumulatedScale = 0.F;
  osg::Vec2f offset;
  osg::Vec2f accumulatedOffset;
};
