#pragma once

#include "model/utils/BaseTypes.h"

namespace osg {
inline namespace knscene {

/// A set of fields of one container, 128 bits wide. Field id n of a container stands at bit n, so a container
/// can declare at most 127 fields, those of its ancestors included.
class BitVector {
 public:
  /// The number of bits.
  static constexpr UInt32 Bits = 128;

  constexpr BitVector() = default;
  /// The bits 0 to 63, and 64 to 127.
  constexpr explicit BitVector(UInt64 low, UInt64 high = 0) : _low(low), _high(high) {}

  /// The mask with only bit `index` set; an index of 128 or above gives the empty mask.
  static constexpr BitVector bit(UInt32 index) {
    if (index < 64) return BitVector(UInt64{1} << index);
    return index < Bits ? BitVector(0, UInt64{1} << (index - 64)) : BitVector();
  }
  /// The mask with all bits set.
  static constexpr BitVector all() { return BitVector(~UInt64{0}, ~UInt64{0}); }

  /// Whether no bit is set, any, or this one; and the two halves.
  constexpr bool none() const { return (_low | _high) == 0; }
  constexpr bool any() const { return !none(); }
  constexpr bool test(UInt32 index) const { return (*this & bit(index)).any(); }
  constexpr UInt64 low() const { return _low; }
  constexpr UInt64 high() const { return _high; }

  /// Bit by bit, as with integers.
  friend constexpr BitVector operator|(BitVector a, BitVector b) {
    return BitVector(a._low | b._low, a._high | b._high);
  }
  friend constexpr BitVector operator&(BitVector a, BitVector b) {
    return BitVector(a._low & b._low, a._high & b._high);
  }
  friend constexpr BitVector operator~(BitVector a) { return BitVector(~a._low, ~a._high); }
  constexpr BitVector& operator|=(BitVector other) { return *this = *this | other; }
  constexpr BitVector& operator&=(BitVector other) { return *this = *this & other; }
  friend constexpr bool operator==(BitVector, BitVector) = default;

 private:
  UInt64 _low = 0;
  UInt64 _high = 0;
};

}  // namespace knscene
}  // namespace osg
