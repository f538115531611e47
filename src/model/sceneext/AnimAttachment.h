#pragma once

#include "model/sceneext/AnimNode.h"

namespace osg {
inline namespace knscene {

class AnimAttachment;

/// The fields of an AnimAttachment.
class KNSCENE_API AnimAttachmentBase : public Attachment {
  KN_CONTAINER(AnimAttachmentBase, AnimAttachment, Attachment)
 public:
  /// The root of the container's animation tree. A new attachment has one, with a `Group` as its core; it may be
  /// replaced or taken away.
  KN_SFIELD_READ(AnimNodePtr, AnimationRoot, animationRoot, Owned)
  /// The attachment is set up.
  KN_SFIELD(bool, Initialized, initialized, false)
  /// Ids of animation records that older releases stored.
  KN_MFIELD(UInt64, OldRecordIds, oldRecordIds)
  /// Field numbers of older releases that point at this container.
  KN_MFIELD(UInt64, OldFieldNumbers, oldFieldNumbers)
  KN_CONTAINER_END
};

/// Hangs on a node, a material or another container and holds its animations. Main thread, except reading while
/// nobody writes.
class KNSCENE_API AnimAttachment : public AnimAttachmentBase {
 public:
  AnimAttachment();

  bool marksAnimation() const override { return true; }

  /// Replaces the root, which may be null.
  void setAnimationRoot(AnimNodePtr const& root);

  /// Adds a tree at the end of the top-level animations, taking it away from a parent it had, and announces the
  /// root's children. A root is made where there is none. A null or dead handle, the root itself and a node
  /// above the root are ignored.
  void addAnimation(AnimNodePtr const& animation);
  /// Takes a top-level animation away, and announces the root's children. Any other node is ignored.
  void subAnimation(AnimNodePtr const& animation);

  /// Appends the animation nodes directly under the root, in order; without `includeHidden` only those that are
  /// not hidden.
  void getTopLevelAnimations(std::vector<AnimNodePtr>& animations, bool includeHidden) const;
  /// Appends those with an `AnimBlock` core, or an `AnimCurve` core; hidden ones are among them.
  void getTopLevelBlockNodes(std::vector<AnimNodePtr>& nodes) const;
  void getTopLevelCurveNodes(std::vector<AnimNodePtr>& nodes) const;

  /// Whether there is any top-level animation.
  bool hasAnimations() const;
  /// Whether a node anywhere in the tree has a `TimeShapeCache` or `VertexAnimCurves` core.
  bool hasVertexAnimation() const;

 protected:
  void parentsChanged() override;
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  void linkRoot();
  void unlinkRoot();
};

using AnimAttachmentPtr = AnimAttachment::Ptr;

}  // namespace knscene
}  // namespace osg
