#include "knanim/editing/NameTables.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace knanim {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string trimmed(std::string const& text) {
  constexpr char const* kSpace = " \t\r";
  std::size_t const begin = text.find_first_not_of(kSpace);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(kSpace) - begin + 1);
}

std::variant<Pairs, Failure> readPairs(std::string const& path) {
  errno = 0;
  std::ifstream stream(path);
  Pairs pairs;
  std::string line;
  for (std::size_t number = 1; std::getline(stream, line); ++number) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') continue;
    std::size_t const sign = line.find('=');
    std::string const before = trimmed(line.substr(0, sign));
    std::string const after = sign == std::string::npos ? "" : trimmed(line.substr(sign + 1));
    if (before.empty() || after.empty())
      return Failure{ExitCode::Usage, printable(path) + ", line " + std::to_string(number) +
                                          ": expected two names with = between them"};
    pairs.emplace_back(before, after);
  }
  if (stream.eof()) return pairs;
  std::string const reason = errno != 0 ? std::strerror(errno) : "it cannot be read";
  return Failure{ExitCode::FileUnreadable, "cannot read " + printable(path) + ": " + reason};
}

/// What the * of a pattern stands for in a name that fits; the empty text for a pattern without one.
std::optional<std::string> match(std::string const& pattern, std::string const& name) {
  std::size_t const star = pattern.find('*');
  if (star == std::string::npos) return pattern == name ? std::optional<std::string>("") : std::nullopt;
  std::size_t const after = pattern.size() - star - 1;
  bool const fits = name.size() >= star + after && name.compare(0, star, pattern, 0, star) == 0 &&
                    name.compare(name.size() - after, after, pattern, star + 1, after) == 0;
  if (!fits) return std::nullopt;
  return name.substr(star, name.size() - star - after);
}

}  // namespace

void NameMap::add(std::string source, std::string target) {
  _rules.emplace_back(std::move(source), std::move(target));
}

std::string NameMap::operator()(std::string const& name) const {
  for (auto const& [source, target] : _rules) {
    auto const rest = match(source, name);
    if (!rest) continue;
    std::size_t const star = target.find('*');
    return star == std::string::npos ? target : target.substr(0, star) + *rest + target.substr(star + 1);
  }
  return name;
}

std::variant<NameMap, Failure> readNameMap(std::string const& path) {
  auto pairs = readPairs(path);
  if (auto* failure = std::get_if<Failure>(&pairs)) return std::move(*failure);
  NameMap map;
  for (auto& [source, target] : std::get<Pairs>(pairs)) map.add(std::move(source), std::move(target));
  return map;
}

std::variant<std::map<std::string, std::string>, Failure> readNameTable(std::string const& path) {
  auto pairs = readPairs(path);
  if (auto* failure = std::get_if<Failure>(&pairs)) return std::move(*failure);
  Pairs const& list = std::get<Pairs>(pairs);
  return std::map<std::string, std::string>(list.begin(), list.end());
}

}  // namespace knanim
