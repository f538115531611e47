#pragma once

#include "model/sceneext/AnimObject.h"

namespace osg {
inline namespace knscene {

class AnimBlock;

/// The fields of an AnimBlock.
class KNSCENE_API AnimBlockBase : public AnimObject {
  KN_CONTAINER(AnimBlockBase, AnimBlock, AnimObject)
 public:
  /// The block holds the curves made from a camera track.
  KN_SFIELD(bool, IsCameraTrackBlock, isCameraTrackBlock, false)
  KN_CONTAINER_END
};

/// A group of curves of one object, or of a camera track.
class KNSCENE_API AnimBlock : public AnimBlockBase {
 public:
  /// So that walks find blocks that are cores of scene nodes.
  bool marksAnimation() const override { return true; }
};

using AnimBlockPtr = AnimBlock::Ptr;

}  // namespace knscene
}  // namespace osg
