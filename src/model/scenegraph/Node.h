#pragma once

#include "model/math/BoxVolume.h"
#include "model/math/Matrix.h"
#include "model/scenegraph/Attachment.h"
#include "model/scenegraph/Name.h"

#include <span>

namespace osg {
inline namespace knscene {

/// What a node is: a group, a transform, a geometry, a camera, a curve. One core may stand under many nodes.
class KNSCENE_API NodeCore : public AttachmentContainer {
  KN_CONTAINER(NodeCore, NodeCore, AttachmentContainer)
 public:
  /// The nodes that use this core, each once, in no particular order.
  KN_MFIELD_READ(NodePtr, Parents, parents, Derived)
  KN_CONTAINER_END

  static constexpr UInt16 ParentEntryPosition = ParentsFieldId;

  /// Multiplies what the core does to the space below its node onto `matrix`, from the right. Nothing by default.
  virtual void accumulateMatrix(Matrix& matrix) const;
  /// Grows `volume` by what the core itself occupies, in the space of its node's children. Nothing by default.
  virtual void extendVolume(BoxVolume& volume) const;

 protected:
  void onDestroy() override;

 private:
  friend class Node;
};

using NodeCorePtr = NodeCore::Ptr;

/// One node of a scene or of an animation tree: a core, children, a traversal mask. A node has at most one parent
/// and holds a reference to its core and to each child.
///
/// Trees may be of any depth: nothing here recurses. Structure is changed on the main thread only; reading is
/// safe from any thread while nobody writes.
class KNSCENE_API Node : public AttachmentContainer {
  KN_CONTAINER(Node, Node, AttachmentContainer)
 public:
  KN_SFIELD_READ(NodeCorePtr, Core, core, Owned)
  /// 0xFFFFFFFF means active; any other value means inactive to all that evaluates animations.
  KN_SFIELD(UInt32, TravMask, travMask, 0xFFFFFFFFU)
  KN_MFIELD_READ(NodePtr, Children, children, Owned)
  KN_SFIELD_READ(NodePtr, Parent, parent, Derived)
  KN_CONTAINER_END

  static constexpr UInt16 ParentEntryPosition = ParentFieldId;

  bool isActive() const { return getTravMask() == 0xFFFFFFFFU; }

  /// Makes `core` the node's core; null takes the core away. A dead handle is taken as null.
  void setCore(NodeCorePtr const& core);

  UInt32 getNChildren() const { return static_cast<UInt32>(_fChildren.size()); }
  /// The child at that place, null when there is none.
  NodePtr getChild(UInt32 index) const;
  /// The place of a child, -1 when it is none.
  Int32 findChild(NodePtr const& child) const;

  /// Puts a node at the end of the children, taking it away from the parent it had. A null or dead handle, the
  /// node itself, and a node that this node stands below are refused: nothing happens. Constant time, except
  /// that a child with children of its own is compared with this node's ancestors.
  void addChild(NodePtr const& child);
  /// The same at the place `index`; an index past the end means the end.
  void insertChild(UInt32 index, NodePtr const& child);
  /// Takes a child away and drops the reference to it. A node that is no child is ignored.
  void subChild(NodePtr const& child);
  void clearChildren();
  /// Puts `newChild` in the place of `oldChild`. False, with nothing changed, when `oldChild` is no child or
  /// addChild would refuse the new one.
  bool replaceChildBy(NodePtr const& oldChild, NodePtr const& newChild);

  /// The matrix from the space below this node to the world: the cores of all ancestors and the node's own.
  Matrix getToWorld() const;
  /// The world box around what the cores at and below this node occupy; empty when they occupy nothing.
  BoxVolume getWorldVolume() const;

  /// Of all nodes that share a core, one is the first: false for it, and where the core is not shared. Which one it is
  /// changes with the nodes. Constant time.
  bool isFurtherUserOfCore() const { return _placeAmongUsers != 0; }
  /// Whether this node or one below it carries an attachment that can hold animations. Constant time.
  bool hasAnimationInSubtree() const { return _countsAsAnimated; }
  /// The children with animation in their subtrees, in no particular order. A walk that needs only these
  /// passes over all others for free. Valid until the tree or an attachment changes.
  std::span<NodePtr const> getAnimatedChildren() const { return _animatedChildren; }

 protected:
  /// The core or the children are other ones now.
  virtual void structureChanged() {}
  /// The node has another parent, or none, or values that it takes from its parent may be others.
  virtual void parentChanged() {}

  void attachmentsChanged() override;
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  friend class NodeCore;

  bool canAdopt(NodePtr const& child) const;
  void link(NodePtr const& child);
  void unlink(Node& child);
  void linkCore();
  void unlinkCore();
  void enrol(Node& child);
  void strikeOff(Node const& child);
  void updateAnimationMark();

  std::vector<NodePtr> _animatedChildren;
  UInt32 _placeAmongAnimated = 0;  ///< in the parent's _animatedChildren, while _countsAsAnimated
  UInt32 _placeAmongUsers = 0;     ///< in the core's list of its nodes, while that holds this node
  bool _carriesAnimation = false;  ///< an attachment of this very node marks animation
  bool _countsAsAnimated = false;
};

}  // namespace knscene
}  // namespace osg
