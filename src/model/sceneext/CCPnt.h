#pragma once

#include "model/fields/FieldDataTraits.h"
#include "model/fields/TwoEndedList.h"

#include <algorithm>
#include <array>

namespace osg {
inline namespace knscene {

/// How a curve leaves or reaches a key. Stored as a plain number; values above 2 come from old files and never
/// change a tangent vector.
enum TangentType : UInt8 {
  StepTangent = 0,    ///< the value holds until the next key
  LinearTangent = 1,  ///< a straight line toward the neighbour
  SmoothTangent = 2,  ///< flat: eases in and out
};

/// A control point of a curve: a key at a time (x, seconds) with a value (y), and two tangents as vectors relative
/// to the key. An in tangent normally points back in time (x < 0), an out tangent forward.
class CCPnt {
 public:
  /// A key at 0 s with value 0 and tangents without length, or as given.
  CCPnt() = default;
  CCPnt(Pnt2f const& point, Vec2f const& intangent, Vec2f const& outtangent, UInt32 inType, UInt32 outType)
      : _x(point.x()),
        _y(point.y()),
        _inX(intangent.x()),
        _inY(intangent.y()),
        _outX(outtangent.x()),
        _outY(outtangent.y()),
        _inType(narrowType(inType)),
        _outType(narrowType(outType)) {}
  CCPnt(CCPnt const&) = default;
  CCPnt& operator=(CCPnt const&) = default;
  virtual ~CCPnt() = default;

  /// Time in seconds and value.
  Real32 x() const { return _x; }
  Real32 y() const { return _y; }
  void setX(Real32 const& x) { _x = x; }
  void setY(Real32 const& y) { _y = y; }
  Pnt2f point() const { return {_x, _y}; }

  /// The tangents, relative to the key.
  Real32 inX() const { return _inX; }
  Real32 inY() const { return _inY; }
  Real32 outX() const { return _outX; }
  Real32 outY() const { return _outY; }
  Vec2f intangent() const { return {_inX, _inY}; }
  Vec2f outtangent() const { return {_outX, _outY}; }
  /// A tangent that is set by hand no longer follows its neighbours, unless `follows` is true.
  void setInX(Real32 const& x) { setIntangent({x, _inY}); }
  void setInY(Real32 const& y) { setIntangent({_inX, y}); }
  void setOutX(Real32 const& x) { setOuttangent({x, _outY}); }
  void setOutY(Real32 const& y) { setOuttangent({_outX, y}); }
  void setIntangent(Vec2f const& vector, bool follows = false) {
    _inX = vector.x();
    _inY = vector.y();
    _inFollows = follows;
  }
  void setOuttangent(Vec2f const& vector, bool follows = false) {
    _outX = vector.x();
    _outY = vector.y();
    _outFollows = follows;
  }

  /// The types of the tangents, see TangentType; above 255 counts as 255.
  UInt32 inType() const { return _inType; }
  UInt32 outType() const { return _outType; }
  void setInType(UInt32 type) { _inType = narrowType(type); }
  void setOutType(UInt32 type) { _outType = narrowType(type); }

  /// Whether the curve computed the tangent from its type, and computes it again when a key is added beside it.
  bool inFollows() const { return _inFollows; }
  bool outFollows() const { return _outFollows; }

 private:
  static UInt8 narrowType(UInt32 type) { return static_cast<UInt8>(type < 255 ? type : 255); }

  Real32 _x = 0;
  Real32 _y = 0;
  Real32 _inX = 0;
  Real32 _inY = 0;
  Real32 _outX = 0;
  Real32 _outY = 0;
  UInt8 _inType = 0;
  UInt8 _outType = 0;
  bool _inFollows = false;
  bool _outFollows = false;
};

/// Keys are also put in before the first one, one by one.
template <>
struct ListOf<CCPnt> {
  using Type = TwoEndedList<CCPnt>;
};

template <>
struct FieldDataTraits<CCPnt> {
  static constexpr std::size_t MinBytes = 6 * sizeof(Real32) + 4;
  static std::string typeName() { return "CCPnt"; }
  static void putToString(CCPnt const& key, std::string& text) {
    Real32 const numbers[] = {key.x(), key.y(), key.inX(), key.inY(), key.outX(), key.outY()};
    detail::putNumbers(numbers, text);
    text += ' ' + std::to_string(key.inType()) + ' ' + std::to_string(key.outType());
  }
  static void write(FieldWriter& writer, CCPnt const& key) { writeAll(writer, {&key, 1}); }
  static void read(FieldReader& reader, CCPnt& key) { readAll(reader, {&key, 1}); }
  static void writeAll(FieldWriter& writer, std::span<CCPnt const> keys) {
    std::array<char, BlockSize * MinBytes> block;
    while (!keys.empty()) {
      std::size_t const count = std::min(keys.size(), BlockSize);
      for (std::size_t i = 0; i < count; ++i) put(keys[i], block.data() + i * MinBytes);
      writer.putBytes(block.data(), count * MinBytes);
      keys = keys.subspan(count);
    }
  }
  static void readAll(FieldReader& reader, std::span<CCPnt> keys) {
    std::array<char, BlockSize * MinBytes> block;
    while (!keys.empty()) {
      std::size_t const count = std::min(keys.size(), BlockSize);
      reader.getBytes(block.data(), count * MinBytes);
      for (std::size_t i = 0; i < count; ++i) get(keys[i], block.data() + i * MinBytes);
      keys = keys.subspan(count);
    }
  }
  static bool isEqual(CCPnt const& a, CCPnt const& b) {
    return FieldDataTraits<Pnt2f>::isEqual(a.point(), b.point()) &&
           FieldDataTraits<Vec2f>::isEqual(a.intangent(), b.intangent()) &&
           FieldDataTraits<Vec2f>::isEqual(a.outtangent(), b.outtangent()) && a.inType() == b.inType() &&
           a.outType() == b.outType() && a.inFollows() == b.inFollows() && a.outFollows() == b.outFollows();
  }

 private:
  static constexpr std::size_t BlockSize = 128;  ///< keys that are packed at a time

  static void put(CCPnt const& key, char* bytes) {
    Real32 const numbers[] = {key.x(), key.y(), key.inX(), key.inY(), key.outX(), key.outY()};
    UInt8 const rest[] = {static_cast<UInt8>(key.inType()), static_cast<UInt8>(key.outType()),
                          static_cast<UInt8>(key.inFollows()), static_cast<UInt8>(key.outFollows())};
    std::memcpy(bytes, numbers, sizeof(numbers));
    std::memcpy(bytes + sizeof(numbers), rest, sizeof(rest));
  }
  static void get(CCPnt& key, char const* bytes) {
    Real32 n[6];
    UInt8 rest[4];
    std::memcpy(n, bytes, sizeof(n));
    std::memcpy(rest, bytes + sizeof(n), sizeof(rest));
    key = CCPnt({n[0], n[1]}, {}, {}, rest[0], rest[1]);
    key.setIntangent({n[2], n[3]}, rest[2] != 0);
    key.setOuttangent({n[4], n[5]}, rest[3] != 0);
  }
};

}  // namespace knscene
}  // namespace osg
