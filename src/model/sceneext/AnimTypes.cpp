// The animation classes that consist of their fields alone.
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/AnimSequence.h"
#include "model/sceneext/AnimShot.h"
#include "model/sceneext/CameraTrack.h"
#include "model/sceneext/TagAttachment.h"

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(AnimBlockBase, AnimBlock, "AnimBlock")
KN_CONTAINER_TYPE(AnimClipBase, AnimClip, "AnimClip")
KN_CONTAINER_TYPE(AnimSequenceBase, AnimSequence, "AnimSequence")
KN_CONTAINER_TYPE(AnimShotBase, AnimShot, "AnimShot")
KN_CONTAINER_TYPE(CameraTrackBase, CameraTrack, "CameraTrack")
KN_CONTAINER_TYPE(TagAttachmentBase, TagAttachment, "TagAttachment")

}  // namespace knscene
}  // namespace osg
