#pragma once

#include "model/sceneext/AnimObject.h"

#include <functional>
#include <optional>
#include <span>
#include <string>

namespace osg {
inline namespace knscene {

class AnimAttachment;
class AnimNode;

/// The fields of an animation node: placement in time, cycles, play state.
class KNSCENE_API AnimNodeBase : public Node {
  KN_CONTAINER(AnimNodeBase, AnimNode, Node)
 public:
  /// The node and all below are left out of gathering and of lists of names.
  KN_SFIELD(bool, Hidden, hidden, false)
  /// x: time offset in seconds. y: row on a timeline track, for layout only.
  KN_SFIELD(Vec2f, Offset, offset)
  /// Time scale. A negative or zero value flips the node in time.
  KN_SFIELD(Real32, Scale, scale, 1.F)
  /// What the offsets of all ancestors add up to, and the product of their scales. Kept by the scene layer.
  KN_SFIELD_READ(Vec2f, AccumulatedParentOffset, accumulatedParentOffset, Derived)
  KN_SFIELD_READ(Real32, AccumulatedParentScale, accumulatedParentScale, Derived, 1.F)
  /// Repetitions after the first run: 0 none, N that many, -1 without end.
  KN_SFIELD(Int32, PostCycles, postCycles, 0)
  /// The node was mirrored in time.
  KN_SFIELD(bool, Flipped, flipped, false)
  /// The node takes part in the evaluation of motion blur.
  KN_SFIELD(bool, MotionBlur, motionBlur, true)
  /// In the playing queue.
  KN_SFIELD(bool, Playing, playing, false)
  /// Paused: the playing queue leaves the node out.
  KN_SFIELD(bool, Pausing, pausing, false)
  /// Simulation time in seconds at which the node was enqueued, moved on by the length of each pause.
  KN_SFIELD(Real64, StartTime, startTime, 0.0)
  /// Simulation time in seconds at which the node was paused.
  KN_SFIELD(Real64, PauseTime, pauseTime, 0.0)
  /// The node plays `PlayRange` and not its own bounds.
  KN_SFIELD(bool, UsePlayRange, usePlayRange, false)
  /// Start and end of playing, in seconds.
  KN_SFIELD(Pnt2f, PlayRange, playRange)
  /// Time of the last evaluation of this tree alone, in seconds.
  KN_SFIELD(Real32, LastEvaluationTime, lastEvaluationTime, 0.F)
  KN_CONTAINER_END
};

/// One node of an animation tree. The accumulated values are current after every change of structure, offset or
/// scale anywhere above, so readers never compute them.
///
/// A node maps the time of its content to the time of evaluation: content time x stands at
///   x * Scale * AccumulatedParentScale + AccumulatedParentScale * Offset.x + AccumulatedParentOffset.x
/// For example a key at 2 s, under a node with offset 1 and scale 3, below a parent with offset 10 and scale 2,
/// stands at 2 * 6 + 2 * 1 + 10 = 24 s.
class KNSCENE_API AnimNode : public AnimNodeBase {
 public:
  /// Called when a tree in the queue has played to its end.
  using FinishedCallback = std::function<void(Ptr const& node)>;

  /// Sets a field and passes on what follows from it: placement and time ranges below and above. Announces nothing.
  void setOffset(Vec2f const& offset);
  void setScale(Real32 const& scale);
  void setPostCycles(Int32 const& cycles);
  virtual void setFlipped(bool const& flipped) { AnimNodeBase::setFlipped(flipped); }

  /// Moves the node by x seconds and y rows in its parent's time.
  void moveBy(Real32 x, Real32 y);
  /// Adds to the offset, and passes the change on to the accumulated values of all nodes below.
  void pushOffsetDelta(Real32 x, Real32 y) { moveBy(x, y); }

  /// Content time to evaluation time: scale and offset of the node with all its ancestors.
  Real32 getTotalScale() const { return getScale() * getAccumulatedParentScale(); }
  Real32 getTotalOffset() const {
    return getAccumulatedParentScale() * getOffset().x() + getAccumulatedParentOffset().x();
  }

  /// Fills a box whose x extent is the time range of the node in seconds of evaluation time, over the node's core
  /// and everything below, all repetitions of `PostCycles` included (-1 counts as none). With no content at all
  /// the box is empty. y runs from 0 to 0. Measured once and kept until something in the tree changes; control
  /// points that were written directly count as changed once they are announced. Main thread.
  ///
  /// An override in a host's class is called again whenever a node above it is measured, and the results of the nodes
  /// above are not kept; see hasOwnAnimVolume.
  virtual void getAnimVolume(BoxVolume& volume) const;
  /// Whether getAnimVolume is overridden. True by default for every derived class; a class that does not override it
  /// returns false here, so that the nodes above it can keep their results.
  virtual bool hasOwnAnimVolume() const { return &getType() != &AnimNodeBase::_type; }
  /// The box of getAnimVolume.
  BoxVolume getWorldVolume() const override;

  /// The attachments that have this node as their animation root and hang on something, in no particular order; one that
  /// hangs on nothing may be among them. The way from a tree up to its owners. Valid until an attachment is hung
  /// somewhere, is given another root, or dies.
  std::span<AttachmentPtr const> getRootedAttachments() const { return _rootedAttachments; }

  bool keepsNameApart() const override { return true; }

  /// Gives the node a core of its own if it shares one, also if the node is inactive or hidden. `name`, unless empty,
  /// becomes the name of the copy. What the core owns is copied with it.
  void unshare(std::string const& name);
  /// The same for this node and every node below.
  void unshareTree(std::string const& name);

  /// Registers a callback for the end of a run and returns the number to remove it by. A callback for a single
  /// call is dropped when the run ends or is cancelled. Main thread.
  UInt32 registerFinishedAnimationCallback(FinishedCallback callback, bool singleCall);
  void unregisterFinishedAnimationCallback(UInt32 number);
  void unregisterSingleCallFinishedAnimationCallbacks();
  /// Fires the callbacks in order of registration, and drops those for a single call. A callback may register and unregister callbacks, and destroy
  /// this node; what it unregisters is not called, what it registers is not called this time.
  void finishedAnimation();

  void changed(BitVector const& mask, UInt32 origin) override;
  void followChange(BitVector const& mask) override;

  /// The core's time range, or something below, may have changed: measure again at the next request.
  void timeRangeChanged() const;

 protected:
  void structureChanged() override;
  void parentChanged() override;

 private:
  friend class AnimAttachment;

  struct RegisteredCallback {
    UInt32 number;
    FinishedCallback callback;
    bool singleCall;
    bool isSpent = false;  ///< it was called, and is dropped when all others have been
  };
  struct CachedRange {
    bool measured = false;
    bool isKept = true;  ///< nothing that it rests on can change without being noticed
    std::optional<TimeRange> range;
  };

  class Measuring;

  void placementChanged();
  bool takeParentPlacement();
  TimeRange withCycles(TimeRange run) const;

  mutable CachedRange _cachedRange;
  std::vector<AttachmentPtr> _rootedAttachments;
  std::vector<RegisteredCallback> _finishedCallbacks;
  UInt32 _nextCallbackNumber = 1;
};

using AnimNodePtr = AnimNode::Ptr;

}  // namespace knscene
}  // namespace osg
