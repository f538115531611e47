#pragma once

#include "model/utils/BaseTypes.h"
#include "model/utils/Export.h"

#include <string>
#include <string_view>

namespace osg {
inline namespace knscene {

/// The name of a type or field: a text that lives as long as the process.
class IDString {
 public:
  /// The empty name, or a text that lives as long as the process.
  constexpr IDString() = default;
  constexpr IDString(char const* text) : _text(text) {}

  /// The text. Names are compared by their text.
  constexpr char const* c_str() const { return _text; }
  std::string str() const { return _text; }
  constexpr operator std::string_view() const { return _text; }
  friend constexpr bool operator==(IDString a, std::string_view b) { return std::string_view(a) == b; }

 private:
  char const* _text = "";
};

/// What all types have: a small process-wide number from 1 up, and a name. Types are never destroyed, so they
/// can be asked until the process ends.
class TypeBase {
 public:
  /// The number and the name.
  UInt32 getId() const { return _id; }
  IDString const& getName() const { return _name; }
  char const* getCName() const { return _name.c_str(); }

 protected:
  /// For derived types: the number 0 stands for none yet.
  constexpr TypeBase(UInt32 id, char const* name) : _id(id), _name(name) {}

  /// The number and the name.
  UInt32 _id;
  IDString _name;
};

/// The type of what a field holds. There is one instance per content type and process, whichever library asks.
class KNSCENE_API DataType : public TypeBase {
 public:
  /// The content type of that name, made at the first call. Any thread.
  static DataType const& byName(std::string_view name);

  /// Types are equal by their number.
  friend bool operator==(DataType const& a, DataType const& b) { return a._id == b._id; }

 private:
  DataType(UInt32 id, char const* name) : TypeBase(id, name) {}
};

/// The type of a field: its content type, and whether it holds one value or many.
class FieldType {
 public:
  /// One value, or a list.
  enum class Cardinality : UInt8 { Single, Multi };

  /// The type of fields with this content.
  FieldType(DataType const& content, Cardinality cardinality)
      : _content(&content), _cardinality(cardinality) {}

  /// The type of what the field holds, and whether it is one value or a list.
  DataType const& getContentType() const { return *_content; }
  Cardinality getCardinality() const { return _cardinality; }
  /// The content type's id, for comparisons in tables.
  UInt32 getId() const { return _content->getId(); }

  /// Equal in content and cardinality.
  friend bool operator==(FieldType const& a, FieldType const& b) {
    return *a._content == *b._content && a._cardinality == b._cardinality;
  }

 private:
  DataType const* _content;
  Cardinality _cardinality;
};

}  // namespace knscene
}  // namespace osg
