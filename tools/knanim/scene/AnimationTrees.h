#pragma once

#include "knanim/scene/AnimatedScene.h"

#include <span>
#include <string>
#include <vector>

namespace knanim {

/// A tree of one node with a core, which both get the name; it hangs on nothing yet.
osg::AnimNodePtr makeTree(osg::AnimObjectPtr const& core, std::string const& name);

/// One more node for a core that stands elsewhere too, and keeps its name.
osg::AnimNodePtr shareCore(osg::NodeCorePtr const& core);

/// A clip of curves that stand elsewhere too, with a block of the clip's name for the curves of each target
/// that follow each other. The nodes that the curves have in the clip are appended to `placed`.
osg::AnimNodePtr makeClip(std::string const& name, std::span<SceneCurve const> curves,
                          std::vector<SceneCurve>& placed);

/// From the begin of a tree to its end as the library measures it, in seconds.
TimeSpan spanOf(osg::AnimNodePtr const& tree);

}  // namespace knanim
