#pragma once

#include "model/sceneext/AnimObject.h"

namespace osg {
inline namespace knscene {

class AnimClip;

/// The fields of an AnimClip.
class KNSCENE_API AnimClipBase : public AnimObject {
  KN_CONTAINER(AnimClipBase, AnimClip, AnimObject)
  KN_CONTAINER_END
};

/// An arrangement of blocks, curves, sequences, shots, caches and other clips on a timeline.
class KNSCENE_API AnimClip : public AnimClipBase {
 public:
  /// So that walks find clips that are cores of scene nodes.
  bool marksAnimation() const override { return true; }
};

using AnimClipPtr = AnimClip::Ptr;

}  // namespace knscene
}  // namespace osg
