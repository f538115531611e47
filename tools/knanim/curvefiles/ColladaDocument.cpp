#include "knanim/curvefiles/ColladaDocument.h"

#include "knanim/import/KeyRepairs.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string_view>
#include <tinyxml.h>

namespace knanim {
namespace {

/// TinyXML calls itself for each level.
constexpr int kDeepest = 2000;

bool isTooDeep(std::string const& text) {
  int depth = 0;
  for (std::size_t at = text.find('<'); at != std::string::npos && at + 1 < text.size();
       at = text.find('<', at + 1)) {
    char const next = text[at + 1];
    if (next == '?' || next == '!') continue;
    if (next == '/') {
      --depth;
      continue;
    }
    std::size_t const end = text.find('>', at);
    bool const closesItself = end != std::string::npos && text[end - 1] == '/';
    if (!closesItself && ++depth > kDeepest) return true;
  }
  return false;
}

std::string attribute(TiXmlElement const& element, char const* name) {
  char const* const value = element.Attribute(name);
  return value != nullptr ? value : "";
}

/// The id that a reference within the file names.
std::string referenceOf(TiXmlElement const& element, char const* name) {
  std::string const value = attribute(element, name);
  return value.starts_with('#') ? value.substr(1) : value;
}

std::string textOf(TiXmlElement const* element) {
  char const* const text = element != nullptr ? element->GetText() : nullptr;
  return text != nullptr ? text : "";
}

std::vector<double> numbersOf(TiXmlElement const* element) {
  std::vector<double> numbers;
  std::string const text = textOf(element);
  char const* at = text.c_str();
  for (char* end = nullptr;; at = end) {
    double const value = std::strtod(at, &end);
    if (end == at) return numbers;
    numbers.push_back(value);
  }
}

/// All elements of a name, parents first.
template <typename Visit>
void visitAll(TiXmlElement const& root, Visit const& visit) {
  std::vector<TiXmlElement const*> pending = {&root};
  while (!pending.empty()) {
    TiXmlElement const* const element = pending.back();
    pending.pop_back();
    visit(*element);
    std::vector<TiXmlElement const*> children;
    for (TiXmlElement const* each = element->FirstChildElement(); each != nullptr;
         each = each->NextSiblingElement())
      children.push_back(each);
    pending.insert(pending.end(), children.rbegin(), children.rend());
  }
}

/// A table of numbers or words, row by row.
template <typename Element>
struct Table {
  std::vector<Element> elements;
  std::size_t width = 1;

  std::size_t rows() const { return elements.size() / width; }
  Element const& at(std::size_t row, std::size_t column) const { return elements[row * width + column]; }
};

/// What an accessor takes out of an array; nothing where it asks for more than there is.
template <typename Element>
std::optional<Table<Element>> cut(TiXmlElement const& source, std::vector<Element> const& all) {
  TiXmlElement const* const technique = source.FirstChildElement("technique_common");
  TiXmlElement const* const accessor =
      technique != nullptr ? technique->FirstChildElement("accessor") : nullptr;
  if (accessor == nullptr) return std::nullopt;
  int count = 0;
  int stride = 1;
  int offset = 0;
  accessor->QueryIntAttribute("count", &count);
  accessor->QueryIntAttribute("stride", &stride);
  accessor->QueryIntAttribute("offset", &offset);
  if (count < 0 || stride < 1 || offset < 0) return std::nullopt;
  std::size_t const begin = static_cast<std::size_t>(offset);
  std::size_t const size = static_cast<std::size_t>(count) * static_cast<std::size_t>(stride);
  if (begin > all.size() || size > all.size() - begin) return std::nullopt;
  auto const first = all.begin() + offset;
  return Table<Element>{{first, first + static_cast<std::ptrdiff_t>(size)}, static_cast<std::size_t>(stride)};
}

using Numbers = Table<double>;

/// The inputs of a sampler.
struct Inputs {
  std::optional<Numbers> times;
  std::optional<Numbers> values;
  std::optional<Numbers> in;
  std::optional<Numbers> out;
  std::vector<std::string> shapes;
};

/// A key of all values of a sampler.
struct Row {
  double time = 0;
  std::size_t index = 0;
};

Outside outsideOf(std::string const& behavior) {
  if (behavior == "GRADIENT") return Outside::Linear;
  if (behavior == "CYCLE") return Outside::Repeat;
  if (behavior == "OSCILLATE") return Outside::Oscillate;
  if (behavior == "CYCLE_RELATIVE") return Outside::OffsetRepeat;
  return Outside::Constant;
}

/// A control point of a key's tangent, relative to the key: for each value a pair, all values behind one time, or no
/// times at all.
std::optional<TimeValue> tangentAt(std::optional<Numbers> const& tangents, Row const& row, double value,
                                   std::size_t column, std::size_t columns, double third) {
  if (!tangents || row.index >= tangents->rows()) return std::nullopt;
  std::size_t const width = tangents->width;
  TimeValue point{row.time + third, 0};
  if (width == 2 * columns) {
    point = {tangents->at(row.index, 2 * column), tangents->at(row.index, 2 * column + 1)};
  } else if (width == columns + 1) {
    point = {tangents->at(row.index, 0), tangents->at(row.index, column + 1)};
  } else if (width == columns) {
    point.value = tangents->at(row.index, column);
  } else {
    return std::nullopt;
  }
  TimeValue const vector{point.time - row.time, point.value - value};
  bool const isUsable = std::abs(vector.time) <= FLT_MAX && std::abs(vector.value) <= FLT_MAX;
  return isUsable ? std::optional(vector) : std::nullopt;
}

class DocumentReader {
 public:
  explicit DocumentReader(std::string const& animation) : _animation(animation) {}

  ColladaDocument read(std::string const& text) {
    if (isTooDeep(text)) return fail("its elements are nested too deeply");
    TiXmlDocument document;
    document.Parse(text.c_str());
    TiXmlElement const* const root = document.RootElement();
    if (document.Error() || root == nullptr) return fail("it is not valid XML");
    visitAll(*root, [this](TiXmlElement const& element) { collect(element); });
    readAnimations(*root);
    std::erase_if(_result.nodes, [](ColladaNode const& node) { return !node.isAnimated(); });
    return std::move(_result);
  }

 private:
  ColladaDocument fail(char const* reason) {
    ColladaDocument result;
    result.failure = reason;
    return result;
  }

  void collect(TiXmlElement const& element) {
    std::string const name = element.Value();
    std::string const id = attribute(element, "id");
    if (name == "source" && !id.empty()) _sources[id] = &element;
    if (name == "sampler" && !id.empty()) _samplers[id] = &element;
    if (name == "node" && !id.empty()) addNode(element, id);
    if (name == "animation_clip" && (id == _animation || attribute(element, "name") == _animation)) {
      for (auto const* each = element.FirstChildElement("instance_animation"); each != nullptr;
           each = each->NextSiblingElement("instance_animation"))
        _ownersOfClip.insert(referenceOf(*each, "url"));
    }
  }

  void addNode(TiXmlElement const& element, std::string const& id) {
    ColladaNode node{id, {}};
    for (auto const* each = element.FirstChildElement(); each != nullptr; each = each->NextSiblingElement()) {
      std::string const name = each->Value();
      ColladaStep step{ColladaStep::Type::Other, attribute(*each, "sid"), numbersOf(each), {}};
      std::size_t size = 0;
      if (name == "translate" || name == "scale") size = 3;
      if (name == "rotate") size = 4;
      if (name == "matrix") size = 16;
      if (size == 0 && name != "lookat" && name != "skew") continue;
      bool const isUsable = std::all_of(step.values.begin(), step.values.end(),
                                        [](double value) { return std::abs(value) <= FLT_MAX; });
      if (size == step.values.size() && isUsable)
        step.type = name == "translate" ? ColladaStep::Type::Translate
                    : name == "scale"   ? ColladaStep::Type::Scale
                    : name == "rotate"  ? ColladaStep::Type::Rotate
                                        : ColladaStep::Type::Matrix;
      node.steps.push_back(std::move(step));
    }
    _places[id] = _result.nodes.size();
    _result.nodes.push_back(std::move(node));
  }

  /// Channels of the animation that is asked for; where none is of that name, all.
  void readAnimations(TiXmlElement const& root) {
    struct Channel {
      TiXmlElement const* element;
      bool isAskedFor;
    };
    std::vector<Channel> channels;
    bool isAnyAskedFor = false;
    visitAll(root, [&](TiXmlElement const& element) {
      if (std::string_view(element.Value()) != "channel") return;
      bool const isAskedFor = isOwned(element);
      isAnyAskedFor = isAnyAskedFor || isAskedFor;
      channels.push_back({&element, isAskedFor});
    });
    for (Channel const& channel : channels) {
      if (channel.isAskedFor || !isAnyAskedFor) readChannel(*channel.element);
    }
  }

  bool isOwned(TiXmlElement const& channel) const {
    for (TiXmlNode const* above = channel.Parent(); above != nullptr; above = above->Parent()) {
      TiXmlElement const* const element = above->ToElement();
      if (element == nullptr) continue;
      std::string const id = attribute(*element, "id");
      if (_ownersOfClip.count(id) != 0) return true;
      bool const isNamed = id == _animation || attribute(*element, "name") == _animation;
      if (_ownersOfClip.empty() && isNamed && !_animation.empty()) return true;
    }
    return false;
  }

  void readChannel(TiXmlElement const& channel) {
    // As "node/location.X", "node/rotate", or "node/matrix(3)(0)".
    std::string const target = attribute(channel, "target");
    std::size_t const slash = target.find('/');
    auto const place = _places.find(target.substr(0, slash));
    if (slash == std::string::npos || place == _places.end()) return;
    std::string path = target.substr(target.rfind('/') + 1);
    std::size_t const end = path.find_first_of(".(");
    std::string const member = end == std::string::npos ? "" : path.substr(end);
    path.resize(std::min(end, path.size()));
    ColladaNode& node = _result.nodes[place->second];
    auto const step = std::find_if(node.steps.begin(), node.steps.end(),
                                   [&](ColladaStep const& each) { return each.sid == path; });
    if (step == node.steps.end()) return;
    if (std::string const trouble = addCurves(channel, *step, member); !trouble.empty())
      _result.warnings.push_back(printable(target) + ": " + trouble);
  }

  std::string addCurves(TiXmlElement const& channel, ColladaStep& step, std::string const& member) {
    std::size_t first = 0;
    std::size_t columns = 1;
    if (member.empty())
      columns = step.values.size();
    else if (member.size() == 2 && std::string_view("XYZ").find(member[1]) != std::string_view::npos)
      first = std::string_view("XYZ").find(member[1]);
    else if (member == ".ANGLE")
      first = 3;
    else
      return "the curve targets part of an array, which is not supported";
    if (first + columns > step.values.size()) return "there is no such element";
    auto const sampler = _samplers.find(referenceOf(channel, "source"));
    if (sampler == _samplers.end()) return "its sampler is missing";
    Inputs const inputs = readInputs(*sampler->second);
    if (!inputs.times || !inputs.values || inputs.values->width != columns || inputs.times->width != 1)
      return "the file's key data is damaged";
    for (std::size_t i = 0; i < columns; ++i) {
      auto const [place, isNew] = step.curves.try_emplace(first + i);
      if (!isNew) return "the file animates it more than once; the first curve is used";
      std::string const trouble = readCurve(inputs, i, place->second);
      if (place->second.keys.empty()) step.curves.erase(place);
      if (!trouble.empty()) return trouble;
      setEnds(*sampler->second, place->second);
    }
    return "";
  }

  Inputs readInputs(TiXmlElement const& sampler) const {
    Inputs inputs;
    for (auto const* each = sampler.FirstChildElement("input"); each != nullptr;
         each = each->NextSiblingElement("input")) {
      auto const source = _sources.find(referenceOf(*each, "source"));
      if (source == _sources.end()) continue;
      std::string const semantic = attribute(*each, "semantic");
      if (semantic == "INTERPOLATION") {
        std::istringstream words(textOf(source->second->FirstChildElement("Name_array")));
        for (std::string word; words >> word;) inputs.shapes.push_back(word);
        continue;
      }
      auto table = cut(*source->second, numbersOf(source->second->FirstChildElement("float_array")));
      if (semantic == "INPUT") inputs.times = std::move(table);
      if (semantic == "OUTPUT") inputs.values = std::move(table);
      if (semantic == "IN_TANGENT") inputs.in = std::move(table);
      if (semantic == "OUT_TANGENT") inputs.out = std::move(table);
    }
    return inputs;
  }

  /// One of the values as a curve. The result tells what is wrong with it.
  static std::string readCurve(Inputs const& inputs, std::size_t column, SourceCurve& curve) {
    std::size_t const columns = inputs.values->width;
    std::size_t const count = std::min(inputs.times->rows(), inputs.values->rows());
    std::vector<Row> rows;
    Repairs repairs;
    repairs.given = inputs.times->rows();
    for (std::size_t i = 0; i < count; ++i) {
      double const time = inputs.times->at(i, 0);
      if (std::abs(time) <= FLT_MAX && std::abs(inputs.values->at(i, column)) <= FLT_MAX)
        rows.push_back({time, i});
    }
    repairs.dropped = repairs.given - rows.size();
    putInOrder(rows, repairs);
    std::string trouble = describe(repairs);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      double const value = inputs.values->at(rows[i].index, column);
      curve.keys.push_back({rows[i].time, value});
      if (i == 0) continue;
      double const third = (rows[i].time - rows[i - 1].time) / 3;
      double const former = curve.keys[i - 1].value;
      std::string const shape =
          rows[i - 1].index < inputs.shapes.size() ? inputs.shapes[rows[i - 1].index] : "LINEAR";
      SourceSpan span;
      if (shape == "STEP") {
        span.shape = SpanShape::Held;
      } else if (shape == "BEZIER" || shape == "HERMITE") {
        bool const isHermite = shape == "HERMITE";
        // Tangents of a Hermite span are vectors, three times as long as to the control points.
        auto const relative = [&](std::optional<Numbers> const& tangents, Row const& row, double at,
                                  double sign) {
          Row const origin{isHermite ? 0 : row.time, row.index};
          auto vector = tangentAt(tangents, origin, isHermite ? 0 : at, column, columns,
                                  isHermite ? 3 * third : sign * third);
          if (vector && isHermite) *vector = {sign * vector->time / 3, sign * vector->value / 3};
          return vector;
        };
        auto const out = relative(inputs.out, rows[i - 1], former, 1);
        auto const in = relative(inputs.in, rows[i], value, -1);
        if (out && in)
          span = {SpanShape::Bezier, *out, *in};
        else
          trouble = "tangents are missing: these spans are straight lines";
      } else if (shape != "LINEAR") {
        trouble = "spans of kind " + printable(shape) + " are straight lines";
      }
      curve.spans.push_back(span);
    }
    return trouble;
  }

  static void setEnds(TiXmlElement const& sampler, SourceCurve& curve) {
    if (curve.keys.size() < 2) return;
    curve.before = outsideOf(attribute(sampler, "pre_behavior"));
    curve.after = outsideOf(attribute(sampler, "post_behavior"));
    constexpr double kNear = 1e-6;
    auto const slope = [&](std::size_t span, double from, double to) {
      double const width = curve.keys[span + 1].time - curve.keys[span].time;
      return (valueInSpan(curve, span, to) - valueInSpan(curve, span, from)) / ((to - from) * width);
    };
    curve.slopeBefore = slope(0, 0, kNear);
    curve.slopeAfter = slope(curve.spans.size() - 1, 1 - kNear, 1);
  }

  std::string const& _animation;
  ColladaDocument _result;
  std::map<std::string, TiXmlElement const*> _sources;
  std::map<std::string, TiXmlElement const*> _samplers;
  std::map<std::string, std::size_t> _places;
  std::set<std::string> _ownersOfClip;
};

}  // namespace

double ColladaStep::valueAt(std::size_t index, double time, double inside) const {
  auto const curve = curves.find(index);
  return curve != curves.end() ? valueBeside(curve->second, time, inside) : values[index];
}

bool ColladaNode::isAnimated() const {
  return std::any_of(steps.begin(), steps.end(),
                     [](ColladaStep const& each) { return !each.curves.empty(); });
}

ColladaDocument readColladaDocument(std::string const& text, std::string const& animation) {
  return DocumentReader(animation).read(text);
}

}  // namespace knanim
