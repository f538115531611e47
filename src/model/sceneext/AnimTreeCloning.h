#pragma once

#include "model/sceneext/AnimNode.h"

#include <string>

namespace osg {
inline namespace knscene {

/// A new tree of nodes that shares all cores with `source`. Every node keeps its fields, but the copies do not
/// play. With `withAttachments` each node's name is copied, so that it can be changed alone, and its other
/// attachments are shared; without it the copies have none. A null or dead handle gives null. No reference is
/// taken. Any depth; main thread.
KNSCENE_API NodePtr cloneAnimTree(NodePtr const& source, bool withAttachments);

/// A copy of a tree with cores and attachments of its own; containers of the types named in `shareTypes`
/// (separated by commas or blanks), or derived from these, are shared. The copies do not play, whatever
/// the source does. A null or dead handle gives null. No reference is taken. Any depth; main thread.
KNSCENE_API AnimNodePtr deepCloneAnimTree(AnimNodePtr const& source, std::string const& shareTypes);

}  // namespace knscene
}  // namespace osg
