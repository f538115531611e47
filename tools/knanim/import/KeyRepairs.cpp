#include "knanim/import/KeyRepairs.h"

#include "knanim/support/Text.h"

namespace knanim {

std::string describe(Repairs const& repairs) {
  std::string result;
  auto const add = [&result](std::string const& part) { result += (result.empty() ? "" : "; ") + part; };
  if (repairs.dropped != 0) {
    add("dropped " + grouped(repairs.dropped) + " of " + counted(repairs.given, "key") +
        " whose time or value is not a finite number");
  }
  if (repairs.sorted != 0) add("put " + counted(repairs.sorted, "key") + " into the order of time");
  if (repairs.replaced != 0) {
    add("dropped " + counted(repairs.replaced, "key") + " at the time of a later one, the last one stands");
  }
  if (repairs.dropped == repairs.given) add("no key is left, the channel is not played");
  return result;
}

}  // namespace knanim
