#include "model/utils/knMessage.h"

void knMessage::set(std::string const& key, boost::any const& value, bool replace) {
  for (auto& [storedKey, storedValue] : _values) {
    if (storedKey != key) continue;
    if (replace) storedValue = value;
    return;
  }
  _values.emplace_back(key, value);
}

std::vector<std::string> knMessage::keys() const {
  std::vector<std::string> result;
  result.reserve(_values.size());
  for (auto const& [key, value] : _values) result.push_back(key);
  return result;
}

boost::any const* knMessage::find(std::string_view key) const {
  for (auto const& [storedKey, storedValue] : _values) {
    if (storedKey == key) return &storedValue;
  }
  return nullptr;
}
