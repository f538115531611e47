// What the computation of curve values costs, per record. Yardsticks of the machine stand in the same run: the time
// of an arc cosine and of an empty task, and a lean single-precision Newton loop over the same segments, which is
// the cheapest way to invert a segment's time, without its exactness.
#include "knAnimManager.h"
#include "knCurves.h"
#include "model/fields/Ref.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

namespace {

constexpr unsigned int MostCurves = 10'000;
constexpr float Fps = 30.F;

struct CurveSet {
  std::vector<osg::AnimNodePtr> nodes;
  std::vector<knCurveData> records;
  float length;

  /// Distinct curves with keys at random distances and values, half of them straight, half smooth.
  CurveSet(unsigned int keyCount, unsigned int curveCount) : length(static_cast<float>(keyCount - 1)) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> jitter(-0.3F, 0.3F);
    std::uniform_real_distribution<float> value(-100.F, 100.F);
    for (unsigned int i = 0; i < curveCount; ++i) {
      osg::AnimNodePtr const node = osg::AnimNodeBase::create();
      osg::AnimCurvePtr const curve = osg::AnimCurveBase::create();
      node.addRef();
      node->setCore(curve);
      for (unsigned int key = 0; key < keyCount; ++key) {
        bool const inner = key > 0 && key + 1 < keyCount;
        float const time = static_cast<float>(key) + (inner ? jitter(random) : 0.F);
        osg::UInt32 const type = random() % 2 == 0 ? osg::LinearTangent : osg::SmoothTangent;
        curve->addPoint({time, value(random)}, {}, {}, type, type, false, true);
      }
      nodes.push_back(node);
      records.emplace_back(node, curve);
    }
  }
  ~CurveSet() {
    for (osg::AnimNodePtr const& node : nodes) node.subRef();
  }
  CurveSet(CurveSet const&) = delete;
  CurveSet& operator=(CurveSet const&) = delete;

  void setRandomTimes(unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> time(0.F, length);
    for (knCurveData& record : records) record.time = time(random);
  }
  void setFrame(unsigned int frame) {
    for (knCurveData& record : records) record.time = std::fmod(static_cast<float>(frame) / Fps, length);
  }
};

CurveSet& curves(unsigned int keyCount) {
  static CurveSet few(10, MostCurves);
  static CurveSet more(100, MostCurves);
  static CurveSet many(1000, 2'000);
  return keyCount == 10 ? few : keyCount == 100 ? more : many;
}

void reportPerRecord(benchmark::State& state, std::size_t records = MostCurves) {
  state.counters["per_record"] =
      benchmark::Counter(static_cast<double>(records),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void computeOne(CurveSet& set) {
  knAnimComputeCurveValueTask const task(&set.records, 0.F);
  task(tbb::blocked_range<unsigned int>(0, static_cast<unsigned int>(set.records.size()), 1));
}

void yardstickArcCosine(benchmark::State& state) {
  double x = -1.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::acos(x));
    x = x < 0.99 ? x + 0.013 : -1.0;
  }
}
BENCHMARK(yardstickArcCosine);

void yardstickEmptyTask(benchmark::State& state) {
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    tbb::parallel_for(
        tbb::blocked_range<unsigned int>(0, MostCurves, 1),
        [](auto const& range) { benchmark::DoNotOptimize(&range); }, tbb::simple_partitioner());
  }
  reportPerRecord(state);
}
BENCHMARK(yardstickEmptyTask)->Arg(1)->Arg(2)->UseRealTime();

/// Key search, four Newton steps in floats, and the value: no placement, no modes, no test of the result.
void yardstickNewtonLoop(benchmark::State& state) {
  CurveSet& set = curves(10);
  set.setRandomTimes(1);
  for (auto _ : state) {
    for (knCurveData& record : set.records) {
      auto const& keys = record.curve->getControlPoints();
      std::size_t lo = 0;
      std::size_t hi = keys.size() - 1;
      while (hi - lo > 1) {
        std::size_t const mid = (lo + hi) / 2;
        (keys[mid].x() > record.time ? hi : lo) = mid;
      }
      osg::CCPnt const& a = keys[lo];
      osg::CCPnt const& b = keys[hi];
      float const width = b.x() - a.x();
      float const x1 = a.outX() / width;
      float const x2 = 1.F + b.inX() / width;
      float const u = (record.time - a.x()) / width;
      float s = u;
      for (int step = 0; step < 4; ++step) {
        float const t = 1.F - s;
        float const x = 3.F * t * t * s * x1 + 3.F * t * s * s * x2 + s * s * s;
        float const slope = 3.F * t * t * x1 + 6.F * t * s * (x2 - x1) + 3.F * s * s * (1.F - x2);
        s -= (x - u) / slope;
      }
      float const t = 1.F - s;
      record.value = t * t * t * a.y() + 3.F * t * t * s * (a.y() + a.outY()) +
                     3.F * t * s * s * (b.y() + b.inY()) + s * s * s * b.y();
    }
    benchmark::ClobberMemory();
  }
  reportPerRecord(state);
}
BENCHMARK(yardstickNewtonLoop);

/// Other times in each pass: a host that jumps, as in scrubbing and baking.
void oneRecordRandomTimes(benchmark::State& state) {
  CurveSet& set = curves(static_cast<unsigned int>(state.range(0)));
  unsigned int seed = 1;
  for (auto _ : state) {
    state.PauseTiming();
    set.setRandomTimes(seed++);
    state.ResumeTiming();
    computeOne(set);
  }
  reportPerRecord(state, set.records.size());
}
BENCHMARK(oneRecordRandomTimes)->Arg(10)->Arg(100)->Arg(1000);

/// Ten and a thousand keys, each pass one frame on.
void oneRecordFrameByFrame(benchmark::State& state) {
  CurveSet& set = curves(static_cast<unsigned int>(state.range(0)));
  unsigned int frame = 0;
  for (auto _ : state) {
    state.PauseTiming();
    set.setFrame(frame++);
    state.ResumeTiming();
    computeOne(set);
  }
  reportPerRecord(state, set.records.size());
}
BENCHMARK(oneRecordFrameByFrame)->Arg(10)->Arg(100)->Arg(1000);

void computeCurveValues(benchmark::State& state) {
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(state.range(0)));
  CurveSet& set = curves(10);
  set.setRandomTimes(1);
  for (auto _ : state) knAnimManager::the()->computeCurveValues(set.records, 0.F);
  reportPerRecord(state);
}
BENCHMARK(computeCurveValues)->Arg(1)->Arg(2)->UseRealTime();

/// One curve of a hundred keys at ten thousand ascending times, as a plot asks for them. `lines` joins the keys by lines
/// whatever their tangents; straight tangents are solved like any others.
void seriesOfValues(benchmark::State& state, knTangents tangents, bool isOfLines) {
  constexpr unsigned int KeyCount = 100;
  std::mt19937 random(11);
  std::uniform_real_distribution<float> value(-100.F, 100.F);
  osg::Ref<osg::AnimCurve> const curve = osg::AnimCurve::create();
  for (unsigned int key = 0; key < KeyCount; ++key)
    curve->addPoint({static_cast<float>(key), value(random)}, {}, {}, 0, 0, false, true);
  knCurves::setTangents(curve, tangents);
  curve->setForceLinearInterpolation(isOfLines);
  std::vector<float> times(10'000);
  std::vector<float> values(times.size());
  for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<float>(i) * 0.0099F;
  for (auto _ : state) {
    knCurves::getValues(curve, times, values);
    benchmark::ClobberMemory();
  }
  reportPerRecord(state, times.size());
}
BENCHMARK_CAPTURE(seriesOfValues, smooth, knTangents::Smooth, false);
BENCHMARK_CAPTURE(seriesOfValues, straightTangents, knTangents::Straight, false);
BENCHMARK_CAPTURE(seriesOfValues, lines, knTangents::Straight, true);

}  // namespace
