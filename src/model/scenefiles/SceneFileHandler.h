#pragma once

#include "model/scenegraph/Node.h"

#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace osg {
inline namespace knscene {

/// Operations on a graph that has just been read, in this order. Each is given the root that the previous one returned,
/// and returns the root to go on with; an operation that returns another root than it was given is responsible for the
/// one it was given. An empty operation is skipped. No reference to the root is taken.
using GraphOpSeq = std::vector<std::function<NodePtr(NodePtr const&)>>;

/// How a scene file is written. Readers recognise the form by themselves.
enum class SceneFileForm {
  ByName,  ///< `Text` for names that end in ".json", `Binary` for all others
  Binary,  ///< small and fast
  Text,    ///< JSON, for reading and comparing
};

/// Writes scene graphs to streams and reads them back.
///
/// A file holds the root and everything that it holds references to, directly or through others: the
/// containers that `FieldRole::Owned` handles lead to. A handle that counts no reference is written if its container is
/// in the file, else as null. The root's own parent is not part of the file.
///
/// The file describes its types and fields by name. So it can be read when a type is not known (its objects
/// and what only they hold are passed over, and handles to them become null), when a field is not known or
/// its content is of another type now (it is passed over), and when a field is not in the file (it keeps its
/// default). Except for unknown fields, what is passed over is logged: one line in knLog for types, and one for fields.
///
/// All operations are for the main thread. Trees may be of any depth.
class KNSCENE_API SceneFileHandler {
 public:
  /// The operations that `read` runs when it is given no others. Null at first; the host keeps them alive.
  static GraphOpSeq const* _defaultgraphOpSeq;

  /// Made at first use, never destroyed.
  static SceneFileHandler& the();
  virtual ~SceneFileHandler() = default;

  /// Writes the graph below `root` in the form that `fileName` tells (see SceneFileForm), the binary one compressed
  /// unless `compress` is 0, and flushes the stream. `fileName` is not opened; it may be null. False, with one error line
  /// in knLog, when the root is null or dead, when containers hold each other in a circle, when a text can't hold what a
  /// host's own type of content holds, and when the stream fails; what was written then is of no use.
  virtual bool write(NodePtr const& root, std::ostream& stream, char const* fileName, unsigned int compress);

  /// Reads what `write` wrote, in either form, and gives the root, without a reference taken. `fileName` is used in
  /// messages about a stream that has no name of its own, and may be null. After a binary scene the stream stands
  /// behind it; a text is read to the end of the stream. Damage gives null and one error line in knLog that says what
  /// and where, and leaves nothing behind: no stream content is harmful. Memory stays below 256 MiB and 8192 times the
  /// size of the file, whatever the file claims; a host's types above 2 kB can take more.
  virtual NodePtr read(std::istream& stream, char const* fileName,
                       GraphOpSeq const* graphOpSeq = _defaultgraphOpSeq);
};

/// Writes a file in one step, as FileReplacement does it: the file of that name is either complete and new, or
/// what it was before. False, with one error line in knLog that says why, when the file can't be written. A text is not
/// compressed.
KNSCENE_API bool saveSceneFile(NodePtr const& root, std::string const& fileName, bool compress,
                               SceneFileForm form = SceneFileForm::ByName);
/// Reads a file in either form, with the default operations. Null, with one error line in knLog, when that fails.
KNSCENE_API NodePtr loadSceneFile(std::string const& fileName);

}  // namespace knscene
}  // namespace osg
