#include "model/scenefiles/TextPieces.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace osg {
inline namespace knscene {

namespace {

constexpr char HexDigits[] = "0123456789abcdef";

/// The length of the UTF-8 character at the beginning of a text; 0 when there is none.
std::size_t utf8Length(std::string_view text) {
  auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned const first = byte(0);
  if (first < 0x80) return 1;
  std::size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // No longer than needed, no surrogates, nothing past the last character.
  unsigned const second = byte(1);
  bool const isAllowed = (first != 0xE0 || second >= 0xA0) && (first != 0xED || second < 0xA0) &&
                         (first != 0xF0 || second >= 0x90) && (first != 0xF4 || second < 0x90);
  return isAllowed ? length : 0;
}

/// Bytes that are no UTF-8, as names of older releases, stand as they are.
void putText(std::string_view text, std::string& out) {
  if (isUtf8(text)) {
    putQuoted(text, out);
  } else {
    putHex(text, out);
  }
}

/// Numbers are as short as they can be without becoming others.
template <class T>
void putNumber(std::string_view bytes, std::string& out) {
  T const value = numberAt<T>(bytes, 0);
  if constexpr (std::is_floating_point_v<T>) {
    if (!std::isfinite(value)) {
      out += std::isnan(value) ? "\"nan\"" : value > 0 ? "\"inf\"" : "\"-inf\"";
      return;
    }
  }
  char buffer[32];
  out.append(buffer, std::to_chars(buffer, buffer + sizeof(buffer), value).ptr);
}

template <class T>
bool take(std::string_view text, std::string& bytes) {
  T value{};
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return false;
  appendNumber(value, bytes);
  return true;
}

template <class T>
bool takeSpecial(std::string_view text, std::string& bytes) {
  using Limits = std::numeric_limits<T>;
  if (text == "nan") {
    appendNumber(Limits::quiet_NaN(), bytes);
  } else if (text == "inf") {
    appendNumber(Limits::infinity(), bytes);
  } else if (text == "-inf") {
    appendNumber(-Limits::infinity(), bytes);
  } else {
    return false;
  }
  return true;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

}  // namespace

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    std::size_t const length = utf8Length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

void putQuoted(std::string_view text, std::string& out) {
  out += '"';
  for (char const c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (static_cast<unsigned char>(c) < 0x20) {
      out += "\\u00";
      out += static_cast<char>('0' + (c >> 4));
      out += HexDigits[c & 15];
    } else {
      out += c;
    }
  }
  out += '"';
}

void putHex(std::string_view bytes, std::string& out) {
  out += "{\"$hex\": \"";
  for (char const each : bytes) {
    auto const byte = static_cast<unsigned char>(each);
    out += HexDigits[byte >> 4];
    out += HexDigits[byte & 15];
  }
  out += "\"}";
}

void putPiece(ContentPiece piece, std::string_view bytes, std::string& out) {
  switch (piece) {
    case ContentPiece::Flag:
      out += bytes[0] != 0 ? "true" : "false";
      break;
    case ContentPiece::Unsigned8:
      putNumber<UInt8>(bytes, out);
      break;
    case ContentPiece::Unsigned16:
      putNumber<UInt16>(bytes, out);
      break;
    case ContentPiece::Signed32:
      putNumber<Int32>(bytes, out);
      break;
    case ContentPiece::Unsigned32:
      putNumber<UInt32>(bytes, out);
      break;
    case ContentPiece::Signed64:
      putNumber<Int64>(bytes, out);
      break;
    case ContentPiece::Unsigned64:
      putNumber<UInt64>(bytes, out);
      break;
    case ContentPiece::Float32:
      putNumber<Real32>(bytes, out);
      break;
    case ContentPiece::Float64:
      putNumber<Real64>(bytes, out);
      break;
    case ContentPiece::Text:
      putText(bytes.substr(sizeof(UInt32)), out);
      break;
    case ContentPiece::Handle:
      break;  // an object stands in its place
  }
}

bool takeNumber(ContentPiece piece, std::string_view text, std::string& bytes) {
  switch (piece) {
    case ContentPiece::Unsigned8:
      return take<UInt8>(text, bytes);
    case ContentPiece::Unsigned16:
      return take<UInt16>(text, bytes);
    case ContentPiece::Signed32:
      return take<Int32>(text, bytes);
    case ContentPiece::Unsigned32:
      return take<UInt32>(text, bytes);
    case ContentPiece::Signed64:
      return take<Int64>(text, bytes);
    case ContentPiece::Unsigned64:
      return take<UInt64>(text, bytes);
    case ContentPiece::Float32:
      return take<Real32>(text, bytes);
    case ContentPiece::Float64:
      return take<Real64>(text, bytes);
    default:
      return false;
  }
}

bool takeString(ContentPiece piece, std::string_view text, std::string& bytes) {
  switch (piece) {
    case ContentPiece::Text:
      appendNumber(static_cast<UInt32>(text.size()), bytes);
      bytes += text;
      return true;
    case ContentPiece::Float32:
      return takeSpecial<Real32>(text, bytes);
    case ContentPiece::Float64:
      return takeSpecial<Real64>(text, bytes);
    default:
      return false;
  }
}

std::optional<std::string> fromHex(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    int const high = hexDigit(text[i]);
    int const low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes += static_cast<char>(high * 16 + low);
  }
  if (text.size() % 2 != 0) return std::nullopt;
  return bytes;
}

}  // namespace knscene
}  // namespace osg
