#include "evaluation/CycleTime.h"

#include <algorithm>
#include <cmath>

float wrapByCycles(osg::AnimNode const& node, float time) {
  int const cycles = node.getPostCycles();
  if (cycles == 0) return time;
  osg::BoxVolume volume;
  node.getAnimVolume(volume);
  osg::Pnt3f min;
  osg::Pnt3f max;
  volume.getBounds(min, max);
  float const lo = min.x();
  float const first = (max.x() - lo) / (static_cast<float>(std::max(cycles, 0)) + 1.F) + lo;
  float const length = first - lo;
  if (time <= first) {
    return time < lo && cycles == -1 ? time - std::floor((time - lo) / length) * length : time;
  }
  if (!(time > first)) return time;
  float const k = (time - lo) / length;
  // A run without length gives no finite k: it counts as past the last cycle.
  bool const within = cycles == -1 || std::trunc(k) <= static_cast<float>(cycles);
  return within ? time - std::floor(k) * length : time;
}
