#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// Names that the host's callback makes unlike those of all animation nodes. The names that are there are looked at
/// once, before the first is made, so that an operation that makes many is linear in the nodes and the names. Names
/// that others give meanwhile are not seen. Main thread.
class UniqueNames {
 public:
  /// `name` as it is, where the host makes no names.
  std::string make(std::string const& name);

 private:
  std::string number(std::string const& name);
  std::string askHost(std::string const& name);

  std::vector<std::string> _made;
  std::vector<std::string> _names;  ///< for the host: all that are there, and those that were made
  std::size_t _namesLeft = 0;
  std::unordered_set<std::string> _taken;  ///< the same, where the library numbers the names itself
  std::unordered_map<std::string, unsigned int> _counters;
};

/// The callback of a host that has none of its own: the name itself while it is free, else with a number behind it,
/// "Door", "Door_2", "Door_3".
struct NumberedName {
  std::string operator()(std::string const& name, std::vector<std::string>& names) const;
};
