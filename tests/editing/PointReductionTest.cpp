#include "support/SceneStage.h"

namespace kntest::PointReductionTest {

using Points = std::vector<Pnt2f>;

/// The distance with every rounding in its place, which volatile sees to.
template <class Real>
float distance(Pnt2f const& p, Pnt2f const& a, Pnt2f const& b) {
  float const volatile m = (b.y() - a.y()) / (b.x() - a.x());
  float const volatile left = m * p.x();
  float const volatile right = a.x() * m;
  float const volatile n = (left - p.y()) + (a.y() - right);
  Real const volatile square = static_cast<Real>(m) * static_cast<Real>(m);
  Real const volatile norm = std::sqrt(square + 1);
  return std::fabs(static_cast<float>(static_cast<Real>(n) / norm));
}

/// The reduction as its definition has it, one stretch copied after the other.
template <class Real>
Points reduceNaively(Points const& points, float tolerance) {
  std::size_t const last = points.size() - 1;
  float farthest = 0;
  std::size_t index = 0;
  for (std::size_t i = 1; i < last; ++i) {
    float const d = distance<Real>(points[i], points[0], points[last]);
    if (farthest < d) farthest = d, index = i;
  }
  if (farthest <= tolerance) return last == 0 ? Points{points[0]} : Points{points[0], points[last]};
  auto const split = points.begin() + static_cast<std::ptrdiff_t>(index);
  Points out = reduceNaively<Real>({points.begin(), split + 1}, tolerance);
  Points const rest = reduceNaively<Real>({split, points.end()}, tolerance);
  out.pop_back();
  out.insert(out.end(), rest.begin(), rest.end());
  return out;
}

Points reduce(Points const& points, float tolerance, Points out = {}) {
  MField<Pnt2f> in;
  in.getValues() = points;
  MField<Pnt2f> result;
  result.getValues() = std::move(out);
  knAnimManager::the()->douglasPeuckerPointReduction(in, tolerance, result);
  return result.getValues();
}

/// Points on few levels, so that distances tie and lie on the tolerance; some stand at one time.
Points scatter(std::mt19937& random, float grid) {
  Points points;
  float time = 0;
  for (unsigned int i = 0, n = 1 + static_cast<unsigned int>(random() % 60); i < n; ++i) {
    time += static_cast<float>(random() % 4) * 0.125F;
    points.push_back({time, static_cast<float>(random() % 5) * grid});
  }
  return points;
}

class PointReductionTest : public SceneStage {
 protected:
  static AnimCurvePtr curveOf(Points const& points) {
    AnimCurvePtr const curve = newCurve({});
    MField<Pnt2f> field;
    field.getValues() = points;
    curve->addPoints(field);
    return curve;
  }
};

TEST_F(PointReductionTest, BothFormsReduceAsDefinedToTheLastBit) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    float const grid = round % 3 == 0 ? 0.0001F : 0.1F;
    Points points = scatter(random, grid);
    // Also at a distance that occurs, where a point goes, and a step below it, where it stays.
    float tolerance = static_cast<float>(random() % 3) * grid;
    if (points.size() == 3) {
      tolerance = distance<double>(points[1], points[0], points[2]);
      if (round % 2 == 0) tolerance = std::nextafter(tolerance, -1.F);
      if (!(tolerance >= 0)) tolerance = 0;
    }
    EXPECT_EQ(reduce(points, tolerance, {{7, 7}}).size(),
              reduceNaively<double>(points, tolerance).size() + 1);
    ASSERT_EQ(reduce(points, tolerance), reduceNaively<double>(points, tolerance)) << round;
    AnimCurvePtr const curve = curveOf(points);
    Held const held(curve);
    knAnimManager::the()->douglasPeuckerPointReduction({curve});
    ASSERT_EQ(keysOf(curve), reduceNaively<float>(points, 0.0001F)) << round;
  }
}

TEST_F(PointReductionTest, WhatCannotBeReducedIsLeftAlone) {
  Points const zigzag{{0, 0}, {1, 1}, {2, 0}};
  for (float const tolerance : {-1.F, std::nanf("")}) EXPECT_EQ(reduce(zigzag, tolerance), Points{});
  EXPECT_EQ(reduce({}, 1), Points{});
  MField<Pnt2f> own{{0, 0}, {1, 0}, {2, 0}};
  knAnimManager::the()->douglasPeuckerPointReduction(own, 0, own);
  EXPECT_EQ(own.size(), 5U) << "appended to itself";

  // One split per point, and all of them on one side: as deep as it gets.
  Points spiral;
  for (int i = 0; i < 3000; ++i)
    spiral.push_back({static_cast<float>(i), std::exp2(-static_cast<float>(i % 60))});
  EXPECT_EQ(reduce(spiral, 0), reduceNaively<double>(spiral, 0));
}

TEST_F(PointReductionTest, CurvesAreAnnouncedAndLoseTheirTangents) {
  AnimCurvePtr const curve = curveOf({{0, 0}, {1, 1}, {2, 2}, {3, 0}});
  curve->getControlPoints()[0].setOuttangent({0.4F, 5.F});
  AnimCurvePtr const empty = newCurve({});
  AnimCurvePtr const dead = newCurve({});
  Held const held(curve);
  Held const heldEmpty(empty);
  { Held const gone(dead); }
  changes.clear();
  knAnimManager::the()->douglasPeuckerPointReduction({{}, curve, dead, empty, curve});
  EXPECT_EQ(keysOf(curve), (Points{{0, 0}, {2, 2}, {3, 0}}));
  EXPECT_EQ(curve->getControlPoints()[0].outtangent(), Vec2f(0.8F, 0.8F)) << "a straight line";
  EXPECT_EQ(curve->getControlPoints().getValues().capacity(), 3U);
  ASSERT_EQ(changes.getEntries().size(), 2U);
  EXPECT_EQ(changes.getEntries()[0].mask, AnimCurveBase::ControlPointsFieldMask);
  EXPECT_EQ(changes.getEntries()[1].container, FieldContainerPtr(empty));
}

}  // namespace kntest::PointReductionTest
