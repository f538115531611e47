#pragma once

#include "model/scenegraph/Node.h"

#include <functional>

namespace osg {
inline namespace knscene {

/// What a visitor answers.
struct Action {
  /// How a traversal goes on.
  enum ResultE {
    Continue = 0,  ///< go on with the node's children
    Skip = 1,      ///< pass over the node's children
    Quit = 2,      ///< end the walk; so does any other value
  };
};

/// Walks a tree depth first, each node before its children, children in order. A null or dead `root`, or an
/// empty `visit`, does nothing. The visitor may change the tree: what it takes away is not visited, what it adds
/// below the present node is, what it adds beside it or above is not. Returns Continue, or the answer that ended the
/// walk. Trees may be of any depth. Main thread, or any thread while nobody writes.
KNSCENE_API Action::ResultE traverse(NodePtr const& root,
                                     std::function<Action::ResultE(NodePtr const&)> const& visit);

}  // namespace knscene
}  // namespace osg
