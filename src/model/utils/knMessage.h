#pragma once

#include "model/utils/Export.h"

#include <boost/any.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The payload of a broadcast: values by name, each of any copyable type.
///
/// A message is a plain value without shared state. It is meant for a handful of values: every look-up passes
/// over all of them. An empty message owns no heap memory.
class KNSCENE_API knMessage {
 public:
  /// Stores `value` under `key`. When the message already has that key, `replace` decides: true takes the new
  /// value in the old one's place, false keeps the old one. An empty key is a key like any other.
  ///
  /// The value is stored by its own type, so that a string literal is stored as `char const*`, not as a
  /// string.
  void set(std::string const& key, boost::any const& value, bool replace);

  /// Whether a value is stored under `key`, of whatever type, an empty `boost::any` included.
  bool has(std::string_view key) const { return find(key) != nullptr; }

  /// The value stored under `key`, or null when there is none or when it is of another type than exactly `T`.
  /// Valid until the key is set again or the message ends.
  template <class T>
  T const* get(std::string_view key) const {
    return boost::any_cast<T>(find(key));
  }

  /// The keys in the order of their first setting.
  std::vector<std::string> keys() const;
  /// The number of values.
  std::size_t size() const { return _values.size(); }

 private:
  boost::any const* find(std::string_view key) const;

  std::vector<std::pair<std::string, boost::any>> _values;
};
