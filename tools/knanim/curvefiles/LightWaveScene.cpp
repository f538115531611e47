#include "knanim/curvefiles/LightWaveScene.h"

#include "knanim/import/KeyRepairs.h"
#include "knanim/support/Text.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <optional>

namespace knanim {
namespace {

constexpr int kOldestVersion = 3;
constexpr std::size_t kLengthOfId = 8;

/// The words of a line.
class Words {
 public:
  explicit Words(std::string_view line) : _rest(line) {}

  std::string_view next() {
    constexpr std::string_view kSpace = " \t\r";
    std::size_t const begin = _rest.find_first_not_of(kSpace);
    if (begin == std::string_view::npos) return {};
    _rest.remove_prefix(begin);
    std::string_view const word = _rest.substr(0, _rest.find_first_of(kSpace));
    _rest.remove_prefix(word.size());
    return word;
  }
  template <typename Number>
  std::optional<Number> number() {
    std::string_view const word = next();
    Number value{};
    auto const parsed = std::from_chars(word.data(), word.data() + word.size(), value);
    if (parsed.ec != std::errc() || parsed.ptr != word.data() + word.size()) return std::nullopt;
    return value;
  }

 private:
  std::string_view _rest;
};

bool isUsable(double value) { return std::abs(value) <= FLT_MAX; }

bool endsWith(std::string_view word, std::string_view end) {
  return word.size() >= end.size() && word.substr(word.size() - end.size()) == end;
}

class SceneParser {
 public:
  LightWaveScene parse(std::string_view text) {
    while (!text.empty() && _scene.failure.empty()) {
      std::size_t const end = std::min(text.find('\n'), text.size());
      readLine(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (_line < 2 && _scene.failure.empty()) _scene.failure = "it ends before its version";
    if (_envelope != nullptr) _scene.warnings.push_back("the file ends inside an envelope, " + place());
    finishEnvelope();
    return std::move(_scene);
  }

 private:
  void readLine(std::string_view line) {
    Words words(line);
    std::string_view const first = words.next();
    if (first.empty() && _line > 1) return;
    ++_line;
    if (_line == 1 && first != "LWSC") _scene.failure = "it does not begin with LWSC";
    if (_line == 2) checkVersion(first);
    if (_line > 2) readStatement(first, words);
  }

  void checkVersion(std::string_view word) {
    int version = 0;
    std::from_chars(word.data(), word.data() + word.size(), version);
    if (version < kOldestVersion)
      _scene.failure = "version " + printable(word) + " is too old: curves are read from version 3 on";
  }

  void readStatement(std::string_view word, Words& words) {
    if (_envelope != nullptr) return readEnvelope(word, words);
    if (word == "{") {
      bool const isOurs = _depth == 0 && _channel && words.next() == "Envelope";
      isOurs ? beginEnvelope() : void(++_depth);
    } else if (word == "}") {
      _depth -= _depth > 0 ? 1 : 0;
    } else if (_depth == 0) {
      readKeyword(word, words);
    }
  }

  void readKeyword(std::string_view word, Words& words) {
    _channel.reset();
    if (word == "Channel" && _isInMotion) {
      auto const number = words.number<unsigned>();
      if (number && *number < 9) _channel = *number;
      return;
    }
    if (word == "NumChannels") return;
    _isInMotion = endsWith(word, "Motion") && !_scene.items.empty();
    bool const isLayer = word == "LoadObjectLayer";
    if (!isLayer && word != "LoadObject" && !word.starts_with("Add")) return;
    if (isLayer) words.next();
    std::string_view const id = words.next();
    constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
    bool const isId = id.size() == kLengthOfId && id.find_first_not_of(kDigits) == std::string_view::npos;
    std::string const implied = impliedId(word);
    _scene.items.emplace_back().id = isId ? id : implied;
  }

  /// Files before version 4 give none: the first digit tells the sort, the others count.
  std::string impliedId(std::string_view word) {
    std::size_t const sort = word == "AddLight" ? 2 : word == "AddCamera" ? 3 : word == "AddBone" ? 4 : 1;
    std::string const number = std::to_string(_counts[sort]++);
    std::string id = std::to_string(sort);
    id.append(kLengthOfId - 1 - std::min(number.size(), kLengthOfId - 1), '0');
    return id.append(number);
  }

  void beginEnvelope() {
    _envelope = &_scene.items.back().channels[*_channel];
    *_envelope = {};
    _repairs = {};
    _keyCount.reset();
  }

  void readEnvelope(std::string_view word, Words& words) {
    if (word == "Key") {
      readKey(words);
    } else if (word == "Behaviors") {
      _envelope->before = behavior(words.number<int>());
      _envelope->after = behavior(words.number<int>());
    } else if (word == "}") {
      finishEnvelope();
    } else if (!_keyCount) {
      _keyCount = std::string(word);
    }
  }

  void readKey(Words& words) {
    ++_repairs.given;
    auto const value = words.number<double>();
    auto const time = words.number<double>();
    auto const shape = words.number<int>();
    if (!value || !time || !shape || !isUsable(*value) || !isUsable(*time)) return;
    LightWaveKey key{*time, *value, LightWaveShape::Linear, {}};
    if (*shape < 0 || *shape > 5)
      _scene.warnings.push_back("unknown curve shape " + std::to_string(*shape) +
                                ", taken as a straight line: " + place());
    else
      key.shape = static_cast<LightWaveShape>(*shape);
    for (double& parameter : key.parameters) {
      parameter = words.number<double>().value_or(0);
      if (!isUsable(parameter)) return;
    }
    _envelope->keys.push_back(key);
  }

  Outside behavior(std::optional<int> number) {
    constexpr std::array kBehaviors = {Outside::Zero,      Outside::Constant,     Outside::Repeat,
                                       Outside::Oscillate, Outside::OffsetRepeat, Outside::Linear};
    if (number && *number >= 0 && *number < static_cast<int>(kBehaviors.size()))
      return kBehaviors[static_cast<std::size_t>(*number)];
    _scene.warnings.push_back("unknown behavior outside the keys, the end value is held: " + place());
    return Outside::Constant;
  }

  void finishEnvelope() {
    if (_envelope == nullptr) return;
    _repairs.dropped = _repairs.given - _envelope->keys.size();
    putInOrder(_envelope->keys, _repairs);
    std::string const text = describe(_repairs);
    if (!text.empty() && _repairs.given != 0) _scene.warnings.push_back(text + ", " + place());
    int count = 0;
    std::string const word = _keyCount.value_or("");
    std::from_chars(word.data(), word.data() + word.size(), count);
    if (count < 0 || static_cast<std::size_t>(count) != _repairs.given)
      _scene.warnings.push_back("an envelope has " + counted(_repairs.given, "key") + ", not " +
                                (word.empty() ? "a number of them" : printable(word)) + ", " + place());
    _envelope = nullptr;
    _channel.reset();
  }

  std::string place() const {
    return "channel " + std::to_string(_channel.value_or(0)) + " of item " +
           std::to_string(_scene.items.size());
  }

  LightWaveScene _scene;
  std::size_t _line = 0;  ///< with words
  std::size_t _depth = 0;
  bool _isInMotion = false;
  std::array<std::size_t, 5> _counts = {};
  std::optional<unsigned> _channel;
  std::optional<std::string> _keyCount;
  LightWaveEnvelope* _envelope = nullptr;
  Repairs _repairs;
};

/// A slope that a two-dimensional tangent has, as a rise over a width.
double riseOf(double time, double value, double width) {
  constexpr double kLeastTime = 1e-5;
  return std::abs(time) > kLeastTime ? value / time * width : value * width / kLeastTime;
}

/// A key between its neighbours; there may be none on one side.
struct Neighbours {
  LightWaveKey const* before;
  LightWaveKey const& key;
  LightWaveKey const* after;

  double widthBefore() const { return key.time - before->time; }
  double widthAfter() const { return after->time - key.time; }
  /// What part of both spans one of them is.
  double shareOf(double width) const {
    return before != nullptr && after != nullptr ? width / (after->time - before->time) : 1;
  }
  double riseBefore() const { return before != nullptr ? key.value - before->value : 0; }
  double riseAfter() const { return after != nullptr ? after->value - key.value : 0; }
};

/// The rise over the width of the span behind a key that its tangent stands for.
double outgoingRise(Neighbours const& n) {
  auto const& p = n.key.parameters;
  double const share = n.shareOf(n.widthAfter());
  switch (n.key.shape) {
    case LightWaveShape::Tcb:
      return share * ((1 - p[0]) * (1 + p[1]) * (1 + p[2]) * n.riseBefore() +
                      (1 - p[0]) * (1 - p[1]) * (1 - p[2]) * n.riseAfter());
    case LightWaveShape::Linear:
      return share * (n.riseBefore() + n.riseAfter());
    case LightWaveShape::Hermite:
    case LightWaveShape::Bezier:
      return share * p[4];
    case LightWaveShape::Bezier2D:
      return riseOf(p[2], p[3], n.widthAfter());
    case LightWaveShape::Stepped:
      break;
  }
  return 0;
}

/// The same for the span before a key.
double incomingRise(Neighbours const& n) {
  auto const& p = n.key.parameters;
  double const share = n.shareOf(n.widthBefore());
  switch (n.key.shape) {
    case LightWaveShape::Tcb:
      return share * ((1 - p[0]) * (1 - p[1]) * (1 + p[2]) * n.riseBefore() +
                      (1 - p[0]) * (1 + p[1]) * (1 - p[2]) * n.riseAfter());
    case LightWaveShape::Linear:
      return share * (n.riseBefore() + n.riseAfter());
    case LightWaveShape::Hermite:
    case LightWaveShape::Bezier:
      return share * p[3];
    case LightWaveShape::Bezier2D:
      return riseOf(p[0], p[1], n.widthBefore());
    case LightWaveShape::Stepped:
      break;
  }
  return 0;
}

SourceSpan spanBetween(Neighbours const& a, Neighbours const& b) {
  switch (b.key.shape) {
    case LightWaveShape::Linear:
      return {SpanShape::Straight};
    case LightWaveShape::Stepped:
      return {SpanShape::Held};
    case LightWaveShape::Bezier2D:
      break;
    default:
      return hermiteSpan(a.widthAfter(), outgoingRise(a), incomingRise(b));
  }
  auto const& p = a.key.parameters;
  SourceSpan span{SpanShape::Bezier, {p[2], p[3]}, {b.key.parameters[0], b.key.parameters[1]}};
  if (a.key.shape == LightWaveShape::Bezier2D) return span;
  bool const hasTangent = a.key.shape == LightWaveShape::Hermite || a.key.shape == LightWaveShape::Bezier;
  span.out = {a.widthAfter() / 3, (hasTangent ? p[4] : outgoingRise(a)) / 3};
  return span;
}

}  // namespace

LightWaveScene readLightWaveScene(std::string_view text) { return SceneParser().parse(text); }

SourceCurve toSourceCurve(LightWaveEnvelope const& envelope) {
  auto const& keys = envelope.keys;
  auto const at = [&](std::size_t i) {
    return Neighbours{i > 0 ? &keys[i - 1] : nullptr, keys[i], i + 1 < keys.size() ? &keys[i + 1] : nullptr};
  };
  SourceCurve curve;
  curve.before = envelope.before;
  curve.after = envelope.after;
  for (LightWaveKey const& key : keys) curve.keys.push_back({key.time, key.value});
  for (std::size_t i = 0; i + 1 < keys.size(); ++i) curve.spans.push_back(spanBetween(at(i), at(i + 1)));
  if (keys.size() < 2) return curve;
  Neighbours const first = at(0);
  Neighbours const last = at(keys.size() - 1);
  curve.slopeBefore = outgoingRise(first) / first.widthAfter();
  curve.slopeAfter = incomingRise(last) / last.widthBefore();
  return curve;
}

}  // namespace knanim
