#pragma once

#include "model/utils/BaseTypes.h"

#include <vector>

namespace osg {
inline namespace knscene {

/// Which containers of a set hold references to which others. Containers go by number, from 0 in order of
/// adding.
class OwnershipGraph {
 public:
  /// Adds the next container.
  void addContainer() { _firstOwned.push_back(static_cast<UInt32>(_owned.size())); }
  /// The container that was added last holds a reference to `number`, which may be one that is added later.
  void addOwned(UInt32 number) { _owned.push_back(number); }

  /// An order, and whether there is one.
  struct Order {
    /// Container 0 and all that it holds, directly or through others, each after everyone who holds it. Those
    /// in a circle, and what only they hold, are missing.
    std::vector<UInt32> ownersFirst;
    /// Whether some containers hold each other in a circle; `inCircle` is the first of those that are
    /// missing.
    bool hasCircle = false;
    UInt32 inCircle = 0;
  };
  /// Linear in containers and references, for any depth.
  Order order() const;

 private:
  struct Reached {
    std::vector<UInt32> numbers;
    std::vector<UInt32> ownerCounts;  ///< by number; 0 for container 0 and for those not reached
    std::vector<bool> marks;          ///< by number
  };

  UInt32 size() const { return static_cast<UInt32>(_firstOwned.size()); }
  std::size_t endOfOwned(UInt32 number) const {
    return number + 1 < size() ? _firstOwned[number + 1] : _owned.size();
  }
  Reached reach() const;

  std::vector<UInt32> _firstOwned;  ///< by container: where its part of `_owned` begins
  std::vector<UInt32> _owned;
};

}  // namespace knscene
}  // namespace osg
