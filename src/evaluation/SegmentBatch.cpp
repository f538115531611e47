#include "evaluation/SegmentBatch.h"

#include "evaluation/SegmentTables.h"

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

using namespace segment;

void SegmentBatch::solve() {
  solveAll();
  for (std::size_t i = 0; i < _count; ++i) *_results[i] = _values[i] + _offsets[i];
  _count = 0;
}

void SegmentBatch::solveOne(std::size_t i) {
  SegmentKeys const keys{_keys[0][i], _keys[1][i], _keys[2][i], _keys[3][i],
                         _keys[4][i], _keys[5][i], _keys[6][i], _keys[7][i]};
  static_cast<void>(solveSegment(keys, _times[i], _values[i]));
}

#if defined(__x86_64__)

namespace {

// Each step is that of the solver of one segment, in the same order; lanes that it would treat with more care are left
// to it.
#define KN_WIDE [[gnu::target("avx2"), gnu::always_inline]] inline

using Lanes = __m256d;
using Bits = __m256i;

struct WideCubic {
  Lanes a, b, c, u;
};
struct WideDepressed {
  Lanes p, q, discriminant, shift;
};

KN_WIDE Lanes all(double value) { return _mm256_set1_pd(value); }
KN_WIDE Bits allBits(std::int64_t value) { return _mm256_set1_epi64x(value); }
KN_WIDE Lanes magnitude(Lanes value) { return _mm256_andnot_pd(all(-0.0), value); }
KN_WIDE Lanes minus(Lanes value) { return _mm256_xor_pd(all(-0.0), value); }
KN_WIDE Lanes choose(Lanes mask, Lanes yes, Lanes no) { return _mm256_blendv_pd(no, yes, mask); }
KN_WIDE Lanes less(Lanes a, Lanes b) { return _mm256_cmp_pd(a, b, _CMP_LT_OQ); }
KN_WIDE Lanes atMost(Lanes a, Lanes b) { return _mm256_cmp_pd(a, b, _CMP_LE_OQ); }
KN_WIDE Lanes widen(float const* row) { return _mm256_cvtps_pd(_mm_loadu_ps(row)); }
/// Sums of floats, as the keys store them.
KN_WIDE Lanes widenSum(float const* a, float const* b) {
  return _mm256_cvtps_pd(_mm_add_ps(_mm_loadu_ps(a), _mm_loadu_ps(b)));
}

KN_WIDE WideCubic makeCubic(Lanes a1, Lanes a2, Lanes time) {
  Lanes const d = a2 - a1;
  Lanes const e = d - a1;
  return {((all(1.0) - a2) - d) - e, all(3.0) * e, all(3.0) * a1, time};
}

KN_WIDE WideDepressed depress(WideCubic const& k) {
  Lanes const inverse = all(1.0) / k.a;
  Lanes const b = k.b * inverse;
  Lanes const c = k.c * inverse;
  Lanes const b3 = b * all(1.0 / 3.0);
  Lanes const p = c - b * b3;
  Lanes const q = b3 * (all(2.0) * b3 * b3 - c) - k.u * inverse;
  Lanes const p3 = p * all(1.0 / 3.0);
  Lanes const q2 = q * all(0.5);
  return {p, q, p3 * p3 * p3 + q2 * q2, b3};
}

KN_WIDE Lanes isWellConditioned(WideCubic const& k, WideDepressed const& cubic) {
  Lanes const p = magnitude(cubic.p);
  Lanes const scale = all(1.0) + p * p * p + cubic.q * cubic.q;
  Lanes const isFar = less(all(SmallDiscriminant) * scale, magnitude(cubic.discriminant));
  Lanes const isFinite = atMost(cubic.discriminant, all(1.7976931348623157e308));
  return _mm256_and_pd(_mm256_and_pd(less(all(SmallCubicTerm), magnitude(k.a)), isFar), isFinite);
}

KN_WIDE Lanes inverseCubeRoot(Lanes r) {
  Bits const bits = _mm256_castpd_si256(r);
  Bits const exponent = _mm256_srli_epi64(bits, 52);
  // A third, rounded down: exact for every exponent.
  Bits const third = _mm256_srli_epi64(_mm256_mul_epu32(exponent, allBits(21846)), 16);
  Bits const rest = _mm256_sub_epi64(exponent, _mm256_add_epi64(third, _mm256_add_epi64(third, third)));
  Lanes const power =
      _mm256_castsi256_pd(_mm256_slli_epi64(_mm256_sub_epi64(allBits(1023 + 1023 / 3), third), 52));
  Lanes const isOne = _mm256_castsi256_pd(_mm256_cmpeq_epi64(rest, allBits(1)));
  Lanes const isTwo = _mm256_castsi256_pd(_mm256_cmpeq_epi64(rest, allBits(2)));
  Lanes const remainder =
      choose(isTwo, all(Remainder[2]), choose(isOne, all(Remainder[1]), all(Remainder[0])));
  Bits const mantissa =
      _mm256_or_si256(_mm256_and_si256(bits, allBits(0x000fffffffffffffLL)), allBits(0x3ff0000000000000LL));
  Lanes const m = _mm256_castsi256_pd(mantissa) - all(1.0);
  Lanes const m2 = m * m;
  Lanes const low = all(0.9999940330378083) - all(0.33287421652473353) * m;
  Lanes const middle = all(0.21632126822789668) - all(0.1435409055695497) * m;
  Lanes const high = all(0.07070816088091866) - all(0.016912176456478543) * m;
  Lanes const y = (low + m2 * (middle + m2 * high)) * (power * remainder);
  Lanes const error = all(1.0) - (r * y) * (y * y);
  return y + (y * error) * (all(1.0 / 3.0) + error * all(2.0 / 9.0));
}

KN_WIDE Lanes singleRoot(WideDepressed const& cubic) {
  Lanes const r = magnitude(cubic.q * all(0.5)) + _mm256_sqrt_pd(cubic.discriminant);
  Lanes const y = inverseCubeRoot(r);
  Lanes const size = magnitude(y * (y * r - cubic.p * all(1.0 / 3.0)));
  return _mm256_or_pd(size, _mm256_andnot_pd(cubic.q, all(-0.0))) - cubic.shift;
}

KN_WIDE Lanes fourTerms(Coefficients const& k, std::size_t i, Lanes x, Lanes x2) {
  return (all(k[i]) + all(k[i + 1]) * x) + (all(k[i + 2]) + all(k[i + 3]) * x) * x2;
}

KN_WIDE Lanes polynomial(Coefficients const& k, Lanes x) {
  Lanes const x2 = x * x;
  Lanes const x4 = x2 * x2;
  Lanes const x8 = x4 * x4;
  return ((fourTerms(k, 0, x, x2) + fourTerms(k, 4, x, x2) * x4) +
          (fourTerms(k, 8, x, x2) + fourTerms(k, 12, x, x2) * x4) * x8) +
         fourTerms(k, 16, x, x2) * (x8 * x8);
}

/// The first of three roots in 0..1; not a number where there is none.
KN_WIDE Lanes firstOfThreeRoots(WideDepressed const& cubic) {
  Lanes const p3 = cubic.p / all(3.0);
  Lanes const m = _mm256_sqrt_pd(p3 * p3 * minus(p3));
  Lanes const x = minus(cubic.q) / (all(2.0) * m);
  Lanes const g = all(2.0) * _mm256_sqrt_pd(minus(p3));
  Lanes const size = magnitude(x);
  Lanes const cosine = polynomial(ThirdCosine, size);
  Lanes const sine = polynomial(ThirdSine, size) * _mm256_sqrt_pd((all(1.0) - size) * (all(1.0) + size));
  Lanes const isBackward = less(x, all(0.0));
  Lanes root = all(__builtin_nan(""));
  for (std::size_t i = 3; i-- > 0;) {
    Lanes const turnCosine = choose(isBackward, all(TurnBackward[i].cosine), all(TurnForward[i].cosine));
    Lanes const turnSine = choose(isBackward, all(TurnBackward[i].sine), all(TurnForward[i].sine));
    Lanes const one = (cosine * turnCosine + sine * turnSine) * g - cubic.shift;
    Lanes const isIn = _mm256_and_pd(atMost(one, all(1.0)), atMost(all(0.0), one + all(Tolerance)));
    root = choose(isIn, one, root);
  }
  return root;
}

/// Solves four segments; the answer has a bit for each that is left to be solved alone.
[[gnu::target("avx2")]] int solveWide(float const* const* k, float const* times, float* values) {
  Lanes const start = widen(k[0]);
  Lanes const width = widen(k[4]) - start;
  WideCubic const time = makeCubic((widenSum(k[0], k[2]) - start) / width,
                                   (widenSum(k[4], k[6]) - start) / width, (widen(times) - start) / width);
  WideDepressed const cubic = depress(time);
  Lanes const isKnown =
      _mm256_and_pd(isWellConditioned(time, cubic), _mm256_cmp_pd(width, all(0.0), _CMP_NEQ_OQ));
  Lanes const hasOneRoot = less(all(0.0), cubic.discriminant);
  int const known = _mm256_movemask_pd(isKnown);
  int const single = _mm256_movemask_pd(hasOneRoot) & known;
  Lanes s = all(0.0);
  if (single != 0) s = singleRoot(cubic);
  if (single != known) s = choose(hasOneRoot, s, firstOfThreeRoots(cubic));
  Lanes const y1 = widenSum(k[1], k[3]);
  Lanes const y2 = widenSum(k[5], k[7]);
  Lanes const t = all(1.0) - s;
  Lanes const v = s * s * s * widen(k[5]) + t * all(3.0) * s * s * y2 + t * t * all(3.0) * s * y1 +
                  t * t * t * widen(k[1]);
  Lanes const rounded = _mm256_and_pd(atMost(all(Tolerance), magnitude(v)), v);
  // A root that is no number was not found.
  int const solved = known & _mm256_movemask_pd(_mm256_cmp_pd(s, s, _CMP_ORD_Q));
  float results[4];
  _mm_storeu_ps(results, _mm256_cvtpd_ps(rounded));
  for (int i = 0; i < 4; ++i) {
    if ((solved >> i & 1) != 0) values[i] = results[i];
  }
  return ~known & 15;
}

#undef KN_WIDE

bool const isWide = __builtin_cpu_supports("avx2") != 0;

}  // namespace

void SegmentBatch::solveFour(std::size_t first) {
  float const* const rows[] = {&_keys[0][first], &_keys[1][first], &_keys[2][first], &_keys[3][first],
                               &_keys[4][first], &_keys[5][first], &_keys[6][first], &_keys[7][first]};
  int const left = solveWide(rows, &_times[first], &_values[first]);
  for (std::size_t i = 0; i < 4; ++i) {
    if ((left >> i & 1) != 0) solveOne(first + i);
  }
}

void SegmentBatch::solveAll() {
  std::size_t i = 0;
  if (isWide) {
    for (; i + 4 <= _count; i += 4) solveFour(i);
  }
  for (; i < _count; ++i) solveOne(i);
}

#else

void SegmentBatch::solveAll() {
  for (std::size_t i = 0; i < _count; ++i) solveOne(i);
}

#endif
