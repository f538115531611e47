#pragma once

#include "model/utils/BaseTypes.h"

#include <span>
#include <string_view>

namespace osg {
inline namespace knscene {

/// One number, text or handle in the binary form of a value.
enum class ContentPiece : UInt8 {
  Flag,  ///< 0 or 1 in one byte
  Unsigned8,
  Unsigned16,
  Signed32,
  Unsigned32,
  Signed64,
  Unsigned64,
  Float32,
  Float64,
  Text,    ///< its length in 4 bytes, then its bytes
  Handle,  ///< the number of a container, 4 bytes
};

/// What one value of a content type is made of, in order.
using ContentLayout = std::span<ContentPiece const>;

/// The layout of a content type by its name; empty for one that is not known, as a host's own. Any thread.
ContentLayout layoutOf(std::string_view contentName);

/// The least number of bytes that a piece takes; all but texts take exactly that.
std::size_t pieceSize(ContentPiece piece);

/// The bytes of one value, or 0 where the layout is not known or a value's length is not fixed.
std::size_t fixedSize(ContentLayout layout);

/// Whether the table of types can give a default for values of that layout. Handles and texts always have null and the
/// empty text as their default.
bool canHaveDefault(ContentLayout layout);

}  // namespace knscene
}  // namespace osg
