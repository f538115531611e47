#pragma once

#include "model/geometry/Geometry.h"
#include "model/sceneext/AnimAttachment.h"

#include <vector>

/// A scene node or material with an animation tree.
struct AnimatedOwner {
  osg::FieldContainerPtr owner;
  osg::AnimNodePtr tree;  ///< the root of the attachment
  /// The attachment hangs on several containers, and this is not the first of them.
  bool isFurther = false;
};

/// The tree of an attachment that hangs on `owner`.
AnimatedOwner makeAnimatedOwner(osg::FieldContainerPtr const& owner,
                                osg::AnimAttachmentPtr const& attachment);

/// Appends the nodes at and below `root` whose attachment has an animation root. Camera tracks are passed over with all
/// below them, and so is what hangs below a component geometry. The cost follows what carries animation, not what
/// the scene holds; trees may be of any depth. `pending` is scratch memory. Plans give `gates`, which receives the
/// geometries that have such nodes below them: whether those count can change without a word. What such a plan rests on is
/// watched from then on (osg::StructureCounter).
void findAnimatedNodes(osg::NodePtr const& root, std::vector<osg::NodePtr>& pending,
                       std::vector<AnimatedOwner>& animated, std::vector<osg::GeometryPtr>* gates = nullptr);

/// Asks for memory ahead of its use, from one object to the end of another one behind it. Scenes are larger than
/// caches, and walks spend most of their time waiting. Always inline, as whatever calls it and does nothing else: a
/// compiler takes a function that only prefetches for one without effect, and drops calls to it.
template <class First, class Last>
[[gnu::always_inline]] inline void prefetchSpan(First const& first, Last const& last) {
  constexpr std::ptrdiff_t Line = 64;
  auto const* const end = reinterpret_cast<char const*>(&last + 1);
  for (auto const* place = reinterpret_cast<char const*>(&first); place < end; place += Line) {
    __builtin_prefetch(place);
  }
  __builtin_prefetch(end - 1);
}

/// Calls `visit(AnimNodePtr const&)` for the nodes of an animation tree, parents before children, children in order.
/// A branch ends at an inactive or hidden node, and at one that is no animation node. `pending` is scratch memory.
template <class Visit>
void forEachActiveNode(osg::AnimNodePtr const& tree, std::vector<osg::AnimNodePtr>& pending, Visit visit) {
  pending.assign(1, tree);
  while (!pending.empty()) {
    osg::AnimNodePtr const node = pending.back();
    pending.pop_back();
    if (!node.isAlive() || !node->isActive() || node->getHidden()) continue;
    visit(node);
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i-- > 0;)
      pending.push_back(osg::dcast<osg::AnimNodePtr>(children[i]));
  }
}
