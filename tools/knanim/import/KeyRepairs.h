#pragma once

#include <algorithm>
#include <cfloat>
#include <string>
#include <vector>

namespace knanim {

/// What had to be done to the keys of one channel to make them usable.
struct Repairs {
  std::size_t given = 0;
  std::size_t dropped = 0;
  std::size_t sorted = 0;
  std::size_t replaced = 0;
};

/// One line for the user; empty when nothing had to be done.
std::string describe(Repairs const& repairs);

/// Sorts by time, and leaves only the last of several keys at one time.
template <typename Key>
void putInOrder(std::vector<Key>& keys, Repairs& repairs) {
  double latest = -DBL_MAX;
  for (Key const& key : keys) {
    repairs.sorted += key.time < latest ? 1U : 0U;
    latest = std::max(latest, key.time);
  }
  if (repairs.sorted != 0) {
    std::stable_sort(keys.begin(), keys.end(), [](Key const& a, Key const& b) { return a.time < b.time; });
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    bool const last = i + 1 == keys.size() || keys[i].time < keys[i + 1].time;
    if (last) keys[kept++] = keys[i];
  }
  repairs.replaced = keys.size() - kept;
  keys.resize(kept);
}

}  // namespace knanim
