#pragma once

#include "model/fields/FieldContainerPtr.h"
#include "model/utils/Export.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

namespace osg {
inline namespace knscene {

/// Turns field values into bytes, in the order and width that the scene file format lays down (little endian).
class KNSCENE_API FieldWriter {
 public:
  /// `indexOf` gives the number that stands for a container in the file, 0 for null and for what is not written.
  explicit FieldWriter(std::function<UInt32(FieldContainerPtr const&)> indexOf)
      : _indexOf(std::move(indexOf)) {}

  /// Appends a number.
  template <class T>
  requires std::is_arithmetic_v<T>
  void put(T value) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    _bytes.append(bytes, sizeof(T));
  }
  /// Makes room for so many more bytes at once.
  void reserve(std::size_t size) {
    std::size_t const wanted = _bytes.size() + size;
    if (wanted > _bytes.capacity()) _bytes.reserve(std::max(wanted, 2 * _bytes.capacity()));
  }
  /// Appends bytes, a text with its length, or the number that stands for a container.
  void putBytes(void const* data, std::size_t size) { _bytes.append(static_cast<char const*>(data), size); }
  void putText(std::string_view text);
  void putHandle(FieldContainerPtr const& handle) { put(_indexOf(handle)); }

  /// All that was written; `takeBytes` leaves the writer empty.
  std::string const& bytes() const { return _bytes; }
  std::string takeBytes() { return std::move(_bytes); }

 private:
  std::function<UInt32(FieldContainerPtr const&)> _indexOf;
  std::string _bytes;
};

/// Reads what FieldWriter wrote. It trusts nothing: after the first read past the end, or the first number that
/// cannot be, every further read gives zeros and `failed` stays true.
class KNSCENE_API FieldReader {
 public:
  /// `resolve` gives the container for a number in the file; an unknown number gives null.
  FieldReader(std::string_view bytes, std::function<FieldContainerPtr(UInt32)> resolve)
      : _bytes(bytes), _resolve(std::move(resolve)) {}

  /// Reads a number.
  template <class T>
  requires std::is_arithmetic_v<T> T get() {
    T value{};
    getBytes(&value, sizeof(T));
    return value;
  }
  /// Reads bytes, a text, or a handle.
  void getBytes(void* target, std::size_t size);
  std::string getText();
  FieldContainerPtr getHandle() { return _resolve(get<UInt32>()); }
  /// A count of elements that take at least `elementSize` bytes each; more than the rest can hold is a failure.
  std::size_t getCount(std::size_t elementSize);

  /// Failing by hand, whether anything has failed, and how far reading has come.
  void fail() { _failed = true; }
  bool failed() const { return _failed; }
  std::size_t position() const { return _position; }
  bool atEnd() const { return _position == _bytes.size(); }

 private:
  std::string_view _bytes;
  std::function<FieldContainerPtr(UInt32)> _resolve;
  std::size_t _position = 0;
  bool _failed = false;
};

}  // namespace knscene
}  // namespace osg
