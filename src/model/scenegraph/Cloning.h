#pragma once

#include "model/scenegraph/Node.h"

#include <string>

namespace osg {
inline namespace knscene {

/// A copy of a container and of everything that it holds references to, directly or through others. Containers
/// whose type is named in `shareTypes`, a list of type names separated by commas or blanks, or derives from one
/// of these, are shared and not copied. A handle that counts no reference follows the copy when what it names
/// was copied too, and otherwise stays. A null or dead handle gives null. The copy has no reference taken. Any
/// depth; main thread.
KNSCENE_API FieldContainerPtr deepCopyContainer(FieldContainerPtr const& source,
                                                std::string const& shareTypes);

}  // namespace knscene
}  // namespace osg
