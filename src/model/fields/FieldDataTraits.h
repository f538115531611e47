#pragma once

#include "model/fields/FieldContainerPtr.h"
#include "model/fields/FieldStream.h"
#include "model/fields/FieldType.h"
#include "model/math/Matrix.h"
#include "model/math/Quaternion.h"
#include "model/math/Vectors.h"

#include <charconv>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace osg {
inline namespace knscene {

/// What the field machinery must know of a content type T. A specialisation gives
///   typeName()                        the content type's name
///   putToString(value, text)          appends the text form, which getFromString reads back exactly
///   getFromString(value, text)        true when the whole text was understood, else `value` is unchanged
///   write(writer, value), read(reader, value)   the binary form
///   writeAll(writer, values), readAll(reader, values)   the same for many at once; only where that is faster
///   MinBytes                          the least size of one value in binary form
///   isEqual(a, b)                     equality of contents; numbers by bits, so that a NaN equals itself
///   visitHandles(value, visitor)      passes each handle in the value through the visitor; only for contents
///                                     that hold handles
template <class T>
struct FieldDataTraits;

/// Called for each handle in a field; what it returns takes the handle's place.
using HandleVisitor = std::function<FieldContainerPtr(FieldContainerPtr const&)>;

namespace detail {

KNSCENE_API void putNumbers(std::span<Real32 const> values, std::string& text);
KNSCENE_API bool getNumbers(std::span<Real32> values, std::string_view text);

template <class T>
inline constexpr char const* scalarName = nullptr;
template <>
inline constexpr char const* scalarName<UInt8> = "UInt8";
template <>
inline constexpr char const* scalarName<Int32> = "Int32";
template <>
inline constexpr char const* scalarName<UInt32> = "UInt32";
template <>
inline constexpr char const* scalarName<Int64> = "Int64";
template <>
inline constexpr char const* scalarName<UInt64> = "UInt64";
template <>
inline constexpr char const* scalarName<Real32> = "Real32";
template <>
inline constexpr char const* scalarName<Real64> = "Real64";

}  // namespace detail

template <class T>
requires(detail::scalarName<T> != nullptr) struct FieldDataTraits<T> {
  static constexpr std::size_t MinBytes = sizeof(T);
  static std::string typeName() { return detail::scalarName<T>; }
  static void putToString(T value, std::string& text) {
    char buffer[32];
    text.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
  }
  static bool getFromString(T& value, std::string_view text) {
    T parsed{};
    auto const result = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return false;
    value = parsed;
    return true;
  }
  static void write(FieldWriter& writer, T value) { writer.put(value); }
  static void read(FieldReader& reader, T& value) { value = reader.get<T>(); }
  static void writeAll(FieldWriter& writer, std::span<T const> values) {
    writer.putBytes(values.data(), values.size_bytes());
  }
  static void readAll(FieldReader& reader, std::span<T> values) {
    reader.getBytes(values.data(), values.size_bytes());
  }
  static bool isEqual(T a, T b) { return std::memcmp(&a, &b, sizeof(T)) == 0; }
};

template <>
struct FieldDataTraits<bool> {
  static constexpr std::size_t MinBytes = 1;
  static std::string typeName() { return "bool"; }
  static void putToString(bool value, std::string& text) { text += value ? "true" : "false"; }
  static bool getFromString(bool& value, std::string_view text) {
    if (text != "true" && text != "false") return false;
    value = text == "true";
    return true;
  }
  static void write(FieldWriter& writer, bool value) { writer.put(static_cast<UInt8>(value)); }
  static void read(FieldReader& reader, bool& value) { value = reader.get<UInt8>() != 0; }
  static bool isEqual(bool a, bool b) { return a == b; }
};

/// Contents that are a fixed number of floats without padding: text form "x y z", separated by blanks.
template <class T, std::size_t N>
struct FloatTupleTraits {
  static_assert(sizeof(T) == N * sizeof(Real32));
  /// See FieldDataTraits.
  static constexpr std::size_t MinBytes = sizeof(T);
  static void putToString(T const& value, std::string& text) { detail::putNumbers({value.data(), N}, text); }
  static bool getFromString(T& value, std::string_view text) {
    return detail::getNumbers({value.data(), N}, text);
  }
  static void write(FieldWriter& writer, T const& value) { writer.putBytes(value.data(), sizeof(T)); }
  static void read(FieldReader& reader, T& value) { reader.getBytes(value.data(), sizeof(T)); }
  static void writeAll(FieldWriter& writer, std::span<T const> values) {
    writer.putBytes(values.data(), values.size_bytes());
  }
  static void readAll(FieldReader& reader, std::span<T> values) {
    reader.getBytes(values.data(), values.size_bytes());
  }
  static bool isEqual(T const& a, T const& b) { return std::memcmp(a.data(), b.data(), sizeof(T)) == 0; }
};

template <TupleKind Kind, std::size_t N>
struct FieldDataTraits<Tuple<Kind, Real32, N>> : FloatTupleTraits<Tuple<Kind, Real32, N>, N> {
  static std::string typeName() {
    char const* const kind = Kind == TupleKind::Vector ? "Vec" : Kind == TupleKind::Point ? "Pnt" : "Color";
    return kind + std::to_string(N) + "f";
  }
};

template <>
struct FieldDataTraits<Quaternion> : FloatTupleTraits<Quaternion, 4> {
  static std::string typeName() { return "Quaternion"; }
};

template <>
struct FieldDataTraits<Matrix> : FloatTupleTraits<Matrix, 16> {
  static std::string typeName() { return "Matrix"; }
};

template <>
struct FieldDataTraits<std::string> {
  static constexpr std::size_t MinBytes = sizeof(UInt32);
  static std::string typeName() { return "string"; }
  static void putToString(std::string const& value, std::string& text) { text += value; }
  static bool getFromString(std::string& value, std::string_view text) {
    value = text;
    return true;
  }
  static void write(FieldWriter& writer, std::string const& value) { writer.putText(value); }
  static void read(FieldReader& reader, std::string& value) { value = reader.getText(); }
  static bool isEqual(std::string const& a, std::string const& b) { return a == b; }
};

}  // namespace knscene
}  // namespace osg
