#pragma once

#include "model/math/Vectors.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// One element of an animation text of an older release.
struct knAnimConvertData {
  /// What `type` may be. Other numbers stand for kinds that are not converted.
  enum Type : std::uint32_t { Point = 1, Curve = 2, Block = 3, Track = 4, Clip = 5, Sequence = 6 };

  /// The element's number, name and `Type`.
  std::uint64_t id = 0;
  std::uint64_t fieldId = 0;  ///< a curve's number for the scene object that it moves
  std::string name;
  std::uint32_t type = 0;
  osg::Vec2f position;            ///< a point's time in seconds, and its value
  osg::Vec2f inTangent;           ///< relative to the position
  osg::Vec2f outTangent;          ///< relative to the position
  std::uint32_t tangentType = 0;  ///< as it stands in the text
  std::uint32_t number = 0;       ///< a track's row
  float begin = 0;                ///< a sequence's range, in frames
  float end = 0;
  /// Switches of the element.
  bool active = false;
  bool repeating = false;
  bool motionBlur = false;
  std::vector<std::uint64_t> children;  ///< ids of the elements inside this one
};

/// Elements by id.
using knAnimConvertTable = std::map<std::uint64_t, knAnimConvertData>;
