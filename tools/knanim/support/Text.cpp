#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <locale.h>
#include <vector>
#include <wchar.h>

namespace knanim {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

/// The code point at `at` and its length in bytes; length 0 when there is no valid one.
struct Decoded {
  std::uint32_t codePoint = 0;
  std::size_t length = 0;
};

Decoded decode(std::string_view text, std::size_t at) {
  auto const lead = static_cast<unsigned char>(text[at]);
  if (lead < 0x80U) return {lead, 1};
  std::size_t const length = lead >= 0xF0U ? 4 : lead >= 0xE0U ? 3 : 2;
  if (lead < 0xC2U || lead > 0xF4U || at + length > text.size()) return {};
  std::uint32_t codePoint = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(text[at + i])) return {};
    codePoint = codePoint << 6U | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  bool const surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < kSmallest[length] || codePoint > 0x10FFFF || surrogate) return {};
  return {codePoint, length};
}

/// Controls of both ranges, line and paragraph separators, and the marks that turn the direction of writing.
bool steers(std::uint32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) ||
         (codePoint >= 0x200E && codePoint <= 0x200F) || (codePoint >= 0x2028 && codePoint <= 0x202E) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069);
}

/// A code point with the columns that it takes in a terminal.
struct Glyph {
  std::size_t begin = 0;
  std::size_t width = 1;
};

/// By the system's own table: ideographs take two columns, marks that stand on another character none.
std::vector<Glyph> glyphsOf(std::string_view text) {
  static locale_t const table = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
  locale_t const former = table != locale_t{} ? uselocale(table) : locale_t{};
  std::vector<Glyph> glyphs;
  for (std::size_t at = 0; at < text.size();) {
    auto const [codePoint, length] = decode(text, at);
    int const width = codePoint < 0x80 || table == locale_t{} ? 1 : wcwidth(static_cast<wchar_t>(codePoint));
    glyphs.push_back({at, static_cast<std::size_t>(std::clamp(width, 0, 2))});
    at += std::max<std::size_t>(length, 1);
  }
  if (table != locale_t{}) uselocale(former);
  return glyphs;
}

template <typename Real>
std::string shortestOf(Real value) {
  std::array<char, 64> buffer;
  Real const shown = value == 0 ? Real(0) : value;
  auto const result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), shown);
  return {buffer.data(), result.ptr};
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    auto const [codePoint, length] = decode(text, at);
    if (length == 0 || steers(codePoint)) {
      result += kReplacement;
    } else {
      result += text.substr(at, length);
    }
    at += length == 0 ? 1 : length;
  }
  return result;
}

std::size_t widthInColumns(std::string_view text) {
  std::size_t width = 0;
  for (Glyph const& glyph : glyphsOf(text)) width += glyph.width;
  return width;
}

std::string shortened(std::string_view text, std::size_t columns) {
  if (widthInColumns(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  std::vector<Glyph> const glyphs = glyphsOf(text);
  std::size_t const forHead = (columns - 1) / 2;
  std::size_t head = 0;
  std::size_t used = 0;
  for (; used + glyphs[head].width <= forHead; ++head) used += glyphs[head].width;
  std::size_t tail = glyphs.size();
  for (std::size_t left = columns - 1 - forHead; tail > head && glyphs[tail - 1].width <= left; --tail)
    left -= glyphs[tail - 1].width;
  std::string result(text.substr(0, glyphs[head].begin));
  result += kEllipsis;
  // A mark stands on the character before it.
  while (tail < glyphs.size() && glyphs[tail].width == 0) ++tail;
  return tail < glyphs.size() ? result.append(text.substr(glyphs[tail].begin)) : result;
}

std::string lowerEnding(std::string const& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  for (char& letter : ending)
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  return ending;
}

std::string grouped(std::uint64_t count) {
  std::string const digits = std::to_string(count);
  std::string result;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i != 0 && (digits.size() - i) % 3 == 0) result += ' ';
    result += digits[i];
  }
  return result;
}

std::string counted(std::uint64_t count, std::string_view singular, std::string_view plural) {
  std::string result = grouped(count) + ' ';
  if (count == 1) return result.append(singular);
  return plural.empty() ? result.append(singular) + 's' : result.append(plural);
}

std::string shortest(float value) { return shortestOf(value); }
std::string shortest(double value) { return shortestOf(value); }

std::string brief(double value, int digits) {
  std::array<char, 64> buffer;
  int const length = std::snprintf(buffer.data(), buffer.size(), "%.*g", digits, value == 0 ? 0.0 : value);
  return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string shortTime(double seconds) {
  if (seconds < 1e-3) return brief(seconds * 1e6, 3) + " \xC2\xB5s";
  return seconds < 1 ? brief(seconds * 1e3, 3) + " ms" : brief(seconds, 3) + " s";
}

std::string padded(std::string const& text, std::size_t width) {
  return text + std::string(width - std::min(width, widthInColumns(text)), ' ');
}

}  // namespace knanim
