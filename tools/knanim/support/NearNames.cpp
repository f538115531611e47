#include "knanim/support/NearNames.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <numeric>

namespace knanim {
namespace {

constexpr std::size_t kMostNames = 5;
/// Shorter texts are held by too many names to tell anything.
constexpr std::size_t kShortestPart = 3;

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return result;
}

/// The edit distance after Wagner and Fischer ("The String-to-String Correction Problem", 1974).
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t const replaced = diagonal + (a[i - 1] == b[j - 1] ? 0U : 1U);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

bool holds(std::string_view text, std::string_view part) {
  return part.size() >= kShortestPart && text.find(part) != std::string_view::npos;
}

}  // namespace

std::vector<std::string> nearNames(std::string_view wanted, std::span<std::string const> names) {
  struct Near {
    std::size_t distance;
    std::string const* name;
  };
  std::string const sought = lower(wanted);
  std::size_t const farthest = std::max<std::size_t>(1, sought.size() / 3);
  std::vector<Near> found;
  for (std::string const& name : names) {
    std::string const candidate = lower(name);
    std::size_t const away = distance(sought, candidate);
    if (away <= farthest || holds(candidate, sought) || holds(sought, candidate))
      found.push_back({away, &name});
  }
  std::stable_sort(found.begin(), found.end(),
                   [](Near const& a, Near const& b) { return a.distance < b.distance; });
  std::vector<std::string> result;
  for (Near const& each : found) {
    if (result.size() == kMostNames) break;
    if (std::find(result.begin(), result.end(), *each.name) == result.end()) result.push_back(*each.name);
  }
  return result;
}

std::string nearClause(std::span<std::string const> names) {
  std::string clause;
  for (std::string const& name : names)
    clause += (clause.empty() ? "; near to it: \"" : ", \"") + printable(name) + '"';
  return clause;
}

}  // namespace knanim
