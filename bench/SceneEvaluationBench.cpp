// What a frame of a scene costs from end to end, and what each stage of it costs per channel. The scene: transforms with
// nine channels of ten keys each, as a host would build it, played frame by frame.
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/fields/ChangeList.h"
#include "model/light/UberLight.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenegraph/Group.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tbb/global_control.h>

/// The stages of an evaluation, one by one.
struct knAnimEvaluatorAccess {
  static std::vector<knCurveData>& records() { return knAnimEvaluator::the()->_curveData; }
  static void empty() { knAnimEvaluator::the()->emptyRecords(); }
  static void write() {
    knAnimEvaluator::the()->_changedFields.clear();
    knAnimEvaluator::the()->setOSGFieldValues(records(), false);
  }
  static void commit() { knAnimEvaluator::the()->commitChangedFields(); }
};

namespace {

constexpr int KeyCount = 10;
constexpr double Fps = 30.0;
constexpr int FrameCount = 30 * (KeyCount - 1);

struct Channel {
  char const* field;
  char const* channel;
};
constexpr Channel Channels[] = {
    {"translation", "translation"}, {"eulerRotation", "rotation"}, {"scale", "scale"}};
constexpr char const* Suffixes[] = {"X", "Y", "Z"};

osg::AnimNodePtr makeCurveNode(Channel const& channel, osg::UInt32 component, std::mt19937& random) {
  std::uniform_real_distribution<float> value(-10.F, 10.F);
  osg::AnimNodePtr const node = osg::AnimNodeBase::create();
  osg::AnimCurvePtr const curve = osg::AnimCurveBase::create();
  curve->setName(channel.field);
  curve->setChannelName(channel.channel);
  curve->setSuffix(Suffixes[component]);
  curve->setValueIndex(component);
  node->setCore(curve);
  for (int key = 0; key < KeyCount; ++key) {
    curve->addPoint({static_cast<float>(key), value(random)}, {}, {}, osg::SmoothTangent, osg::SmoothTangent,
                    false, true);
  }
  return node;
}

osg::NodePtr makeAnimatedTransform(std::mt19937& random) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(osg::Transform3DBase::create());
  osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  for (Channel const& channel : Channels) {
    for (osg::UInt32 component = 0; component < 3; ++component) {
      attachment->addAnimation(makeCurveNode(channel, component, random));
    }
  }
  node->addAttachment(attachment);
  return node;
}

void addStaticNodes(osg::NodePtr const& root, int count, bool deep) {
  osg::NodePtr parent = root;
  for (int i = 0; i < count; ++i) {
    osg::NodePtr const node = osg::Node::create();
    node->setCore(osg::GroupBase::create());
    parent->addChild(node);
    // Deep: groups of ten levels under one another.
    if (deep) parent = i % 10 == 9 ? root : node;
  }
}

/// A scene of so many animated transforms below the root, with static nodes beside them.
void beginScene(int transforms, int staticNodes, bool deep) {
  knSceneDataManager::beginScene();
  std::mt19937 random(11);
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  for (int i = 0; i < transforms; ++i) root->addChild(makeAnimatedTransform(random));
  addStaticNodes(root, staticNodes, deep);
  knAnimManager::the()->setFPS(Fps);
}

void reportPerChannel(benchmark::State& state, double transforms) {
  state.counters["per_channel"] = benchmark::Counter(
      transforms * 9.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void playFrames(benchmark::State& state) {
  knAnimManager& manager = *knAnimManager::the();
  osg::ChangeList& changes = *osg::WinThreadBase::getCurrentChangeList();
  int frame = 0;
  for (auto _ : state) {
    manager.setCurrentFrame(static_cast<double>(frame), true, false);
    changes.clear();
    frame = (frame + 1) % FrameCount;
  }
  reportPerChannel(state, static_cast<double>(state.range(0)));
  knSceneDataManager::endScene();
}

void setCurrentFrame(benchmark::State& state) {
  beginScene(static_cast<int>(state.range(0)), 0, false);
  playFrames(state);
}
BENCHMARK(setCurrentFrame)->Arg(100)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// The same on one thread.
void onOneThread(benchmark::State& state) {
  tbb::global_control const threads(tbb::global_control::max_allowed_parallelism, 1);
  beginScene(static_cast<int>(state.range(0)), 0, false);
  playFrames(state);
}
BENCHMARK(onOneThread)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// A node joins and another one leaves before each frame, so that nothing can be kept from the last.
void editStorm(benchmark::State& state) {
  beginScene(static_cast<int>(state.range(0)), 1, false);
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  osg::ChangeList& changes = *osg::WinThreadBase::getCurrentChangeList();
  int frame = 0;
  for (auto _ : state) {
    root->subChild(root->getChild(root->getNChildren() - 1));
    root->addChild(osg::Node::create());
    knAnimManager::the()->setCurrentFrame(static_cast<double>(frame), true, false);
    changes.clear();
    frame = (frame + 1) % FrameCount;
  }
  reportPerChannel(state, static_cast<double>(state.range(0)));
  knSceneDataManager::endScene();
}
BENCHMARK(editStorm)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// One keyed light before all transforms, which runs host code in each frame: what that makes of the rest.
void behindKeyedLight(benchmark::State& state) {
  beginScene(0, 0, false);
  std::mt19937 random(11);
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  osg::NodePtr const light = osg::Node::create();
  light->setCore(osg::UberLightBase::create());
  osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  attachment->addAnimation(makeCurveNode({"intensity", "intensity"}, 0, random));
  light->addAttachment(attachment);
  root->addChild(light);
  for (int i = 0; i < state.range(0); ++i) root->addChild(makeAnimatedTransform(random));
  playFrames(state);
}
BENCHMARK(behindKeyedLight)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

void besideStaticNodes(benchmark::State& state) {
  beginScene(static_cast<int>(state.range(0)), 1'000'000, state.range(1) != 0);
  playFrames(state);
}
BENCHMARK(besideStaticNodes)
    ->Args({1'000, 0})
    ->Args({1'000, 1})
    ->ArgNames({"", "deep"})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

/// The same frame over and over: nothing changes after the first time.
void unchangedFrame(benchmark::State& state) {
  beginScene(static_cast<int>(state.range(0)), 0, false);
  for (auto _ : state) knAnimManager::the()->setCurrentFrame(7.0, true, false);
  reportPerChannel(state, static_cast<double>(state.range(0)));
  knSceneDataManager::endScene();
}
BENCHMARK(unchangedFrame)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// One block of three curves on so many objects, in no order: in a frame of the scene, and evaluated by itself with its
/// owners looked for anew.
void sharedBlock(benchmark::State& state, bool alone) {
  beginScene(0, 0, false);
  std::mt19937 random(3);
  std::vector<osg::NodeCorePtr> cores;
  for (int i = 0; i < state.range(0); ++i) cores.push_back(osg::Transform3DBase::create());
  std::shuffle(cores.begin(), cores.end(), random);
  osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  for (osg::UInt32 component = 0; component < 3; ++component)
    attachment->addAnimation(makeCurveNode(Channels[0], component, random));
  for (osg::NodeCorePtr const& core : cores) {
    osg::NodePtr const node = osg::Node::create();
    node->setCore(core);
    node->addAttachment(attachment);
    knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  }
  osg::ChangeList& changes = *osg::WinThreadBase::getCurrentChangeList();
  int frame = 0;
  for (auto _ : state) {
    if (alone) {
      osg::AnimNode::_changed = true;
      knAnimManager::the()->evaluateByFrame(attachment->getAnimationRoot(), static_cast<float>(frame), true,
                                            true, false);
    } else {
      knAnimManager::the()->setCurrentFrame(static_cast<double>(frame), true, false);
    }
    changes.clear();
    frame = (frame + 1) % FrameCount;
  }
  knSceneDataManager::endScene();
}
BENCHMARK_CAPTURE(sharedBlock, inTheScene, false)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(32'000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(sharedBlock, byItself, true)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(32'000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

enum Stage { Walk, Gather, Compute, Write, Commit };

/// One stage of a frame is timed, the others run beside it.
void stage(benchmark::State& state, Stage timed) {
  using Access = knAnimEvaluatorAccess;
  beginScene(static_cast<int>(state.range(0)), 0, false);
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  osg::ChangeList& changes = *osg::WinThreadBase::getCurrentChangeList();
  int frame = 0;
  for (auto _ : state) {
    std::chrono::duration<double> elapsed{};
    auto const run = [&](Stage which, auto const& work) {
      auto const begin = std::chrono::steady_clock::now();
      work();
      if (which == timed) elapsed = std::chrono::steady_clock::now() - begin;
    };
    Access::empty();
    run(Walk, [&] {
      if (timed != Walk) return;
      knAnimNodeCollector::Map map;
      knAnimNodeCollector::gatherAnimNodes(root, map);
    });
    run(Gather, [&] { knAnimEvaluator::the()->gatherAnimDataR(root, false, false); });
    for (knCurveData& record : Access::records()) record.time = static_cast<float>(frame / Fps);
    run(Compute, [&] { knAnimManager::the()->computeCurveValues(Access::records(), 0.F); });
    run(Write, [&] { Access::write(); });
    run(Commit, [&] { Access::commit(); });
    changes.clear();
    frame = (frame + 1) % FrameCount;
    state.SetIterationTime(elapsed.count());
  }
  Access::empty();
  reportPerChannel(state, static_cast<double>(state.range(0)));
  knSceneDataManager::endScene();
}
#define KN_STAGE(name)                 \
  BENCHMARK_CAPTURE(stage, name, name) \
      ->Arg(1'000)                     \
      ->Arg(10'000)                    \
      ->Unit(benchmark::kMicrosecond)  \
      ->UseManualTime()
KN_STAGE(Walk);
KN_STAGE(Gather);
KN_STAGE(Compute);
KN_STAGE(Write);
KN_STAGE(Commit);

}  // namespace
