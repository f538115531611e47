// What making animations costs: channel curves one by one, and blocks.
#include "knAnimManager.h"
#include "model/fields/ChangeList.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenegraph/Transform3D.h"

#include <benchmark/benchmark.h>

#include <utility>
#include <vector>

namespace {

constexpr int ChannelsOfNode = 9;

osg::NodePtr addTransform() {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(osg::Transform3D::create());
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

/// Times what `prepare` gives back, each time in a new scene.
template <class Prepare>
void measureInNewScene(benchmark::State& state, Prepare prepare) {
  for (auto _ : state) {
    state.PauseTiming();
    knSceneDataManager::beginScene();
    auto const run = prepare();
    state.ResumeTiming();
    run();
    state.PauseTiming();
    osg::WinThreadBase::getCurrentChangeList()->clear();
    knSceneDataManager::endScene();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}

struct Target {
  osg::NodePtr node;
  std::vector<knOSGChannelData> channels;
};

/// Curves for the first nine channels of each transform.
void createChannelCurves(benchmark::State& state) {
  knAnimManager& manager = *knAnimManager::the();
  measureInNewScene(state, [&] {
    std::vector<Target> targets;
    for (int i = 0; i < state.range(0) / ChannelsOfNode; ++i) {
      targets.push_back({addTransform(), {}});
      manager.getKeyableChannels(targets.back().node, targets.back().channels);
      targets.back().channels.resize(ChannelsOfNode);
    }
    return [&manager, targets = std::move(targets)] {
      for (Target const& target : targets) {
        for (knOSGChannelData const& channel : target.channels)
          manager.addAnimation(target.node, manager.createChannelCurveNode(channel, {}));
      }
    };
  });
}

/// All on one node, into one block.
void createOneBlock(benchmark::State& state) {
  knAnimManager& manager = *knAnimManager::the();
  measureInNewScene(state, [&] {
    osg::NodePtr const node = addTransform();
    for (int i = 0; i < state.range(0); ++i) {
      auto const [curveNode, curve] = manager.createCurve("translation", "X");
      curve->addPoint({0, 0}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
      manager.addAnimation(node, curveNode);
    }
    return [&manager, node] { manager.createBlock(knAnimManager::getAnimAttachment(node), "all"); };
  });
}

#define KN_CREATION(name) \
  BENCHMARK(name)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond)->Complexity()
KN_CREATION(createChannelCurves);
KN_CREATION(createOneBlock);

}  // namespace
