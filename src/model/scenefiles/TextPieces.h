#pragma once

#include "model/scenefiles/ContentLayout.h"

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace osg {
inline namespace knscene {

// The pieces of values as bytes, and as JSON.

template <class T>
T numberAt(std::string_view bytes, std::size_t place) {
  T value{};
  std::memcpy(&value, bytes.data() + place, sizeof(T));
  return value;
}
template <class T>
void appendNumber(T value, std::string& bytes) {
  bytes.append(reinterpret_cast<char const*>(&value), sizeof(T));
}

bool isUtf8(std::string_view text);

/// Appends a text, which is UTF-8, as a JSON string.
void putQuoted(std::string_view text, std::string& out);
/// Appends bytes as an object that gives them in hexadecimal.
void putHex(std::string_view bytes, std::string& out);
/// Appends a piece, given as its bytes, as JSON. A handle is passed over.
void putPiece(ContentPiece piece, std::string_view bytes, std::string& out);

/// Appends the bytes of a piece that JSON gives as a number. False, with nothing appended, when the piece is none for
/// numbers, or the number none for the piece.
bool takeNumber(ContentPiece piece, std::string_view text, std::string& bytes);
/// The same for a piece that JSON gives as a string.
bool takeString(ContentPiece piece, std::string_view text, std::string& bytes);
/// The bytes of a text in hexadecimal; nothing when it is none.
std::optional<std::string> fromHex(std::string_view text);

}  // namespace knscene
}  // namespace osg
