#include "diagnosis/NearNames.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace {

constexpr std::size_t LongestText = 64;

std::string lower(std::string_view text) {
  std::string result(text.substr(0, LongestText));
  std::ranges::transform(result, result.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

/// The least number of letters to change, add or take away (Levenshtein 1966).
std::size_t distance(std::string const& a, std::string const& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      std::size_t const changed = diagonal + (a[i] == b[j] ? 0U : 1U);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

std::size_t commonBeginning(std::string const& a, std::string const& b) {
  return static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
}

/// The first of the names, each without what follows its first point.
std::string firstNames(std::vector<std::string> const& names) {
  constexpr std::size_t MostNames = 8;
  std::vector<std::string> found;
  for (std::string const& name : names) {
    std::string const word = name.substr(0, name.find('.'));
    if (std::ranges::find(found, word) == found.end()) found.push_back(word);
    if (found.size() > MostNames) break;
  }
  std::string result;
  for (std::size_t i = 0; i < std::min(found.size(), MostNames); ++i)
    result += (i > 0 ? ", " : "") + found[i];
  return result + (found.size() > MostNames ? ", ..." : "");
}

}  // namespace

std::string nearNames(std::string_view text, std::vector<std::string> const& names) {
  constexpr std::size_t MostNames = 3;
  constexpr std::size_t LeastBeginning = 4;
  std::string const wanted = lower(text);
  std::vector<std::pair<std::ptrdiff_t, std::string const*>> found;
  for (std::string const& name : names) {
    std::string const candidate = lower(name);
    bool const contains = wanted.size() > 2 && candidate.find(wanted) != std::string::npos;
    std::size_t const common = commonBeginning(wanted, candidate);
    std::size_t const steps = contains ? 1 : distance(wanted, candidate);
    bool const isKnown = std::ranges::any_of(found, [&](auto const& one) { return *one.second == name; });
    bool const isNear = steps <= 1 + wanted.size() / 2 || common >= LeastBeginning;
    auto const order = 2 * static_cast<std::ptrdiff_t>(steps) - static_cast<std::ptrdiff_t>(common);
    if (isNear && !isKnown) found.emplace_back(order, &name);
  }
  std::ranges::stable_sort(found, {}, [](auto const& one) { return one.first; });
  std::string result;
  for (std::size_t i = 0; i < std::min(found.size(), MostNames); ++i)
    result += (i > 0 ? ", " : "") + *found[i].second;
  return result;
}

std::string nearClause(std::string_view text, std::vector<std::string> const& names) {
  std::string const near = nearNames(text, names);
  if (!near.empty()) return "; near names: " + near;
  std::string const first = firstNames(names);
  return first.empty() ? "" : "; it has: " + first;
}
