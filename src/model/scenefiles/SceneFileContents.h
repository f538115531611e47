#pragma once

#include "model/scenegraph/Node.h"

#include <string>
#include <string_view>
#include <vector>

namespace osg {
inline namespace knscene {

// The contents of a scene file, before they are compressed and framed. Numbers are little endian; a text is
// its length in 4 bytes and its bytes.
//
//   types        count (4); for each its name (text), the number of its fields (4) and for each field its
//                name (text), the name of its content type (text) and its cardinality (1: 0 single, 1 multi)
//   containers   count (4); for each the place of its type in the table of types (4), from 0
//   values       for each container the length in bytes of each field's value (4 each), then the values
//
// A handle is the number of a container from 1 up, or 0 for null. Container 1 is the root.

/// What is wrong with a file, and where.
struct SceneFileProblem {
  std::string what;         ///< empty while there is none
  UInt64 offset = 0;        ///< the byte where it was met
  bool inContents = false;  ///< whether that byte is one of the contents, and not of the file
  UInt64 line = 0;          ///< of a text, from 1; 0 where the file is none
};

/// The contents of a scene file.
struct SceneContents {
  /// The values of all containers, in the form that scene files have.
  std::string bytes;
  /// When written, the sum of `objectMemory` over all objects. When read, what that sum may be.
  UInt64 objectMemory = 0;
  /// When written, a field that holds handles in contents of a host's own type; empty when there is none.
  std::string hiddenHandles = {};
};

/// How many bytes an object of a type counts for in the memory limit of a reader; null stands for an unknown type.
/// Types above 2 kB count as 2 kB, so that a file is readable wherever its types are known.
UInt64 objectMemory(FieldContainerType const* type);

/// The contents for the root and all that it holds, directly or through others. Empty when that can't be
/// told, with the reason in `problem`.
SceneContents putSceneContents(NodePtr const& root, SceneFileProblem& problem);

/// Makes what the contents describe and gives the root, without a reference taken. Null, and nothing left of
/// it, when the contents are damaged: `problem` says why. `warnings` takes what was passed over. Any contents
/// are safe to read; the memory used is proportional to their size, and that of objects limited by
/// `objectMemory`.
NodePtr getSceneContents(SceneContents const& contents, SceneFileProblem& problem,
                         std::vector<std::string>& warnings);

/// Makes a text from a file fit for a line of the log: no control characters, no great length.
std::string printable(std::string_view text);

}  // namespace knscene
}  // namespace osg
