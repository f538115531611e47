// What making animations costs: channel curves one by one, and blocks.
#include "knAnimManager.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenegraph/ChangeList.h"
#include "model/scenegraph/Transform3D.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int ChannelsOfNode = 9;

osg::NodePtr addTransform() {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(osg::Transform3D::create());
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

/// Curves for the first nine channels of each transform.
void createChannelCurves(benchmark::State& state) {
  knAnimManager& manager = *knAnimManager::the();
  for (auto _ : state) {
    state.PauseTiming();
    knSceneDataManager::beginScene();
    std::vector<std::pair<osg::NodePtr, std::vector<knOSGChannelData>>> targets;
    for (int i = 0; i < state.range(0) / ChannelsOfNode; ++i) {
      osg::NodePtr const node = addTransform();
      targets.emplace_back(node, std::vector<knOSGChannelData>());
      manager.getKeyableChannels(node, targets.back().second);
    }
    state.ResumeTiming();
    for (auto const& [node, channels] : targets) {
      for (int i = 0; i < ChannelsOfNode; ++i) {
        manager.addAnimation(node, manager.createChannelCurveNode(channels[static_cast<std::size_t>(i)], {}));
      }
    }
    state.PauseTiming();
    osg::WinThreadBase::getCurrentChangeList()->clear();
    knSceneDataManager::endScene();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(createChannelCurves)
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

/// All on one node, into one block.
void createOneBlock(benchmark::State& state) {
  knAnimManager& manager = *knAnimManager::the();
  for (auto _ : state) {
    state.PauseTiming();
    knSceneDataManager::beginScene();
    osg::NodePtr const node = addTransform();
    for (int i = 0; i < state.range(0); ++i) {
      auto const [curveNode, curve] = manager.createCurve("translation", "X");
      curve->addPoint({0, 0}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
      manager.addAnimation(node, curveNode);
    }
    state.ResumeTiming();
    manager.createBlock(knAnimManager::getAnimAttachment(node), "all");
    state.PauseTiming();
    osg::WinThreadBase::getCurrentChangeList()->clear();
    knSceneDataManager::endScene();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(createOneBlock)
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

}  // namespace
