#include "knAnimManager.h"
#include "knCurveReduction.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>
#include <tbb/global_control.h>

// Reduction of many curves of 1,000 keys, as a capture gives them: joined straight lines along a few waves, with a
// little noise. The arguments are the number of curves and of threads. Each round begins with the full curves again;
// putting them back is not measured.

namespace {

using osg::AnimCurve;
using osg::AnimCurvePtr;

constexpr int KeysPerCurve = 1000;
/// So many different curves; the others are like them.
constexpr std::size_t Patterns = 100;

class Curves {
 public:
  explicit Curves(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      AnimCurvePtr const curve = AnimCurve::create();
      curve.addRef();
      curves.push_back(curve);
    }
    std::mt19937 random(1);
    for (std::size_t i = 0; i < std::min(count, Patterns); ++i) {
      curves[i]->addPoints(drawPattern(random));
      _patterns.push_back(curves[i]->getControlPoints().getValues());
    }
  }
  ~Curves() {
    for (AnimCurvePtr& curve : curves) curve.subRef();
  }
  Curves(Curves const&) = delete;
  Curves& operator=(Curves const&) = delete;

  void restore() {
    for (std::size_t i = 0; i < curves.size(); ++i)
      curves[i]->getControlPoints().getValues() = _patterns[i % _patterns.size()];
  }

  std::vector<AnimCurvePtr> curves;

 private:
  static osg::MField<osg::Pnt2f> drawPattern(std::mt19937& random) {
    std::uniform_real_distribution<float> unit(0.F, 1.F);
    float const bend = 1.F + 3.F * unit(random);
    osg::MField<osg::Pnt2f> points;
    for (int k = 0; k < KeysPerCurve; ++k) {
      float const time = static_cast<float>(k) / 120.F;
      float const wave = std::sin(bend * time) + 0.2F * std::sin(5.F * bend * time);
      points.push_back({time, 30.F * wave + 0.05F * unit(random)});
    }
    return points;
  }

  std::vector<std::vector<osg::CCPnt>> _patterns;
};

template <class Reduce>
void run(benchmark::State& state, Reduce reduce) {
  Curves all(static_cast<std::size_t>(state.range(0)));
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(state.range(1)));
  for (auto _ : state) {
    state.PauseTiming();
    all.restore();
    state.ResumeTiming();
    reduce(all.curves);
  }
  std::size_t left = 0;
  for (AnimCurvePtr const& curve : all.curves) left += curve->getControlPoints().size();
  auto const count = static_cast<double>(all.curves.size());
  state.counters["keys left"] = static_cast<double>(left) / count;
  state.counters["per curve"] =
      benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void douglasPeucker(benchmark::State& state) {
  run(state, [](auto const& curves) { knAnimManager::the()->douglasPeuckerPointReduction(curves); });
}

void fitSegments(benchmark::State& state) {
  run(state, [](auto const& curves) {
    std::vector<knCurveReductionJob> jobs;
    for (AnimCurvePtr const& curve : curves) jobs.push_back({curve, 0.1F, {}});
    benchmark::DoNotOptimize(knCurveReduction::reduce(jobs));
  });
}

#define KN_REDUCTION(name)                  \
  BENCHMARK(name)                           \
      ->ArgNames({"curves", "threads"})     \
      ->ArgsProduct({{100, 10000}, {1, 2}}) \
      ->UseRealTime()                       \
      ->Unit(benchmark::kMillisecond)

KN_REDUCTION(douglasPeucker);
KN_REDUCTION(fitSegments);

}  // namespace
