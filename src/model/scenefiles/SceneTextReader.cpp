#include "model/scenefiles/SceneFileProgress.h"
#include "model/scenefiles/SceneText.h"
#include "model/scenefiles/TextPieces.h"

// Sizes as large as those of the standard containers.
#define RAPIDJSON_NO_SIZETYPEDEFINE
namespace rapidjson {
using SizeType = std::size_t;
}
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>

namespace osg {
inline namespace knscene {

namespace {

using Stream = rapidjson::StringStream;

/// The writer nests objects 64 deep.
constexpr std::size_t DeepestObject = 1000;

// --- The reader ---------------------------------------------------------------------------------------------------

struct TextField {
  std::string name;
  std::string content;
  bool isMulti = false;
  bool hasDefault = false;
  ContentLayout layout;
  std::string usual;  ///< the value of an object that gives none
};

struct TextType {
  std::string name;
  std::vector<TextField> fields;
  std::unordered_map<std::string, std::size_t> places;  ///< of the fields, by name
};

/// Takes the events of the parser and puts the contents together. Every event returns false where it does not fit.
class TextHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TextHandler> {
 public:
  TextHandler(Stream const& stream, std::size_t textSize)
      : _stream(stream), _textSize(textSize), _mostContents(mostContents(textSize)) {}

  /// Why the text was refused; empty while it was not.
  std::string const& problem() const { return _problem; }
  /// Where, if that is known better than by where the parser stands.
  std::optional<std::size_t> problemOffset() const { return _problemOffset; }

  bool finish(SceneContents& contents, SceneTextPlaces& places);

  bool Null() { return isAtPiece(ContentPiece::Handle) ? putRaw(UInt32{0}) : refuse(); }
  bool Bool(bool value);
  bool RawNumber(char const* text, std::size_t size, bool);
  bool String(char const* text, std::size_t size, bool);
  bool Key(char const* text, std::size_t size, bool);
  bool StartObject();
  bool EndObject(std::size_t);
  bool StartArray();
  bool EndArray(std::size_t);

 private:
  enum class At : UInt8 {
    Start,         ///< before everything
    Top,           ///< in the outermost object
    Version,       ///< the value of "knScene"
    TypesStart,    ///< the value of "types"
    Types,         ///< in the object of types
    TypeStart,     ///< the value of a type
    Type,          ///< in the object of a type
    FieldStart,    ///< the value of a type's field
    Field,         ///< in the object of a type's field
    FieldContent,  ///< the values of what that gives
    FieldList,
    FieldDefault,
    Root,          ///< the value of "root"
    FurtherStart,  ///< the value of "further"
    Further,       ///< in its list
    ObjectStart,   ///< in an object that has given nothing yet
    ObjectType,    ///< the values of what it gives
    ObjectId,
    Reference,
    Hex,
    Object,   ///< in an object of which the type is known
    Value,    ///< the value of its field
    PartEnd,  ///< before the end of a reference, or of bytes
    End,
  };

  /// A value that is being read, piece by piece.
  struct Value {
    ContentLayout layout;
    bool isMulti = false;
    bool isInList = false;
    bool isInTuple = false;
    bool isWhole = false;        ///< its bytes were given as they are
    std::size_t piece = 0;       ///< of the tuple
    std::size_t countPlace = 0;  ///< of the list's count, in the bytes
    UInt64 count = 0;
  };

  struct Given {
    std::size_t field;
    std::size_t begin;  ///< in the bytes of the object
    std::size_t size;
  };

  /// A reference, to be filled in when all objects are known.
  struct Fixup {
    UInt32 object;      ///< that it stands in
    std::size_t place;  ///< in the bytes of that object, and in its record in the end
    std::string id;
    std::size_t textOffset;
  };

  struct Record {
    UInt32 type;
    std::size_t textOffset;
    std::string bytes;
  };

  /// An object that is being read.
  struct Open {
    UInt32 object;  ///< its place in the records
    bool hasId = false;
    std::vector<Given> given;
    std::vector<Fixup> fixups;
    std::string bytes;
    Value value;
  };

  /// Asked for every object and list.
  bool goesOn() {
    bool const isTime = ++_sinceTold % 256 == 0;
    if (!isTime || SceneFileProgress::tell("parsing", _stream.Tell(), _textSize)) return true;
    return fail(SceneFileProgress::WhenInterrupted);
  }

  bool fail(std::string what) {
    if (_problem.empty()) _problem = std::move(what);
    return false;
  }
  bool failAt(std::size_t textOffset, std::string what) {
    _problemOffset = textOffset;
    return fail(std::move(what));
  }
  bool refuse();
  bool goTo(At at) {
    _at = at;
    return true;
  }

  bool topKey(std::string_view key);
  bool typeKey(std::string_view key);
  bool typeFieldKey(std::string_view key);
  bool finishTypeField();
  bool startKey(std::string_view key);
  bool objectKey(std::string_view key);
  bool beginObject(std::string const& typeName);
  bool endObject();
  bool assemble(Open& open);
  bool setId(std::string id);
  bool resolveFixups();

  TextType const& typeOf(Open const& open) const { return _types[_records[open.object].type]; }
  bool isInValue() const { return _at == At::Value || _at == At::FieldDefault; }
  Value& value() { return _open.empty() ? _default : _open.back().value; }
  Value const& value() const { return _open.empty() ? _default : _open.back().value; }
  bool isAtElement() const;
  bool isAtPiece(ContentPiece piece) const;
  /// Where the bytes of that value go.
  std::string& bytes() { return _open.empty() ? _field.usual : _open.back().bytes; }
  void beginValue(TextField const& field);
  bool endPiece();
  bool endElement();
  bool endValue();
  template <class T>
  bool putRaw(T number) {
    appendNumber(number, bytes());
    return endPiece();
  }
  bool putText(std::string_view text);
  bool putHex(std::string_view text);

  Stream const& _stream;
  std::size_t _textSize;
  UInt32 _sinceTold = 0;
  UInt64 _mostContents;
  UInt64 _size = 0;  ///< of all records so far
  std::string _problem;
  std::optional<std::size_t> _problemOffset;
  At _at = At::Start;
  bool _hasVersion = false;
  bool _hasTypes = false;
  bool _isFurther = false;
  std::vector<TextType> _types;
  std::unordered_map<std::string, UInt32> _typeNumbers;
  TextField _field;  ///< of a type, while it is being read
  Value _default;
  std::size_t _objectStart = 0;  ///< in the text
  std::vector<Record> _records;
  std::vector<Open> _open;
  std::vector<Given const*> _givenByField;  ///< of the object that is being assembled
  std::vector<std::size_t> _starts;         ///< of its fields in its record
  std::unordered_map<std::string, UInt32> _ids;
  std::vector<Fixup> _fixups;
};

bool TextHandler::refuse() {
  if (_at == At::Value) {
    TextField const& field = typeOf(_open.back()).fields[_open.back().given.back().field];
    return fail("field '" + printable(field.name) + "' of an object of type '" +
                printable(typeOf(_open.back()).name) + "' has no such value (" + printable(field.content) +
                ')');
  }
  if (_at == At::Start) return fail("it is no scene file");
  return fail("something else is expected here");
}

// --- Events -------------------------------------------------------------------------------------------------------

bool TextHandler::Bool(bool given) {
  if (_at == At::FieldList) {
    _field.isMulti = given;
    return goTo(At::Field);
  }
  return isAtPiece(ContentPiece::Flag) ? putRaw(static_cast<UInt8>(given)) : refuse();
}

bool TextHandler::RawNumber(char const* text, std::size_t size, bool) {
  std::string_view const number(text, size);
  if (isInValue()) {
    if (!isAtElement()) return refuse();
    Value& to = value();
    return takeNumber(to.layout[to.piece], number, bytes()) ? endPiece() : refuse();
  }
  if (_at != At::Version) return refuse();
  UInt32 version = 0;
  if (std::from_chars(text, text + size, version).ptr != text + size) return refuse();
  if (version == 0 || version > SceneTextVersion) {
    return fail("its format is version " + std::string(number) + ", known are those up to " +
                std::to_string(SceneTextVersion));
  }
  _hasVersion = true;
  return goTo(At::Top);
}

bool TextHandler::String(char const* text, std::size_t size, bool) {
  std::string_view const given(text, size);
  switch (_at) {
    case At::FieldContent:
      _field.content = given;
      _field.layout = layoutOf(given);
      return given.empty() ? fail("a type of content has no name") : goTo(At::Field);
    case At::ObjectType:
      return beginObject(std::string(given));
    case At::ObjectId:
      return setId(std::string(given));
    case At::Reference:
      _open.back().fixups.push_back({_open.back().object, bytes().size(), std::string(given), _objectStart});
      appendNumber(UInt32{0}, bytes());
      return goTo(At::PartEnd);
    case At::Hex:
      return putHex(given);
    case At::Value:
    case At::FieldDefault:
      return putText(given);
    default:
      return refuse();
  }
}

bool TextHandler::Key(char const* text, std::size_t size, bool) {
  std::string_view const key(text, size);
  switch (_at) {
    case At::Top:
      return topKey(key);
    case At::Types:
      return typeKey(key);
    case At::Type:
      _field = {};
      _field.name = key;
      return goTo(At::FieldStart);
    case At::Field:
      return typeFieldKey(key);
    case At::ObjectStart:
      return startKey(key);
    case At::Object:
      return objectKey(key);
    default:
      return refuse();
  }
}

bool TextHandler::StartObject() {
  if (!goesOn()) return false;
  switch (_at) {
    case At::Start:
      return goTo(At::Top);
    case At::TypesStart:
      return goTo(At::Types);
    case At::TypeStart:
      return goTo(At::Type);
    case At::FieldStart:
      return goTo(At::Field);
    case At::Value:
    case At::Root:
    case At::Further:
      _objectStart = _stream.Tell() - 1;
      return goTo(At::ObjectStart);
    default:
      return refuse();
  }
}

bool TextHandler::EndObject(std::size_t) {
  switch (_at) {
    case At::Top:
      return _records.empty() ? fail("it has no \"root\"") : goTo(At::End);
    case At::Types:
      _hasTypes = true;
      return goTo(At::Top);
    case At::Type:
      return goTo(At::Types);
    case At::Field:
      return finishTypeField();
    case At::Object:
      return endObject();
    case At::PartEnd:
      _at = At::Value;
      return value().isWhole ? endValue() : endPiece();
    case At::ObjectStart:
      return fail("an object begins with \"$type\"");
    default:
      return refuse();
  }
}

bool TextHandler::StartArray() {
  if (!goesOn()) return false;
  if (_at == At::FurtherStart) return goTo(At::Further);
  if (!isInValue()) return refuse();
  Value& to = value();
  if (to.isMulti && !to.isInList) {
    to.isInList = true;
    to.countPlace = bytes().size();
    appendNumber(UInt32{0}, bytes());
    return true;
  }
  if (to.layout.size() < 2 || to.isInTuple) return refuse();
  to.isInTuple = true;
  to.piece = 0;
  return true;
}

bool TextHandler::EndArray(std::size_t) {
  if (_at == At::Further) return goTo(At::Top);
  Value& to = value();
  if (to.isInTuple) {
    if (to.piece < to.layout.size()) return refuse();
    to.isInTuple = false;
    to.piece = 0;
    return endElement();
  }
  if (to.count > std::numeric_limits<UInt32>::max()) return fail("a list is too long");
  auto const count = static_cast<UInt32>(to.count);
  std::memcpy(bytes().data() + to.countPlace, &count, sizeof(count));
  return endValue();
}

// --- Tables -------------------------------------------------------------------------------------------------------

bool TextHandler::topKey(std::string_view key) {
  if (!_hasVersion) return key == "knScene" ? goTo(At::Version) : fail("it is no scene file");
  if (key == "types" && !_hasTypes) return goTo(At::TypesStart);
  if (key == "root" && _hasTypes && _records.empty()) return goTo(At::Root);
  if (key == "further" && !_records.empty() && !_isFurther) {
    _isFurther = true;
    return goTo(At::FurtherStart);
  }
  return fail("\"knScene\", \"types\", \"root\" and \"further\" stand in this order, each once");
}

bool TextHandler::typeKey(std::string_view key) {
  auto const number = static_cast<UInt32>(_types.size());
  if (!_typeNumbers.try_emplace(std::string(key), number).second) return fail("a type is described twice");
  _types.push_back({std::string(key), {}, {}});
  return goTo(At::TypeStart);
}

bool TextHandler::typeFieldKey(std::string_view key) {
  if (key == "content" && _field.content.empty()) return goTo(At::FieldContent);
  if (key == "list" && !_field.hasDefault) return goTo(At::FieldList);
  if (key != "default" || _field.hasDefault) {
    return fail("a field has \"content\", \"list\" and \"default\" in this order, each once");
  }
  if (_field.isMulti || !canHaveDefault(_field.layout))
    return fail("fields of this kind have no \"default\"");
  _field.hasDefault = true;
  beginValue(_field);
  return goTo(At::FieldDefault);
}

bool TextHandler::finishTypeField() {
  TextType& type = _types.back();
  if (_field.content.empty()) return fail("a field has no \"content\"");
  bool const isEmptyAtFirst = _field.isMulti || _field.layout.size() == 1;
  if (!_field.hasDefault && isEmptyAtFirst && !_field.layout.empty() &&
      (_field.isMulti || !canHaveDefault(_field.layout))) {
    _field.usual.assign(sizeof(UInt32), '\0');
    _field.hasDefault = true;
  }
  if (!type.places.try_emplace(_field.name, type.fields.size()).second) {
    return fail("a field is described twice");
  }
  type.fields.push_back(std::move(_field));
  return goTo(At::Type);
}

// --- Objects ------------------------------------------------------------------------------------------------------

bool TextHandler::startKey(std::string_view key) {
  if (key == "$type") {
    bool const isWanted = _open.empty() || isAtPiece(ContentPiece::Handle);
    return isWanted ? goTo(At::ObjectType) : fail("no object is expected here");
  }
  if (key == "$ref") {
    bool const isWanted = !_open.empty() && isAtPiece(ContentPiece::Handle);
    return isWanted ? goTo(At::Reference) : fail("no reference is expected here");
  }
  bool const isBytes = key == "$hex" && !_open.empty();
  return isBytes ? goTo(At::Hex) : fail("an object begins with \"$type\"");
}

bool TextHandler::beginObject(std::string const& typeName) {
  auto const type = _typeNumbers.find(typeName);
  if (type == _typeNumbers.end())
    return fail("type '" + printable(typeName) + "' is not in the table of types");
  if (_open.size() >= DeepestObject) return fail("it is nested too deep");
  if (_records.size() >= std::numeric_limits<UInt32>::max() - 1) return fail("it has too many objects");
  auto const object = static_cast<UInt32>(_records.size());
  if (!_open.empty()) appendNumber(object + 1, bytes());
  _records.push_back({type->second, _objectStart, {}});
  _open.emplace_back();
  _open.back().object = object;
  return goTo(At::Object);
}

bool TextHandler::setId(std::string id) {
  Open& open = _open.back();
  if (open.hasId || !_ids.try_emplace(std::move(id), open.object + 1).second) {
    return fail("an \"$id\" is given twice");
  }
  open.hasId = true;
  return goTo(At::Object);
}

bool TextHandler::objectKey(std::string_view key) {
  if (key == "$id") return goTo(At::ObjectId);
  Open& open = _open.back();
  TextType const& type = typeOf(open);
  auto const found = type.places.find(std::string(key));
  if (found == type.places.end()) {
    return fail("type '" + printable(type.name) + "' has no field '" + printable(key) +
                "' in the table of types");
  }
  open.given.push_back({found->second, open.bytes.size(), 0});
  beginValue(type.fields[found->second]);
  return goTo(At::Value);
}

bool TextHandler::endObject() {
  if (!assemble(_open.back())) return false;
  _open.pop_back();
  if (_open.empty()) return goTo(_isFurther ? At::Further : At::Top);
  _at = At::Value;
  return endPiece();
}

/// Makes the record of an object: the lengths of its values, then the values, in the order of the table.
bool TextHandler::assemble(Open& open) {
  TextType const& type = typeOf(open);
  std::size_t const tableSize = type.fields.size() * sizeof(UInt32);
  if (_size + tableSize > _mostContents) return fail("it stands for more than it has room for");
  _givenByField.assign(type.fields.size(), nullptr);
  _starts.clear();
  for (Given const& given : open.given) {
    if (_givenByField[given.field] != nullptr) {
      return fail("field '" + printable(type.fields[given.field].name) + "' is given twice");
    }
    _givenByField[given.field] = &given;
  }
  std::string lengths;
  std::string values;
  values.reserve(open.bytes.size());
  for (std::size_t i = 0; i < type.fields.size(); ++i) {
    TextField const& field = type.fields[i];
    Given const* const given = _givenByField[i];
    if (given == nullptr && !field.hasDefault)
      return fail("field '" + printable(field.name) + "' is missing");
    std::string_view const value =
        given != nullptr ? std::string_view(open.bytes).substr(given->begin, given->size) : field.usual;
    if (value.size() > std::numeric_limits<UInt32>::max()) return fail("a value is too large");
    if (_size + tableSize + values.size() + value.size() > _mostContents) {
      return fail("it stands for more than it has room for");
    }
    _starts.push_back(tableSize + values.size());
    appendNumber(static_cast<UInt32>(value.size()), lengths);
    values += value;
  }
  for (Fixup& fixup : open.fixups) {
    // Values were given in ascending order of their places.
    auto const after =
        std::upper_bound(open.given.begin(), open.given.end(), fixup.place,
                         [](std::size_t place, Given const& given) { return place < given.begin; });
    Given const& given = *std::prev(after);
    fixup.place += _starts[given.field] - given.begin;
    _fixups.push_back(std::move(fixup));
  }
  _size += tableSize + values.size();
  lengths += values;
  _records[open.object].bytes = std::move(lengths);
  return true;
}

bool TextHandler::resolveFixups() {
  for (Fixup const& fixup : _fixups) {
    auto const found = _ids.find(fixup.id);
    if (found == _ids.end())
      return failAt(fixup.textOffset, "nothing has the \"$id\" '" + printable(fixup.id) + "'");
    std::memcpy(_records[fixup.object].bytes.data() + fixup.place, &found->second, sizeof(UInt32));
  }
  return true;
}

bool TextHandler::finish(SceneContents& contents, SceneTextPlaces& places) {
  if (!resolveFixups()) return false;
  FieldWriter out(nullptr);
  out.put(static_cast<UInt32>(_types.size()));
  for (TextType const& type : _types) {
    out.putText(type.name);
    out.put(static_cast<UInt32>(type.fields.size()));
    for (TextField const& field : type.fields) {
      out.putText(field.name);
      out.putText(field.content);
      out.put(static_cast<UInt8>(field.isMulti));
    }
  }
  out.put(static_cast<UInt32>(_records.size()));
  for (Record const& record : _records) out.put(record.type);
  contents.bytes = out.takeBytes();
  contents.bytes.reserve(contents.bytes.size() + _size);
  for (Record& record : _records) {
    places.add(contents.bytes.size(), record.textOffset);
    contents.bytes += std::exchange(record.bytes, {});
  }
  contents.objectMemory = _mostContents;
  return true;
}

// --- Values -------------------------------------------------------------------------------------------------------

void TextHandler::beginValue(TextField const& field) {
  Value& to = value();
  to = {};
  to.layout = field.layout;
  to.isMulti = field.isMulti;
}

/// Whether a number, text or handle is next, and not a list or tuple of them.
bool TextHandler::isAtElement() const {
  Value const& to = value();
  if (to.layout.empty() || to.isMulti != to.isInList) return false;
  return to.isInTuple ? to.piece < to.layout.size() : to.layout.size() == 1;
}

/// Also within the beginning of an object that may be one.
bool TextHandler::isAtPiece(ContentPiece piece) const {
  bool const isValue = isInValue() || (_at == At::ObjectStart && !_open.empty()) || _at == At::Hex;
  return isValue && isAtElement() && value().layout[value().piece] == piece;
}

bool TextHandler::endPiece() {
  Value& to = value();
  if (!to.isInTuple) return endElement();
  ++to.piece;
  return true;
}

bool TextHandler::endElement() {
  if (!value().isMulti) return endValue();
  ++value().count;
  return true;
}

bool TextHandler::endValue() {
  if (_at == At::FieldDefault) return goTo(At::Field);
  Open& open = _open.back();
  open.given.back().size = open.bytes.size() - open.given.back().begin;
  return goTo(At::Object);
}

/// A text, or one of the numbers that JSON has no way to write.
bool TextHandler::putText(std::string_view text) {
  if (!isAtElement()) return refuse();
  return takeString(value().layout[value().piece], text, bytes()) ? endPiece() : refuse();
}

/// The bytes of a text that is no UTF-8, or of a whole value.
bool TextHandler::putHex(std::string_view text) {
  std::optional<std::string> const given = fromHex(text);
  if (!given) return fail("these are no bytes in hexadecimal");
  Value& to = value();
  if (isAtPiece(ContentPiece::Text)) {
    appendNumber(static_cast<UInt32>(given->size()), bytes());
  } else if (to.isInList || to.isInTuple) {
    return fail("no bytes are expected here");
  } else {
    to.isWhole = true;
  }
  bytes() += *given;
  return goTo(At::PartEnd);
}

}  // namespace

std::size_t SceneTextPlaces::find(std::size_t contentsOffset) const {
  auto const after =
      std::upper_bound(_places.begin(), _places.end(), contentsOffset,
                       [](std::size_t offset, Place const& place) { return offset < place.inContents; });
  return after != _places.begin() ? std::prev(after)->inText : 0;
}

std::size_t lineOf(std::string_view text, std::size_t offset) {
  std::string_view const before = text.substr(0, offset);
  return 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
}

UInt64 mostContents(std::size_t textSize) {
  constexpr UInt64 Allowance = UInt64{16} << 20;
  constexpr UInt64 MostForEach = 256;
  return Allowance + MostForEach * textSize;
}

bool getSceneText(std::string const& text, SceneContents& contents, SceneTextPlaces& places,
                  SceneFileProblem& problem) {
  constexpr unsigned Flags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag |
                             rapidjson::kParseValidateEncodingFlag;
  // The parser takes a zero byte for the end.
  std::size_t const zero = text.find('\0');
  if (zero != std::string::npos) {
    problem = {"it has a zero byte", zero, false};
    return false;
  }
  std::size_t const start = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  Stream stream(text.c_str());
  for (std::size_t i = 0; i < start; ++i) stream.Take();
  TextHandler handler(stream, text.size());
  rapidjson::Reader reader;
  rapidjson::ParseResult const result = reader.Parse<Flags>(stream, handler);
  if (!result.IsError() && handler.finish(contents, places)) return true;
  std::string const what =
      handler.problem().empty() ? rapidjson::GetParseError_En(result.Code()) : handler.problem();
  problem = {what, handler.problemOffset().value_or(result.Offset()), false};
  return false;
}

}  // namespace knscene
}  // namespace osg
