#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace knanim {

/// Hands out names that have not been given before.
class NameBook {
 public:
  std::string makeUnique(std::string const& wanted) {
    std::string const& base = wanted.empty() ? kUnnamed : wanted;
    std::string name = base;
    while (!_given.insert(name).second)
      name = base + '#' + std::to_string(++_last.try_emplace(base, 1).first->second);
    return name;
  }

 private:
  static inline std::string const kUnnamed = "unnamed";
  std::unordered_set<std::string> _given;
  std::unordered_map<std::string, std::size_t> _last;
};

}  // namespace knanim
