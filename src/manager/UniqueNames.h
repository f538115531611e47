#pragma once

#include <string>
#include <vector>

/// Names unlike those of all animation nodes. Where the library numbers them itself, each costs the same however many
/// there are. A host's callback is given all names: they are collected once, before the first is made, so that an
/// operation that makes many is linear in the nodes and the names; names that others give meanwhile are not seen then.
/// Main thread.
class UniqueNames {
 public:
  /// `name` as it is, where the host makes no names.
  std::string make(std::string const& name);

 private:
  std::string askHost(std::string const& name);

  std::vector<std::string> _made;
  std::vector<std::string> _names;  ///< all that are there, and those that were made
  std::size_t _namesLeft = 0;
};

/// The callback of a host that has none of its own: the name itself while it is free, else with a number behind it,
/// "Door", "Door_2", "Door_3".
struct NumberedName {
  std::string operator()(std::string const& name, std::vector<std::string>& names) const;
};
