#pragma once

#include "knAnimManager.h"
#include "support/CurveKey.h"
#include "support/TestContainers.h"

namespace kntest {

/// A placement in time: content time x stands at x * scale + offset.
struct Line {
  double scale = 1;
  double offset = 0;
  double at(double x) const { return x * scale + offset; }
};

/// A curve, and the nodes above it, its own first.
struct CurveScene {
  std::vector<CurveKey> keys;  ///< in the curve's own axis
  osg::UInt32 pre = osg::ConstantInfinity;
  osg::UInt32 post = osg::ConstantInfinity;
  bool linear = false;
  std::vector<Line> chain{{}};
};

/// A scene built, for as long as this lives.
class CurveStage {
 public:
  /// What records hold before they are computed.
  static constexpr float Kept = -77777;
  static constexpr float KeptOffset = 3.25F;

  explicit CurveStage(CurveScene const& scene) {
    // Written directly, as a file would, because no key of the museum is to be refused.
    for (CurveKey const& key : scene.keys)
      curve->getControlPoints().push_back({{key.x, key.y}, {key.inX, key.inY}, {key.outX, key.outY}, 0, 0});
    curve->setPreInfinityMode(scene.pre);
    curve->setPostInfinityMode(scene.post);
    curve->setForceLinearInterpolation(scene.linear);
    node->setCore(curve);
    osg::AnimNodePtr place = node;
    for (Line const& line : scene.chain) {
      if (_root) {
        place = osg::AnimNode::create();
        place->addChild(_root);
      }
      place->setScale(static_cast<float>(line.scale));
      place->setOffset({static_cast<float>(line.offset), 0});
      _root = place;
    }
    _root.addRef();
  }
  ~CurveStage() { _root.subRef(); }
  CurveStage(CurveStage const&) = delete;
  CurveStage& operator=(CurveStage const&) = delete;

  knCurveData record(float time) const {
    knCurveData data(node, curve);
    data.value = Kept;
    data.time = time;
    data.cycleValueOffset = KeptOffset;
    return data;
  }
  /// The records of these times after their computation.
  std::vector<knCurveData> compute(std::vector<float> const& times) const {
    std::vector<knCurveData> records;
    for (float const time : times) records.push_back(record(time));
    // The call's own time takes no part.
    knAnimManager::the()->computeCurveValues(records, std::numeric_limits<float>::quiet_NaN());
    return records;
  }

  osg::AnimNodePtr const node = osg::AnimNode::create();
  osg::AnimCurvePtr const curve = osg::AnimCurve::create();

 private:
  osg::AnimNodePtr _root;
};

}  // namespace kntest
