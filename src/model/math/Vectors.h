#pragma once

#include "model/utils/BaseTypes.h"

#include <cmath>
#include <compare>
#include <cstddef>

namespace osg {
inline namespace knscene {

/// What a tuple of numbers stands for. Points, vectors and colours are types of their own, so that a field's
/// content type tells them apart.
enum class TupleKind { Vector, Point, Color };

/// N numbers without padding. A default-constructed tuple is zero. Tuples compare lexicographically, the first
/// component deciding; a tuple with a NaN is not equal to itself.
template <TupleKind Kind, class T, std::size_t N>
class Tuple {
 public:
  /// The type of the components, and how many there are.
  using ValueType = T;
  static constexpr std::size_t Size = N;

  constexpr Tuple() = default;
  /// The components in order; each is converted.
  template <class... Components>
  requires(sizeof...(Components) == N && N > 1) constexpr Tuple(Components... components)
      : _values{static_cast<T>(components)...} {}
  /// The same numbers under another meaning; a conversion that must be asked for.
  template <TupleKind Other>
  requires(Other != Kind) constexpr explicit Tuple(Tuple<Other, T, N> const& other) {
    for (std::size_t i = 0; i < N; ++i) _values[i] = other[i];
  }

  /// The components. The index must be below `Size`.
  constexpr T& operator[](std::size_t i) { return _values[i]; }
  constexpr T const& operator[](std::size_t i) const { return _values[i]; }
  constexpr T* data() { return _values; }
  constexpr T const* data() const { return _values; }
  constexpr T x() const { return _values[0]; }
  constexpr T y() const { return _values[1]; }
  constexpr T z() const requires(N > 2) { return _values[2]; }
  constexpr T w() const requires(N > 3) { return _values[3]; }

  /// Component by component.
  friend constexpr bool operator==(Tuple const&, Tuple const&) = default;
  friend constexpr std::partial_ordering operator<=>(Tuple const& a, Tuple const& b) {
    for (std::size_t i = 0; i < N; ++i) {
      if (a[i] < b[i]) return std::partial_ordering::less;
      if (b[i] < a[i]) return std::partial_ordering::greater;
      if (!(a[i] == b[i])) return std::partial_ordering::unordered;
    }
    return std::partial_ordering::equivalent;
  }

  /// Every component by a factor.
  friend constexpr Tuple operator*(Tuple a, T factor) {
    for (T& value : a._values) value *= factor;
    return a;
  }
  friend constexpr Tuple operator*(T factor, Tuple const& a) { return a * factor; }
  friend constexpr Tuple operator-(Tuple const& a) { return a * T(-1); }

 private:
  T _values[N] = {};
};

/// Tuples by what they stand for; with the letter f, of floats.
template <class T, std::size_t N>
using Vector = Tuple<TupleKind::Vector, T, N>;
template <class T, std::size_t N>
using Point = Tuple<TupleKind::Point, T, N>;
template <class T, std::size_t N>
using Color = Tuple<TupleKind::Color, T, N>;

using Vec2f = Vector<Real32, 2>;
using Vec3f = Vector<Real32, 3>;
using Vec4f = Vector<Real32, 4>;
using Pnt2f = Point<Real32, 2>;
using Pnt3f = Point<Real32, 3>;
using Pnt4f = Point<Real32, 4>;
using Color3f = Color<Real32, 3>;
using Color4f = Color<Real32, 4>;
using Vector2f = Vec2f;
using Vector3f = Vec3f;
using Point2f = Pnt2f;
using Point3f = Pnt3f;

namespace detail {
template <TupleKind Result, TupleKind A, TupleKind B, class T, std::size_t N, class Op>
constexpr Tuple<Result, T, N> zip(Tuple<A, T, N> const& a, Tuple<B, T, N> const& b, Op op) {
  Tuple<Result, T, N> result;
  for (std::size_t i = 0; i < N; ++i) result[i] = op(a[i], b[i]);
  return result;
}
}  // namespace detail

/// Vector + vector and colour + colour keep their kind; point + vector is a point.
template <TupleKind A, TupleKind B, class T, std::size_t N>
requires(B == TupleKind::Vector || (A == B && A != TupleKind::Point)) constexpr Tuple<A, T, N> operator+(
    Tuple<A, T, N> const& a, Tuple<B, T, N> const& b) {
  return detail::zip<A>(a, b, [](T l, T r) { return l + r; });
}
/// Point - point is the vector between them; any other difference keeps the kind of its left side.
template <TupleKind A, TupleKind B, class T, std::size_t N>
requires(B == TupleKind::Vector || A == B) constexpr auto operator-(Tuple<A, T, N> const& a,
                                                                    Tuple<B, T, N> const& b) {
  constexpr TupleKind result = A == TupleKind::Point && B == A ? TupleKind::Vector : A;
  return detail::zip<result>(a, b, [](T l, T r) { return l - r; });
}

/// The scalar product.
template <class T, std::size_t N>
constexpr T dot(Vector<T, N> const& a, Vector<T, N> const& b) {
  T sum = 0;
  for (std::size_t i = 0; i < N; ++i) sum += a[i] * b[i];
  return sum;
}
/// The vector at a right angle to both, by the right-hand rule.
template <class T>
constexpr Vector<T, 3> cross(Vector<T, 3> const& a, Vector<T, 3> const& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
/// The length, 0 for a zero vector.
template <class T, std::size_t N>
T length(Vector<T, N> const& a) {
  return std::sqrt(dot(a, a));
}
/// The unit vector of `a`; a zero vector stays zero.
template <class T, std::size_t N>
Vector<T, N> normalized(Vector<T, N> const& a) {
  T const size = length(a);
  return size > T(0) ? a * (T(1) / size) : a;
}

}  // namespace knscene
}  // namespace osg
