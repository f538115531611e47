#include "knanim/support/NearNames.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <utility>

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

/// How many letters are to be changed, added, left out, or swapped with their neighbour (Damerau, "A technique for
/// computer detection and correction of spelling errors", 1964; each letter takes part in one swap at most).
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  std::vector<std::size_t> above;
  std::vector<std::size_t> twoAbove;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    twoAbove = std::exchange(above, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t const replaced = above[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U);
      row[j] = std::min({replaced, above[j] + 1, row[j - 1] + 1});
      bool const isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isSwapped) row[j] = std::min(row[j], twoAbove[j - 2] + 1);
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

std::vector<std::string> nearFiles(std::string const& path) {
  namespace fs = std::filesystem;
  constexpr std::size_t kMostLookedAt = 2000;
  fs::path const folder = fs::path(path).parent_path();
  std::vector<std::string> names;
  std::error_code error;
  fs::directory_iterator entry(folder.empty() ? fs::path(".") : folder, error);
  for (; !error && entry != fs::directory_iterator() && names.size() < kMostLookedAt;
       entry.increment(error)) {
    std::error_code ignored;
    if (entry->is_regular_file(ignored)) names.push_back(entry->path().filename().string());
  }
  names = nearNames(fs::path(path).filename().string(), names);
  for (std::string& name : names) name = (folder / name).string();
  return names;
}

std::string nearClause(std::span<std::string const> names) {
  std::string clause;
  for (std::size_t i = 0; i < names.size(); ++i) {
    char const* const before = i == 0 ? "; did you mean \"" : i + 1 == names.size() ? " or \"" : ", \"";
    clause += before + printable(names[i]) + '"';
  }
  return clause.empty() ? clause : clause + '?';
}

std::string insteadClause(std::string_view wanted, std::span<std::string const> names) {
  constexpr std::size_t kMostListed = 16;
  std::string clause = nearClause(nearNames(wanted, names));
  if (!clause.empty() || names.empty()) return clause;
  std::vector<std::string> known;
  for (std::string const& name : names) {
    if (std::find(known.begin(), known.end(), name) == known.end()) known.push_back(name);
  }
  std::size_t const shown = std::min(known.size(), kMostListed);
  clause = known.size() == 1 ? "; there is " : "; there are ";
  for (std::size_t i = 0; i < shown; ++i) {
    bool const isLast = i + 1 == known.size() && i > 0;
    clause += (i == 0 ? "\"" : isLast ? " and \"" : ", \"") + printable(known[i]) + '"';
  }
  if (shown < known.size()) clause += " and " + std::to_string(known.size() - shown) + " more";
  return clause;
}

}  // namespace knanim
