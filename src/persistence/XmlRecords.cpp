#include "persistence/XmlRecords.h"

#include <tinyxml.h>

#include <locale>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using Data = knAnimConvertData;

/// The dialect needs three levels and nine attributes.
std::size_t const kMostLevels = 200;
std::size_t const kMostAttributes = 1000;

// --- What the parser can take -------------------------------------------------------------------------------------

/// Whether every character that is given by its number is written in full. The parser looks for the beginning of a
/// number from its end backwards, and otherwise jumps over tags and quotes in between.
bool hasWholeNumbers(std::string_view text) {
  for (std::size_t place = text.find("&#"); place != std::string_view::npos; place = text.find("&#", place)) {
    place += 2;
    bool const isHex = text.substr(place).starts_with('x');
    std::size_t const first = isHex ? place + 1 : place;
    place = text.find_first_not_of(isHex ? "0123456789abcdefABCDEF" : "0123456789", first);
    if (place == std::string_view::npos || place == first || text[place] != ';') return false;
  }
  return true;
}

/// Looks over the tags of a text as the parser will, without building anything.
class TagScan {
 public:
  explicit TagScan(std::string_view text) : _text(text) {}

  /// Whether no element is nested too deep or has too many attributes, and the parser sees the same tags.
  bool isWithinBounds() {
    while (_isWithinBounds && skipText("<")) readTag();
    return _isWithinBounds;
  }

  /// The text that was looked over, with an empty comment for each comment and each processing instruction.
  std::string withoutAsides() const {
    std::string result;
    std::size_t place = 0;
    for (auto const& [start, end] : _asides) {
      result.append(_text, place, start - place).append("<!---->");
      place = end;
    }
    return result.append(_text, place);
  }

 private:
  /// Moves behind the next `end`; false at the end of the text.
  bool skipTo(std::string_view end) {
    std::size_t const found = _text.find(end, _place);
    _place = found == std::string_view::npos ? _text.size() : found + end.size();
    return found != std::string_view::npos;
  }
  /// The same, over text in which characters may be given by their numbers.
  bool skipText(std::string_view end) {
    std::size_t const start = _place;
    bool const found = skipTo(end);
    if (!hasWholeNumbers(_text.substr(start, _place - start))) _isWithinBounds = false;
    return found;
  }
  bool startsWith(std::string_view start) const { return _text.substr(_place).starts_with(start); }

  void readTag() {
    std::size_t const start = _place - 1;
    if (startsWith("!--")) {
      _place += 3;  // "<!-->" opens a comment and does not close it
      if (skipTo("-->")) _asides.emplace_back(start, _place);
    } else if (startsWith("?")) {
      if (skipTo("?>")) _asides.emplace_back(start, _place);
    } else if (startsWith("![CDATA[")) {
      skipTo("]]>");
    } else if (startsWith("/")) {
      skipTo(">");
      if (_level > 0) --_level;
    } else if (isStartOfName()) {
      readOpeningTag();
    } else {
      skipTo(">");
    }
  }

  bool isStartOfName() const {
    auto const c = static_cast<unsigned char>(_place < _text.size() ? _text[_place] : '>');
    return c >= 0x7F || c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  }

  void readOpeningTag() {
    ++_level;
    std::size_t attributes = 0;
    while (_place < _text.size()) {
      char const c = _text[_place++];
      if (c == '"' || c == '\'') {
        skipText({&c, 1});
      } else if (c == '=') {
        ++attributes;
      } else if (c == '>') {
        if (_text[_place - 2] == '/') --_level;
        break;
      }
    }
    if (_level > kMostLevels || attributes > kMostAttributes) _isWithinBounds = false;
  }

  std::string_view _text;
  std::size_t _place = 0;
  std::size_t _level = 0;
  bool _isWithinBounds = true;
  std::vector<std::pair<std::size_t, std::size_t>> _asides;  ///< where each begins and ends
};

bool isUtf8(std::string_view text) {
  std::size_t missing = 0;
  for (char const each : text) {
    auto const c = static_cast<unsigned char>(each);
    if (missing > 0) {
      if (c < 0x80 || c > 0xBF) return false;
      --missing;
    } else if (c >= 0x80) {
      if (c < 0xC2 || c > 0xF4) return false;
      missing = c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
    }
  }
  return missing == 0;
}

std::string latin1ToUtf8(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 8);
  for (char const each : text) {
    auto const c = static_cast<unsigned char>(each);
    if (c < 0x80) {
      result += each;
    } else {
      result += static_cast<char>(0xC0 | (c >> 6));
      result += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return result;
}

/// The text as UTF-8, with an empty comment for its XML declaration. Texts of older releases are in either encoding,
/// whatever their declaration says.
std::string prepare(std::string const& text) {
  std::string prepared = isUtf8(text) ? text : latin1ToUtf8(text);
  std::size_t const byteOrderMark = prepared.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  std::size_t const start = prepared.find_first_not_of(" \t\r\n", byteOrderMark);
  if (start != std::string::npos && prepared.compare(start, 2, "<?") == 0) {
    std::size_t const end = prepared.find("?>", start);
    if (end != std::string::npos) prepared.replace(0, end + 2, "<!---->");
  }
  return prepared;
}

/// Whether the parser can take the text. A zero byte would end it early without a word, and the parser's own reading of
/// what begins with "<?" does not end where it should: the parser is not shown any.
bool makeParsable(std::string& text) {
  TagScan scan(text);
  if (text.find('\0') != std::string::npos || !scan.isWithinBounds()) return false;
  if (text.find("<?") != std::string::npos) text = scan.withoutAsides();
  return text.find("<?") == std::string::npos;
}

// --- Attributes and texts -----------------------------------------------------------------------------------------

/// Reads records from elements. Numbers go through one stream, which is slow to make.
class RecordReader {
 public:
  explicit RecordReader(float framesPerSecond) : _framesPerSecond(framesPerSecond) {
    _numbers.imbue(std::locale::classic());
  }

  /// Nothing for an element of another name, and for one without an id.
  std::optional<Data> read(TiXmlElement const& element) {
    std::string_view const kind = element.Value();
    Data data;
    if (!readAttribute(element, "id", data.id)) return std::nullopt;
    if (kind == "field") {
      readField(element, data);
    } else if (kind == "point") {
      readPoint(element, data);
    } else if (kind == "curve") {
      readCurve(element, data);
    } else if (kind == "block" || kind == "clip") {
      data.type = kind == "block" ? Data::Block : Data::Clip;
      readGroup(element, data);
      data.motionBlur = isSet(element, "motionBlur");
    } else if (kind == "track") {
      data.type = Data::Track;
      readGroup(element, data);
      readAttribute(element, "number", data.number);
    } else {
      return std::nullopt;
    }
    return data;
  }

 private:
  static bool isSet(TiXmlElement const& element, char const* name) {
    char const* const text = element.Attribute(name);
    return text != nullptr && std::string_view(text) == "1";
  }

  static void readName(TiXmlElement const& element, Data& data) {
    char const* const text = element.Attribute("name");
    if (text != nullptr) data.name = text;
  }

  /// False, with `value` as it was, when the attribute is absent.
  template <class Number>
  bool readAttribute(TiXmlElement const& element, char const* name, Number& value) {
    char const* const text = element.Attribute(name);
    if (text == nullptr) return false;
    begin(text) >> value;
    return true;
  }

  std::istream& begin(char const* text) {
    _numbers.clear();
    _numbers.str(text);
    return _numbers;
  }

  void readChildren(TiXmlElement const& element, Data& data) {
    for (auto const* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
      std::uint64_t id = 0;
      if (readAttribute(*child, "id", id)) data.children.push_back(id);
    }
  }

  void readGroup(TiXmlElement const& element, Data& data) {
    readName(element, data);
    data.active = isSet(element, "active");
    data.repeating = isSet(element, "repeating");
    readChildren(element, data);
  }

  void readField(TiXmlElement const& element, Data& data) {
    int type = -1;
    readAttribute(element, "typeID", type);
    data.type = static_cast<std::uint32_t>(type);
    readName(element, data);
    if (data.type != Data::Sequence) return;
    readAttribute(element, "begin", data.begin);
    readAttribute(element, "end", data.end);
    data.active = isSet(element, "active");
    data.repeating = isSet(element, "repeating");
  }

  void readCurve(TiXmlElement const& element, Data& data) {
    data.type = Data::Curve;
    readGroup(element, data);
    if (data.name == "rotationX" || data.name == "rotationY" || data.name == "rotationZ") {
      data.name = "eulerRotation" + data.name.substr(data.name.size() - 1);
    }
    readAttribute(element, "field", data.fieldId);
    // The older release wrote one flag for the other, and scenes rely on what came of it: where there is a
    // "motionBlur", "repeating" is what counts.
    if (element.Attribute("motionBlur") != nullptr) data.motionBlur = isSet(element, "repeating");
  }

  /// A frame and a value, in seconds and as it is.
  osg::Vec2f readPair(TiXmlElement const& element) {
    float frame = 0;
    float value = 0;
    char const* const text = element.GetText();
    if (text != nullptr) begin(text) >> frame >> value;
    return {frame / _framesPerSecond, value};
  }

  /// Tangents stand as handles in the text. They are taken relative to the position as it is known by then, so a
  /// handle that comes before the position is taken relative to the origin.
  void readPoint(TiXmlElement const& element, Data& data) {
    data.type = Data::Point;
    data.tangentType = 2;
    readAttribute(element, "tangentType", data.tangentType);
    for (auto const* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
      std::string_view const name = child->Value();
      if (name == "position") {
        data.position = readPair(*child);
      } else if (name == "inTangent") {
        data.inTangent = readPair(*child) - data.position;
      } else if (name == "outTangent") {
        data.outTangent = readPair(*child) - data.position;
      }
    }
  }

  float _framesPerSecond;
  std::istringstream _numbers;
};

/// The element before this one, comments and texts passed over.
TiXmlElement const* previousElement(TiXmlNode const* node) {
  while (node != nullptr && node->ToElement() == nullptr) node = node->PreviousSibling();
  return node != nullptr ? node->ToElement() : nullptr;
}

}  // namespace

std::optional<XmlRecords> readXmlRecords(std::string const& text, float framesPerSecond) {
  std::string prepared = prepare(text);
  if (!makeParsable(prepared)) return std::nullopt;
  TiXmlDocument document;
  document.Parse(prepared.c_str(), nullptr, TIXML_ENCODING_UTF8);
  if (document.Error()) return std::nullopt;

  XmlRecords result;
  TiXmlElement const* const root = document.RootElement();
  if (root == nullptr) return result;
  result.hasRootElement = true;
  RecordReader reader(framesPerSecond);
  for (auto const* element = root->FirstChildElement(); element != nullptr;
       element = element->NextSiblingElement()) {
    if (auto record = reader.read(*element)) result.records.try_emplace(record->id, *std::move(record));
  }
  for (auto const* element = previousElement(root->LastChild()); element != nullptr;
       element = previousElement(element->PreviousSibling())) {
    if (std::string_view(element->Value()) != "clip") break;
    if (auto record = reader.read(*element)) result.clips.try_emplace(record->id, *std::move(record));
  }
  return result;
}
