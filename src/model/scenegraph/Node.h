#pragma once

#include "model/math/BoxVolume.h"
#include "model/math/Matrix.h"
#include "model/scenegraph/Attachment.h"
#include "model/scenegraph/Name.h"

#include <atomic>
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

  /// The field that notes the parents.
  static constexpr UInt16 ParentEntryPosition = ParentsFieldId;

  /// Multiplies `matrix` from the right by the transform that the core applies to the space below its node. Nothing by
  /// default.
  virtual void accumulateMatrix(Matrix& matrix) const;
  /// Grows `volume` by what the core itself occupies, in the space of its node's children. Nothing by default.
  virtual void extendVolume(BoxVolume& volume) const;

  /// Whether the core brings animations with it, as a camera brings its flights. Nodes keep account of it as they do
  /// of attachments that hold animations.
  virtual bool marksAnimation() const { return false; }

 protected:
  /// The result of marksAnimation may have changed: the nodes of this core ask again.
  void animationMarkChanged();
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
  /// What the node is, what hangs below it, and what it hangs below. Handles may be null.
  KN_SFIELD_READ(NodeCorePtr, Core, core, Owned)
  KN_MFIELD_READ(NodePtr, Children, children, Owned)
  KN_SFIELD_READ(NodePtr, Parent, parent, Derived)

 private:
  std::vector<NodePtr> _animatedChildren;
  UInt32 _placeShift = 0;          ///< what the places that the children know are ahead of the true ones
  UInt32 _placeAmongSiblings = 0;  ///< in the parent's children, as far as the parent has kept count
  UInt32 _placeAmongAnimated = 0;  ///< in the parent's _animatedChildren, while _countsAsAnimated
  UInt32 _placeAmongUsers = 0;     ///< in the core's list of its nodes, while that holds this node
  bool _carriesAnimation = false;  ///< an attachment or the core of this very node marks animation
  bool _countsAsAnimated = false;
  mutable std::atomic<UInt16> _leftGaps = 0;  ///< in the list of children, since they were numbered

 public:
  // Last: evaluations read it together with the first fields of AnimNode, which follow.
  /// 0xFFFFFFFF means active; any other value means inactive to all that evaluates animations.
  KN_SFIELD(UInt32, TravMask, travMask, 0xFFFFFFFFU)
  KN_CONTAINER_END

  /// The field that notes the parent.
  static constexpr UInt16 ParentEntryPosition = ParentFieldId;

  /// Raised by everything that changes which containers own which animation trees: any structural change of a tree
  /// of AnimNodes, attachments with animations that are hung or taken away, animation roots that are set, and nodes,
  /// cores, materials and scene roots that bring animations along when they join or leave. Code that rebuilds what
  /// depends on it clears it. Main thread.
  static bool _changed;

  /// Whether all bits of the traversal mask are set.
  bool isActive() const { return getTravMask() == 0xFFFFFFFFU; }

  /// Makes `core` the node's core; null takes the core away. A dead handle is taken as null.
  void setCore(NodeCorePtr const& core);

  /// The number of children.
  UInt32 getNChildren() const { return static_cast<UInt32>(_fChildren.size()); }
  /// The child at that place, null when there is none.
  NodePtr getChild(UInt32 index) const;
  /// The place of a child, -1 when it is none. Constant time, except after many changes in the midst of the children.
  Int32 findChild(NodePtr const& child) const;

  /// Puts a node at the end of the children, removing it from its former parent. A null or dead handle, this node
  /// itself and its ancestors are refused: nothing happens. Constant time, except that a child with children of its own
  /// is compared with this node's ancestors.
  void addChild(NodePtr const& child);
  /// The same at the place `index`; an index past the end means the end.
  void insertChild(UInt32 index, NodePtr const& child);
  /// Puts many nodes at the end of the children, in that order, as addChild does one by one, but in one pass over the
  /// children of each parent that they had. What addChild would refuse is left out.
  void addChildren(std::vector<NodePtr> const& children);
  /// Takes a child away and drops the reference to it. A node that is no child is ignored.
  void subChild(NodePtr const& child);
  /// The same for many children in one pass. Nodes that are no children are ignored.
  void subChildren(std::vector<NodePtr> const& children);
  /// Removes all children.
  void clearChildren();
  /// Puts `newChild` in the place of `oldChild`. False, with nothing changed, when `oldChild` is no child or
  /// addChild would refuse the new one.
  bool replaceChildBy(NodePtr const& oldChild, NodePtr const& newChild);

  /// Whether the node's name must differ from those of all other nodes that return true here, as animation nodes do.
  virtual bool keepsNameApart() const { return false; }

  /// The matrix from the space below this node to the world: the cores of all ancestors and the node's own.
  Matrix getToWorld() const;
  /// The world box around what the cores at and below this node occupy; empty when they occupy nothing. A node of an
  /// animation tree spans time instead: see `AnimNode::getAnimVolume`.
  virtual BoxVolume getWorldVolume() const;

  /// Whether another node counts as the first user of this node's core; false if the core is not shared. Which node is
  /// the first can change when nodes take or leave the core. Constant time.
  bool isFurtherUserOfCore() const { return _placeAmongUsers != 0; }
  /// Whether this node or one below it carries an attachment that can hold animations, or has a core that brings
  /// some. Constant time.
  bool hasAnimationInSubtree() const { return _countsAsAnimated; }
  /// The children with animation in their subtrees, in no particular order. A walk that needs only these
  /// passes over all others for free. Valid until the tree or an attachment changes.
  std::span<NodePtr const> getAnimatedChildren() const { return _animatedChildren; }

 protected:
  /// The core or the children have changed.
  virtual void structureChanged() {}
  /// The parent has changed, or values that the node takes from it may have.
  virtual void parentChanged() {}

  void attachmentsChanged() override;
  void fieldsAssigned() override;
  void onDestroy() override;

 private:
  friend class NodeCore;

  bool canAdopt(NodePtr const& child) const;
  bool isBelow(Node const& node) const;
  std::size_t placeOf(Node const& child) const;
  void numberChildren(std::size_t first);
  void renumberIfClosed() const;
  void link(Node& child);
  void unlink(Node& child);
  static NodePtr detach(Node& child);
  void eraseChild(Node const& child);
  void eraseUnlinked();
  static void tellMoved(NodePtr const& child, NodePtr const& formerParent, NodePtr const& parent);
  static void giveUp(NodePtr const& parent, std::vector<NodePtr> const& children);
  void linkCore();
  void unlinkCore();
  void enrol(Node& child);
  void strikeOff(Node const& child);
  void updateOwnMark();
  void updateAnimationMark();
};

}  // namespace knscene
}  // namespace osg
