#include "model/fields/FieldContainerFactory.h"
#include "model/fields/Ref.h"
#include "model/scenefiles/SceneFileProgress.h"
#include "model/scenefiles/SceneText.h"
#include "model/scenefiles/TextPieces.h"

#include <unordered_map>
#include <unordered_set>

namespace osg {
inline namespace knscene {

namespace {

/// Objects nested deeper than this stand by themselves.
constexpr std::size_t DeepestNesting = 64;
/// What is not longer than this stands on one line.
constexpr std::size_t LineLength = 110;
constexpr std::size_t NumbersInARow = 16;

std::size_t pieceSizeAt(ContentPiece piece, std::string_view bytes, std::size_t place) {
  std::size_t const size = pieceSize(piece);
  return piece == ContentPiece::Text ? size + numberAt<UInt32>(bytes, place) : size;
}

// --- The contents, taken apart ------------------------------------------------------------------------------------

struct TextField {
  std::string_view name;
  std::string_view content;
  bool isMulti = false;
  bool isOwned = false;
  ContentLayout layout;
  std::string usual;  ///< the value of a new object; empty where every object says its own

  bool isHandle() const { return !layout.empty() && layout.back() == ContentPiece::Handle; }
};

struct TextType {
  std::string_view name;
  std::vector<TextField> fields;
};

/// What a new object of the type has in a field, as far as the table of types can say it.
std::string usualValue(FieldContainer& fresh, FieldDescription const& field) {
  FieldWriter out([](FieldContainerPtr const&) { return 0U; });
  field.getField(fresh)->write(out);
  return out.takeBytes();
}

void addKnowledge(TextType& type) {
  FieldContainerType const* const known =
      FieldContainerFactory::the().findType(std::string(type.name).c_str());
  if (known == nullptr) return;
  FieldContainerPtr const fresh = known->createFieldContainer();
  fresh.addRef();
  for (TextField& field : type.fields) {
    auto const* const description = known->findFieldDescription(std::string(field.name).c_str());
    if (description == nullptr) continue;
    field.isOwned = description->getRole() == FieldRole::Owned;
    if (fresh && !field.isMulti && canHaveDefault(field.layout)) {
      field.usual = usualValue(*fresh, *description);
    }
  }
  fresh.subRef();
}

/// The tables of contents that this library wrote.
class ContentsTables {
 public:
  explicit ContentsTables(std::string_view contents) : _contents(contents) {
    readTypes();
    std::size_t const count = take<UInt32>();
    for (std::size_t i = 0; i < count; ++i) _typeNumbers.push_back(take<UInt32>());
    for (std::size_t i = 0; i < count; ++i) readRecord(typeOf(static_cast<UInt32>(i)));
  }

  std::vector<TextType> const& types() const { return _types; }
  UInt32 containerCount() const { return static_cast<UInt32>(_typeNumbers.size()); }
  /// Containers go by their index here, from 0.
  TextType const& typeOf(UInt32 container) const { return _types[_typeNumbers[container]]; }
  std::string_view valueOf(UInt32 container, std::size_t field) const {
    return _values[_firstValues[container] + field];
  }
  std::size_t size() const { return _contents.size(); }
  /// Where a value stands in the contents.
  std::size_t offsetOf(std::string_view value) const {
    return static_cast<std::size_t>(value.data() - _contents.data());
  }

 private:
  template <class T>
  T take() {
    T const value = numberAt<T>(_contents, _place);
    _place += sizeof(T);
    return value;
  }
  std::string_view takeText() {
    std::size_t const size = take<UInt32>();
    _place += size;
    return _contents.substr(_place - size, size);
  }

  void readTypes() {
    _types.resize(take<UInt32>());
    for (TextType& type : _types) {
      type.name = takeText();
      type.fields.resize(take<UInt32>());
      for (TextField& field : type.fields) {
        field.name = takeText();
        field.content = takeText();
        field.isMulti = take<UInt8>() != 0;
        field.layout = layoutOf(field.content);
      }
      addKnowledge(type);
    }
  }

  void readRecord(TextType const& type) {
    std::size_t value = _place + type.fields.size() * sizeof(UInt32);
    _firstValues.push_back(_values.size());
    for (std::size_t i = 0; i < type.fields.size(); ++i) {
      std::size_t const size = take<UInt32>();
      _values.push_back(_contents.substr(value, size));
      value += size;
    }
    _place = value;
  }

  std::string_view _contents;
  std::size_t _place = 0;
  std::vector<TextType> _types;
  std::vector<UInt32> _typeNumbers;       ///< by container
  std::vector<std::size_t> _firstValues;  ///< by container
  std::vector<std::string_view> _values;
};

/// Whether a value's bytes are what its layout says. Those of a host's content type that happens to have the name of
/// another one need not be.
bool fits(TextField const& field, std::string_view value, UInt32 containerCount) {
  if (field.layout.empty()) return false;
  std::size_t place = 0;
  std::size_t count = 1;
  if (field.isMulti) {
    if (value.size() < sizeof(UInt32)) return false;
    count = numberAt<UInt32>(value, 0);
    place = sizeof(UInt32);
  }
  bool const isPlain = canHaveDefault(field.layout) && field.layout.back() != ContentPiece::Flag;
  if (isPlain) return value.size() - place == count * fixedSize(field.layout);
  for (std::size_t i = 0; i < count; ++i) {
    for (ContentPiece const piece : field.layout) {
      if (value.size() - place < pieceSize(piece)) return false;
      std::size_t const size = pieceSizeAt(piece, value, place);
      if (value.size() - place < size) return false;
      if (piece == ContentPiece::Handle && numberAt<UInt32>(value, place) > containerCount) return false;
      if (piece == ContentPiece::Flag && static_cast<unsigned char>(value[place]) > 1) return false;
      place += size;
    }
  }
  return place == value.size();
}

// --- The text -----------------------------------------------------------------------------------------------------

class TextWriter {
 public:
  /// `saysAll` gives every field of every object, as if new objects had nothing.
  TextWriter(std::string_view contents, bool saysAll)
      : _tables(contents), _saysAll(saysAll), _places(_tables.containerCount()) {}

  std::string write() {
    countReferences();
    _out = "{\n \"knScene\": " + std::to_string(SceneTextVersion) + ",\n \"types\": {";
    putTypes();
    _out += "\n },\n \"root\": ";
    putTree(0, 1);
    putFurther();
    _out += "\n}\n";
    return std::move(_out);
  }

 private:
  struct Place {
    bool isWritten = false;
    bool needsId = false;
    UInt32 owners = 0;
    std::string id;
  };

  /// An object that is being written.
  struct Open {
    UInt32 container = 0;
    std::size_t start = 0;  ///< in the text
    std::size_t indent = 0;
    std::size_t field = 0;
    std::size_t place = 0;      ///< in the list of handles that is being written
    std::size_t remaining = 0;  ///< handles of that list
    bool isInList = false;
    bool closesSlot = false;
  };

  template <class Visit>
  void visitHandles(TextField const& field, std::string_view value, Visit visit) const {
    if (!field.isHandle() || !fits(field, value, _tables.containerCount())) return;
    std::size_t const size = fixedSize(field.layout);
    for (std::size_t place = field.isMulti ? sizeof(UInt32) : 0; place < value.size(); place += size) {
      UInt32 const number = numberAt<UInt32>(value, place + size - sizeof(UInt32));
      if (number > 0) visit(number - 1);
    }
  }

  /// What is named twice, or otherwise than by who holds it, needs a name in the text.
  void countReferences() {
    for (UInt32 container = 0; container < _tables.containerCount(); ++container) {
      auto const& fields = _tables.typeOf(container).fields;
      for (std::size_t i = 0; i < fields.size(); ++i) {
        visitHandles(fields[i], _tables.valueOf(container, i), [&](UInt32 named) {
          Place& place = _places[named];
          if (!fields[i].isOwned || ++place.owners > 1) place.needsId = true;
        });
      }
    }
  }

  void newLine(std::size_t indent) {
    _out += '\n';
    _out.append(indent, ' ');
  }

  // --- Types ---

  void putTypes() {
    bool isFirst = true;
    for (TextType const& type : _tables.types()) {
      if (!isFirst) _out += ',';
      isFirst = false;
      newLine(2);
      putQuoted(type.name, _out);
      _out += ": {";
      for (std::size_t i = 0; i < type.fields.size(); ++i) {
        if (i > 0) _out += ',';
        newLine(3);
        putTypeField(type.fields[i]);
      }
      _out += '}';
    }
  }

  void putTypeField(TextField const& field) {
    putQuoted(field.name, _out);
    _out += ": {\"content\": ";
    putQuoted(field.content, _out);
    if (field.isMulti) _out += ", \"list\": true";
    if (!field.usual.empty() && !_saysAll) {
      _out += ", \"default\": ";
      putElement(field.layout, field.usual);
    }
    _out += '}';
  }

  // --- Objects ---

  void putFurther() {
    if (_deep.empty()) return;
    _out += ",\n \"further\": [";
    // The list grows while it is worked through.
    for (std::size_t i = 0; i < _deep.size(); ++i) {
      if (i > 0) _out += ',';
      newLine(2);
      putTree(_deep[i], 2);
    }
    _out += "\n ]";
  }

  void putTree(UInt32 container, std::size_t indent) {
    begin(container, indent);
    while (!_open.empty() && !SceneFileProgress::isInterrupted()) {
      Open& open = _open.back();
      if (open.isInList) {
        continueList(open);
      } else if (open.field < _tables.typeOf(open.container).fields.size()) {
        putField(open);
      } else {
        end();
      }
    }
  }

  void begin(UInt32 container, std::size_t indent) {
    Place& place = _places[container];
    place.isWritten = true;
    _open.push_back({.container = container, .start = _out.size(), .indent = indent});
    _out += '{';
    newLine(indent + 1);
    _out += "\"$type\": ";
    putQuoted(_tables.typeOf(container).name, _out);
    if (!place.needsId) return;
    _out += ',';
    newLine(indent + 1);
    _out += "\"$id\": ";
    putQuoted(idOf(container), _out);
  }

  void end() {
    std::size_t const start = _open.back().start;
    _open.pop_back();
    _out += '}';
    shorten(start);
  }

  /// Puts an object on one line, if that does not get too long.
  void shorten(std::size_t start) {
    std::string line;
    for (std::size_t i = start; i < _out.size(); ++i) {
      if (_out[i] != '\n') {
        line += _out[i];
        continue;
      }
      i = _out.find_first_not_of(' ', i + 1) - 1;
      if (line.back() == ',') line += ' ';
      if (line.size() > LineLength) return;
    }
    if (line.size() <= LineLength) _out.replace(start, std::string::npos, line);
  }

  void putField(Open& open) {
    TextField const& field = _tables.typeOf(open.container).fields[open.field];
    std::string_view const value = _tables.valueOf(open.container, open.field);
    if (isUsual(field, value)) {
      ++open.field;
      return;
    }
    _out += ',';
    newLine(open.indent + 1);
    putQuoted(field.name, _out);
    _out += ": ";
    if (!fits(field, value, _tables.containerCount())) {
      putHex(value, _out);
    } else if (field.isHandle() && field.isMulti) {
      _out += '[';
      open.isInList = true;
      open.remaining = numberAt<UInt32>(value, 0);
      open.place = sizeof(UInt32);
      return;
    } else if (field.isHandle()) {
      ++open.field;
      putHandles(field.layout, value, open.indent + 1);
      return;
    } else if (field.isMulti) {
      putList(open, field.layout, value);
    } else {
      putElement(field.layout, value);
    }
    ++open.field;
  }

  bool isUsual(TextField const& field, std::string_view value) const {
    if (field.isMulti) return value == std::string_view("\0\0\0\0", 4) && !field.layout.empty();
    if (field.layout.size() == 1 && !canHaveDefault(field.layout))
      return value == std::string_view("\0\0\0\0", 4);
    return !field.usual.empty() && value == field.usual && !_saysAll;
  }

  void continueList(Open& open) {
    TextField const& field = _tables.typeOf(open.container).fields[open.field];
    if (open.closesSlot) _out += ']';
    open.closesSlot = false;
    if (open.remaining == 0) {
      _out += ']';
      open.isInList = false;
      ++open.field;
      return;
    }
    std::string_view const value = _tables.valueOf(open.container, open.field);
    std::size_t const size = fixedSize(field.layout);
    std::string_view const element = value.substr(open.place, size);
    if (open.place > sizeof(UInt32)) _out += ',';
    open.place += size;
    --open.remaining;
    newLine(open.indent + 2);
    open.closesSlot = field.layout.size() > 1;
    putHandles(field.layout, element, open.indent + 2);
  }

  /// A handle, with the pieces before it if there are any. May open another object, so nothing of what is open is looked
  /// at afterwards.
  void putHandles(ContentLayout layout, std::string_view bytes, std::size_t indent) {
    std::size_t place = 0;
    if (layout.size() > 1) _out += '[';
    for (ContentPiece const piece : layout.first(layout.size() - 1)) {
      putPiece(piece, bytes.substr(place), _out);
      place += pieceSize(piece);
      _out += ", ";
    }
    putHandle(numberAt<UInt32>(bytes, place), indent);
  }

  void putHandle(UInt32 number, std::size_t indent) {
    if (number == 0) {
      _out += "null";
      return;
    }
    UInt32 const container = number - 1;
    Place& place = _places[container];
    Open const& holder = _open.back();
    bool const isInHolder = isOwnedHere(holder);
    if (isInHolder && !place.isWritten && _open.size() < DeepestNesting) {
      begin(container, indent);
      return;
    }
    if (isInHolder && !place.isWritten) {
      place.isWritten = true;
      place.needsId = true;
      _deep.push_back(container);
    }
    _out += "{\"$ref\": ";
    putQuoted(idOf(container), _out);
    _out += '}';
  }

  /// Whether the field that is being written holds what it names.
  bool isOwnedHere(Open const& open) const {
    auto const& fields = _tables.typeOf(open.container).fields;
    return fields[open.isInList ? open.field : open.field - 1].isOwned;
  }

  // --- Names of objects ---

  std::string const& idOf(UInt32 container) {
    Place& place = _places[container];
    if (!place.id.empty()) return place.id;
    std::string const label = labelOf(container);
    place.id = label;
    for (std::size_t& count = _labels[label]; !_ids.insert(place.id).second;) {
      place.id = label + ' ' + std::to_string(++count + 1);
    }
    return place.id;
  }

  /// The object's own name, or that of its name attachment, or that of its type.
  std::string labelOf(UInt32 container) const {
    std::string_view const own = nameIn(container);
    if (!own.empty()) return std::string(own);
    auto const& fields = _tables.typeOf(container).fields;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (fields[i].name != "attachments") continue;
      std::string_view name;
      visitHandles(fields[i], _tables.valueOf(container, i), [&](UInt32 attachment) {
        if (name.empty() && _tables.typeOf(attachment).name == "Name") name = nameIn(attachment);
      });
      if (!name.empty()) return std::string(name);
    }
    return std::string(_tables.typeOf(container).name);
  }

  std::string_view nameIn(UInt32 container) const {
    constexpr std::size_t LongestLabel = 60;
    auto const& fields = _tables.typeOf(container).fields;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (fields[i].name != "name" || fields[i].content != "string" || fields[i].isMulti) continue;
      std::string_view const text = _tables.valueOf(container, i).substr(sizeof(UInt32));
      return text.size() <= LongestLabel && isUtf8(text) ? text : std::string_view();
    }
    return {};
  }

  // --- Values ---

  /// One value without handles.
  void putElement(ContentLayout layout, std::string_view bytes) {
    if (layout.size() > 1) _out += '[';
    std::size_t place = 0;
    for (std::size_t i = 0; i < layout.size(); ++i) {
      if (i > 0) _out += ", ";
      std::size_t const size = pieceSizeAt(layout[i], bytes, place);
      putPiece(layout[i], bytes.substr(place, size), _out);
      place += size;
    }
    if (layout.size() > 1) _out += ']';
  }

  bool tellProgress(std::string_view value, std::size_t place) const {
    return SceneFileProgress::tell("writing", _tables.offsetOf(value) + place, _tables.size());
  }

  /// Values of one number stand in rows, all others on a line each.
  void putList(Open& open, ContentLayout layout, std::string_view value) {
    std::size_t const count = numberAt<UInt32>(value, 0);
    bool const isInRows = layout.size() == 1 && layout[0] != ContentPiece::Text;
    std::size_t place = sizeof(UInt32);
    _out += '[';
    for (std::size_t i = 0; i < count; ++i) {
      if (i % 1024 == 0 && !tellProgress(value, place)) return;
      if (i > 0) _out += ',';
      if (!isInRows || i % NumbersInARow == 0) {
        newLine(open.indent + 2);
      } else {
        _out += ' ';
      }
      std::size_t size = 0;
      for (ContentPiece const piece : layout) size += pieceSizeAt(piece, value, place + size);
      putElement(layout, value.substr(place, size));
      place += size;
    }
    _out += ']';
  }

  ContentsTables _tables;
  bool _saysAll;
  std::vector<Place> _places;  ///< by container
  std::vector<Open> _open;
  std::vector<UInt32> _deep;
  std::unordered_set<std::string> _ids;
  std::unordered_map<std::string, std::size_t> _labels;
  std::string _out;
};

}  // namespace

std::string putSceneText(SceneContents const& contents, SceneFileProblem& problem) {
  if (!contents.hiddenHandles.empty()) {
    problem.what = "field '" + contents.hiddenHandles + "' holds handles in a form that a text cannot follow";
    return {};
  }
  std::string text = TextWriter(contents.bytes, false).write();
  // A reader would not believe it.
  if (contents.bytes.size() > mostContents(text.size())) text = TextWriter(contents.bytes, true).write();
  return text;
}

}  // namespace knscene
}  // namespace osg
