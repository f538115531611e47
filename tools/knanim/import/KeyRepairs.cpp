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
  if (repairs.sorted != 0) add("sorted " + counted(repairs.sorted, "key") + " by time");
  if (repairs.replaced != 0) {
    add("of keys at the same time only the last is kept, " + grouped(repairs.replaced) + " dropped");
  }
  if (repairs.dropped == repairs.given) add("no keys are left, so the channel is not played");
  return result;
}

}  // namespace knanim
