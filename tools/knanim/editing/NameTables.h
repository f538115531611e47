#pragma once

#include "knanim/support/Failure.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace knanim {

/// Which names of a source go to which names of a target. The first rule that fits decides; what none fits keeps its
/// name.
class NameMap {
 public:
  /// Adds a rule. One * in each text stands for the same characters: "mixamorig:*" to "*".
  void add(std::string source, std::string target);
  std::string operator()(std::string const& name) const;

 private:
  std::vector<std::pair<std::string, std::string>> _rules;
};

/// Both fail with `FileUnreadable`, or with `Usage` and the number of a line that is not "old = new". Empty lines and
/// those that begin with # are passed over, as is white space around the names.
std::variant<NameMap, Failure> readNameMap(std::string const& path);
std::variant<std::map<std::string, std::string>, Failure> readNameTable(std::string const& path);

}  // namespace knanim
