#pragma once

#include "model/scenefiles/SceneFileContents.h"

#include <istream>
#include <ostream>

namespace osg {
inline namespace knscene {

// What stands around the contents of a scene file:
//
//   magic                8 bytes, chosen so that a transfer as text damages them
//   format version       4
//   flags                4: bit 0 the contents are stored as a zlib stream, all others 0
//   size of contents     8
//   stored size          8: the bytes that follow the header
//   CRC of contents      4: CRC-32 of the contents as they are when unpacked
//   CRC of header        4: CRC-32 of all bytes before this one
//   the contents

/// The format that this release writes, and the latest that it reads.
inline constexpr UInt32 SceneFileVersion = 1;

/// The number of bytes from a stream's position to the end of its file; 0 if the stream does not tell.
UInt64 bytesLeft(std::istream& stream);

/// Writes the contents in their frame. With `compress` they are packed, unless they pack so well that a reader
/// would not believe it. False when the stream fails.
bool writeSceneFrame(std::ostream& stream, SceneContents const& contents, bool compress);

/// Reads a frame and its contents, and leaves the stream behind it. False, with the reason in `problem`, when
/// it is damaged or of a later format. Sizes are not trusted: memory is taken as data arrives, and no more
/// than 16 MiB and 256 times the stored size. The objects get room for 16 MiB and 256 times the stored size, or
/// 1024 times that of packed contents.
bool readSceneFrame(std::istream& stream, SceneContents& contents, SceneFileProblem& problem);

}  // namespace knscene
}  // namespace osg
