#pragma once

#include "model/fields/FieldDataTraits.h"
#include "model/fields/TwoEndedList.h"

#include <algorithm>
#include <initializer_list>
#include <span>
#include <type_traits>
#include <vector>

namespace osg {
inline namespace knscene {

/// One named value, or list of values, of a field container. Everything that is done to fields without knowing
/// their type (files, cloning, comparing, printing) goes through this interface.
class KNSCENE_API Field {
 public:
  /// Copied with its value.
  Field() = default;
  Field(Field const&) = default;
  Field& operator=(Field const&) = default;
  virtual ~Field() = default;

  /// The type of the field, that of its content, and whether it is one value or a list.
  virtual FieldType const& getType() const = 0;
  DataType const& getContentType() const { return getType().getContentType(); }
  FieldType::Cardinality getCardinality() const { return getType().getCardinality(); }

  /// The number of values: 1 for a single field.
  virtual std::size_t getSize() const = 0;
  /// Takes the values of a field of the same type; false, and nothing done, for any other.
  virtual bool copyFrom(Field const& other) = 0;
  /// Whether the other field has the same type and content; numbers are compared by bits.
  virtual bool isEqual(Field const& other) const = 0;
  /// Appends the text form: for a multi-field, the values one a line.
  virtual void putToString(std::string& text) const = 0;
  /// The binary form of scene files. A reader that has failed gives zeros and empty lists.
  virtual void write(FieldWriter& writer) const = 0;
  virtual void read(FieldReader& reader) = 0;
  /// Passes every handle that the field holds through `visitor`. A result of a type that the field cannot hold
  /// becomes null.
  virtual void visitHandles(HandleVisitor const& visitor) = 0;
};

namespace detail {
template <class T>
void visitHandlesIn(T& value, HandleVisitor const& visitor) {
  if constexpr (requires { FieldDataTraits<T>::visitHandles(value, visitor); }) {
    FieldDataTraits<T>::visitHandles(value, visitor);
  }
}
}  // namespace detail

/// A field with one value.
template <class T>
class SField final : public Field {
 public:
  /// The type of the value.
  using StoredType = T;

  /// A field with a default value, or with the one given.
  SField() = default;
  SField(T value) : _value(std::move(value)) {}

  /// The type of all such fields.
  static FieldType const& getClassType() {
    static FieldType const type(DataType::byName(FieldDataTraits<T>::typeName()),
                                FieldType::Cardinality::Single);
    return type;
  }

  /// The value, and setting it. Nothing is announced.
  T const& getValue() const { return _value; }
  T& getValue() { return _value; }
  void setValue(T const& value) { _value = value; }

  /// See Field.
  FieldType const& getType() const override { return getClassType(); }
  std::size_t getSize() const override { return 1; }
  bool copyFrom(Field const& other) override {
    if (!(other.getType() == getClassType())) return false;
    _value = static_cast<SField const&>(other)._value;
    return true;
  }
  bool isEqual(Field const& other) const override {
    return other.getType() == getClassType() &&
           FieldDataTraits<T>::isEqual(_value, static_cast<SField const&>(other)._value);
  }
  void putToString(std::string& text) const override { FieldDataTraits<T>::putToString(_value, text); }
  void write(FieldWriter& writer) const override { FieldDataTraits<T>::write(writer, _value); }
  void read(FieldReader& reader) override { FieldDataTraits<T>::read(reader, _value); }
  void visitHandles(HandleVisitor const& visitor) override { detail::visitHandlesIn(_value, visitor); }

 private:
  T _value{};
};

/// A field with a list of values, stored side by side, in a std::vector or in what `ListOf` names. Bools are packed as in
/// std::vector<bool>: their references are its proxies, and there is no `data`.
template <class T>
class MField final : public Field {
 public:
  /// The types of the list and of access to one value.
  using StoredType = typename ListOf<T>::Type;
  using Reference = typename StoredType::reference;
  using ConstReference = typename StoredType::const_reference;

  /// An empty list, or the values given.
  MField() = default;
  MField(std::initializer_list<T> values) : _values(values) {}

  /// The type of all such fields.
  static FieldType const& getClassType() {
    static FieldType const type(DataType::byName(FieldDataTraits<T>::typeName()),
                                FieldType::Cardinality::Multi);
    return type;
  }

  /// The list.
  StoredType& getValues() { return _values; }
  StoredType const& getValues() const { return _values; }

  /// As in std::vector.
  std::size_t size() const { return _values.size(); }
  bool empty() const { return _values.empty(); }
  Reference operator[](std::size_t index) { return _values[index]; }
  ConstReference operator[](std::size_t index) const { return _values[index]; }
  T const* data() const requires(!std::is_same_v<T, bool>) { return _values.data(); }
  auto begin() { return _values.begin(); }
  auto end() { return _values.end(); }
  auto begin() const { return _values.begin(); }
  auto end() const { return _values.end(); }
  ConstReference front() const { return _values.front(); }
  ConstReference back() const { return _values.back(); }
  void push_back(T value) { _values.push_back(std::move(value)); }
  void reserve(std::size_t count) { _values.reserve(count); }
  void clear() { _values.clear(); }

  /// See Field.
  FieldType const& getType() const override { return getClassType(); }
  std::size_t getSize() const override { return _values.size(); }
  bool copyFrom(Field const& other) override {
    if (!(other.getType() == getClassType())) return false;
    _values = static_cast<MField const&>(other)._values;
    return true;
  }
  bool isEqual(Field const& other) const override {
    if (!(other.getType() == getClassType())) return false;
    StoredType const& theirs = static_cast<MField const&>(other)._values;
    return std::equal(_values.begin(), _values.end(), theirs.begin(), theirs.end(),
                      FieldDataTraits<T>::isEqual);
  }
  void putToString(std::string& text) const override {
    for (std::size_t i = 0; i < _values.size(); ++i) {
      if (i > 0) text += '\n';
      FieldDataTraits<T>::putToString(_values[i], text);
    }
  }
  void write(FieldWriter& writer) const override {
    writer.reserve(sizeof(UInt32) + _values.size() * FieldDataTraits<T>::MinBytes);
    writer.put(static_cast<UInt32>(_values.size()));
    if constexpr (requires { FieldDataTraits<T>::writeAll(writer, std::span<T const>(_values)); }) {
      FieldDataTraits<T>::writeAll(writer, std::span<T const>(_values));
    } else {
      for (ConstReference value : _values) FieldDataTraits<T>::write(writer, value);
    }
  }
  void read(FieldReader& reader) override {
    _values.resize(reader.getCount(FieldDataTraits<T>::MinBytes));
    if constexpr (requires { FieldDataTraits<T>::readAll(reader, std::span<T>(_values)); }) {
      FieldDataTraits<T>::readAll(reader, std::span<T>(_values));
    } else {
      for (auto&& value : _values) readOne(reader, value);
    }
  }
  void visitHandles(HandleVisitor const& visitor) override {
    for (auto&& value : _values) detail::visitHandlesIn(value, visitor);
  }

 private:
  static void readOne(FieldReader& reader, T& value) { FieldDataTraits<T>::read(reader, value); }
  static void readOne(FieldReader& reader,
                      std::vector<bool>::reference value) requires std::is_same_v<T, bool> {
    bool read = false;
    FieldDataTraits<bool>::read(reader, read);
    value = read;
  }

  StoredType _values;
};

}  // namespace knscene
}  // namespace osg
