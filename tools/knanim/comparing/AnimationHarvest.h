#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/scene/AnimatedScene.h"
#include "model/math/Vectors.h"

#include <string>
#include <vector>

namespace knanim {

/// A curve apart from its scene.
struct HarvestedCurve {
  std::string owner;      ///< the path of the node or material that it hangs on
  std::string animation;  ///< the names of the blocks and clips that it stands in, with / between them
  std::string channel;    ///< field and component, as eulerRotation.X
  bool isActive = true;   ///< neither it nor what is above it is switched off
  std::vector<std::int32_t> cycles;  ///< of its node and those above it
  CurveForm form;

  std::string label() const { return owner + '.' + channel; }
};

/// A shape cache apart from its scene.
struct HarvestedCache {
  std::string owner;
  std::string name;
  std::vector<float> times;
  std::vector<std::vector<osg::Pnt3f>> shapes;
};

struct AnimationHarvest {
  std::vector<HarvestedCurve> curves;
  std::vector<HarvestedCache> caches;
};

/// All curves and shape caches that hang on nodes and materials of a scene, in their order.
AnimationHarvest harvest(AnimatedScene const& scene);

}  // namespace knanim
