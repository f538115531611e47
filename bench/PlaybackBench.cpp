// What playing costs beside evaluating: the frame player between frames, the queue idle and with many trees, and the
// blending of cached shapes, each with its yardstick in the same run.
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "knFramePlayer.h"
#include "model/fields/ChangeList.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/scenegraph/Group.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

namespace {

constexpr double Fps = 30.0;
constexpr int TreeCount = 10'000;
constexpr float TreeLength = 1.0e6F;
constexpr std::size_t VertexCount = 1'000'000;

double simulationTime = 0.0;
double readSimulationTime() { return simulationTime; }

void clearChanges() { osg::WinThreadBase::getCurrentChangeList()->clear(); }

// --- Frame player -------------------------------------------------------------------------------------------------

void readClock(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(knAnimManager::getSimulationTime());
}
BENCHMARK(readClock);

/// The process's own clock; a frame takes so long that none begins.
void tickAndApplyWithoutNewFrame(benchmark::State& state) {
  knFramePlayer& player = knFramePlayer::the();
  player.start({.startFrame = 5, .fps = 1.0e-6}, true, nullptr);
  player.tick();
  player.tick();
  for (auto _ : state) {
    player.tick();
    player.apply();
  }
  player.stop(nullptr);
}
BENCHMARK(tickAndApplyWithoutNewFrame);

// --- Queue --------------------------------------------------------------------------------------------------------

void idleLoop(benchmark::State& state) {
  knAnimEvaluator& evaluator = *knAnimEvaluator::the();
  for (auto _ : state) evaluator.loop();
}
BENCHMARK(idleLoop);

osg::AnimNodePtr makeTree() {
  osg::AnimNodePtr const node = osg::AnimNodeBase::create();
  osg::AnimCurvePtr const curve = osg::AnimCurveBase::create();
  curve->setName("translation");
  curve->setChannelName("translation");
  node->setCore(curve);
  for (int key = 0; key < 10; ++key) {
    curve->addPoint({static_cast<float>(key) * TreeLength / 9.F, static_cast<float>(key % 3)}, {}, {},
                    osg::SmoothTangent, osg::SmoothTangent, false, true);
  }
  return node;
}

/// Transforms below the root, each with a tree of one curve.
std::vector<osg::AnimNodePtr> beginScene() {
  knSceneDataManager::beginScene();
  std::vector<osg::AnimNodePtr> trees;
  for (int i = 0; i < TreeCount; ++i) {
    osg::NodePtr const node = osg::Node::create();
    node->setCore(osg::Transform3DBase::create());
    osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
    trees.push_back(makeTree());
    attachment->addAnimation(trees.back());
    node->addAttachment(attachment);
    knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  }
  knAnimManager::the()->setFPS(Fps);
  return trees;
}

void playQueue(benchmark::State& state) {
  knAnimManager::setSimulationTimeCB(readSimulationTime);
  for (osg::AnimNodePtr const& tree : beginScene()) knAnimManager::the()->enqueue(tree, true);
  for (auto _ : state) {
    simulationTime += 1.0 / Fps;
    knAnimEvaluator::the()->loop();
    clearChanges();
  }
  knAnimManager::the()->dequeueAll();
  knAnimManager::setSimulationTimeCB(nullptr);
  knSceneDataManager::endScene();
}
BENCHMARK(playQueue)->Unit(benchmark::kMicrosecond)->UseRealTime();

void evaluateSameCurvesAsScene(benchmark::State& state) {
  beginScene();
  double frame = 0.0;
  for (auto _ : state) {
    knAnimManager::the()->setCurrentFrame(++frame, true, false);
    clearChanges();
  }
  knSceneDataManager::endScene();
}
BENCHMARK(evaluateSameCurvesAsScene)->Unit(benchmark::kMicrosecond)->UseRealTime();

// --- Cached shapes ------------------------------------------------------------------------------------------------

osg::TimeShapeDataPtr makeShape(float time) {
  osg::TimeShapeDataPtr const shape = osg::TimeShapeDataBase::create();
  shape->setTime(time);
  for (std::size_t i = 0; i < VertexCount; ++i) {
    shape->getPositions().push_back({time, static_cast<float>(i), 1.F});
    shape->getNormals().push_back({0.F, time, 1.F});
  }
  return shape;
}

/// A geometry that a cache of two shapes drives, and the six arrays that its evaluation touches.
struct Shapes {
  Shapes() {
    knSceneDataManager::beginScene();
    osg::NodePtr const node = osg::Node::create();
    geometry = osg::GeometryBase::create();
    positions = osg::GeoPositions3f::create();
    normals = osg::GeoNormals3f::create();
    positions->resize(VertexCount);
    normals->resize(VertexCount);
    geometry->setPositions(positions);
    geometry->setNormals(normals);
    node->setCore(geometry);
    cache = osg::TimeShapeCacheBase::create();
    cache->addShape(makeShape(0.F));
    cache->addShape(makeShape(1.F));
    osg::AnimNodePtr const cacheNode = osg::AnimNodeBase::create();
    cacheNode->setCore(cache);
    osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
    attachment->addAnimation(cacheNode);
    node->addAttachment(attachment);
    knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  }
  ~Shapes() { knSceneDataManager::endScene(); }

  osg::GeometryPtr geometry;
  osg::GeoPositions3fPtr positions;
  osg::GeoNormals3fPtr normals;
  osg::TimeShapeCachePtr cache;
};

void reportBandwidth(benchmark::State& state, int streams) {
  state.SetBytesProcessed(state.iterations() * streams * 2 *
                          static_cast<std::int64_t>(VertexCount * 3 * sizeof(float)));
}

class Threads {
 public:
  explicit Threads(benchmark::State const& state)
      : _control(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(state.range(0))) {}

 private:
  tbb::global_control _control;
};

void blendShapes(benchmark::State& state) {
  Threads const threads(state);
  Shapes const shapes;
  float step = 0.F;
  for (auto _ : state) {
    step = step < 0.8F ? step + 0.01F : 0.1F;
    knAnimEvaluator::the()->evaluate(step, true, {});
    clearChanges();
  }
  reportBandwidth(state, 3);
}
BENCHMARK(blendShapes)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void plainBlendOf(float const* a, float const* b, float* out, float part, int threads) {
  auto const run = [=](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) out[i] = part * (b[i] - a[i]) + a[i];
  };
  constexpr std::size_t Count = 3 * VertexCount;
  if (threads == 1) {
    run(0, Count);
  } else {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, Count, Count / 16),
                      [&](tbb::blocked_range<std::size_t> const& range) { run(range.begin(), range.end()); });
  }
}

/// The same arrays, blended by a loop of one line.
void plainBlend(benchmark::State& state) {
  Threads const threads(state);
  Shapes const shapes;
  osg::TimeShapeData& lower = *shapes.cache->getShapes()[0];
  osg::TimeShapeData& upper = *shapes.cache->getShapes()[1];
  float step = 0.F;
  for (auto _ : state) {
    step = step < 0.8F ? step + 0.01F : 0.1F;
    plainBlendOf(&lower.getPositions()[0][0], &upper.getPositions()[0][0],
                 &shapes.positions->getValues()[0][0], step, static_cast<int>(state.range(0)));
    plainBlendOf(&lower.getNormals()[0][0], &upper.getNormals()[0][0], &shapes.normals->getValues()[0][0],
                 step, static_cast<int>(state.range(0)));
    benchmark::ClobberMemory();
  }
  reportBandwidth(state, 3);
}
BENCHMARK(plainBlend)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond)->UseRealTime();

void directHit(benchmark::State& state) {
  Shapes const shapes;
  float time = 0.F;
  for (auto _ : state) {
    time = 1.F - time;
    knAnimEvaluator::the()->evaluate(time, true, {});
    clearChanges();
  }
  reportBandwidth(state, 2);
}
BENCHMARK(directHit)->Unit(benchmark::kMicrosecond)->UseRealTime();

void plainCopy(benchmark::State& state) {
  Shapes const shapes;
  constexpr std::size_t Bytes = 3 * VertexCount * sizeof(float);
  std::size_t i = 0;
  for (auto _ : state) {
    osg::TimeShapeData& shape = *shapes.cache->getShapes()[i = 1 - i];
    std::memcpy(&shapes.positions->getValues()[0][0], &shape.getPositions()[0][0], Bytes);
    std::memcpy(&shapes.normals->getValues()[0][0], &shape.getNormals()[0][0], Bytes);
    benchmark::ClobberMemory();
  }
  reportBandwidth(state, 2);
}
BENCHMARK(plainCopy)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
