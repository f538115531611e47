#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <string>
#include <string_view>
#include <vector>

namespace knanim {

/// Builds a report as JSON, value by value. Within an object each value has a name. Numbers that are not finite become
/// null, as JSON has none; texts become valid UTF-8.
class JsonText {
 public:
  JsonText() { _writer.SetIndent(' ', 1); }

  /// Between these come the values of one object, or of one list.
  JsonText& beginObject() { return _writer.StartObject(), *this; }
  JsonText& endObject() { return _writer.EndObject(), *this; }
  JsonText& beginList() { return _writer.StartArray(), *this; }
  JsonText& endList() { return _writer.EndArray(), *this; }

  JsonText& name(char const* name) { return _writer.Key(name), *this; }
  JsonText& add(std::string_view text);
  JsonText& add(double number);
  JsonText& add(float number);
  JsonText& add(bool flag) { return _writer.Bool(flag), *this; }
  template <std::integral Number>
  JsonText& add(Number number) {
    if constexpr (std::is_signed_v<Number>)
      _writer.Int64(number);
    else
      _writer.Uint64(number);
    return *this;
  }
  JsonText& add(char const* text) { return add(std::string_view(text)); }
  /// Null where there is none.
  template <typename Value>
  JsonText& add(std::optional<Value> const& value) {
    return value ? add(*value) : (_writer.Null(), *this);
  }

  /// A value of an object with its name.
  template <typename Value>
  JsonText& add(char const* name, Value const& value) {
    return this->name(name).add(value);
  }
  JsonText& add(char const* name, std::vector<std::string> const& texts);

  /// What was built, on lines of its own.
  void print(std::FILE* output) const { std::fprintf(output, "%s\n", _buffer.GetString()); }

 private:
  JsonText& addNumber(std::string const& digits, bool isFinite);

  rapidjson::StringBuffer _buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> _writer{_buffer};
};

}  // namespace knanim
