// What editing whole trees costs: copying and pasting, moving blocks, verifying a scene and its clips.
#include "knAnimManager.h"
#include "model/fields/ChangeList.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/Transform3D.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

knAnimManager& manager() { return *knAnimManager::the(); }

osg::NodePtr addNode(osg::NodeCorePtr const& core) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

osg::AnimNodePtr newBlock(int curves) {
  osg::AnimNodePtr const block = osg::AnimNode::create();
  block->setCore(osg::AnimBlock::create());
  for (int i = 0; i < curves; ++i) block->addChild(manager().createCurve("translation", "X").first);
  return block;
}

/// Times what `prepare` gives back, each time in a new scene.
template <class Prepare>
void measureInNewScene(benchmark::State& state, Prepare prepare) {
  knAnimManager::setDestroyNodeCB([](osg::NodePtr const& node) { node.subRef(); });
  for (auto _ : state) {
    state.PauseTiming();
    knSceneDataManager::beginScene();
    auto const run = prepare(static_cast<int>(state.range(0)));
    state.ResumeTiming();
    run();
    state.PauseTiming();
    manager().clearCopyBuffer();
    manager().clearClipStructure();
    osg::WinThreadBase::getCurrentChangeList()->clear();
    knSceneDataManager::endScene();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
}

/// One block of so many curves.
void copyAndPasteOneTree(benchmark::State& state) {
  measureInNewScene(state, [](int count) {
    osg::NodePtr const node = addNode(osg::Transform3D::create());
    manager().addAnimation(node, newBlock(count));
    return [node] {
      manager().copyFrom(node);
      manager().pasteTo(node, false, false);
    };
  });
}

/// So many trees of two curves, each on a node of its own, pasted on one. Names are not made.
void copyAndPasteManyTrees(benchmark::State& state) {
  measureInNewScene(state, [](int count) {
    std::vector<osg::AnimNodePtr> trees;
    for (int i = 0; i < count; ++i) {
      trees.push_back(newBlock(2));
      manager().addAnimation(addNode(osg::Transform3D::create()), trees.back());
    }
    return [node = addNode(osg::Transform3D::create()), trees] {
      manager().cut(trees);
      manager().pasteTo(node, false, false);
    };
  });
}

/// Blocks that go one by one from one node to another.
void moveBlocks(benchmark::State& state) {
  measureInNewScene(state, [](int count) {
    osg::NodePtr const from = addNode(osg::Transform3D::create());
    osg::NodePtr const to = addNode(osg::Transform3D::create());
    to->addAttachment(osg::AnimAttachment::create());
    std::vector<osg::AnimNodePtr> blocks;
    for (int i = 0; i < count; ++i) {
      blocks.push_back(newBlock(2));
      manager().addAnimation(from, blocks.back());
    }
    return [from, to, blocks] {
      for (osg::AnimNodePtr const& block : blocks) manager().moveBlockToNode(block, from, to, false);
    };
  });
}

/// So many blocks, each in a clip and every second one also in the scene, beside ten times as many static nodes.
void verify(benchmark::State& state) {
  measureInNewScene(state, [](int count) {
    osg::AnimNodePtr const clip = osg::AnimNode::create();
    clip->setCore(osg::AnimClip::create());
    manager().addToClipStructure(clip);
    osg::NodePtr node;
    for (int i = 0; i < count; ++i) {
      osg::AnimNodePtr const block = newBlock(1);
      osg::AnimNodePtr const use = newBlock(1);
      if (i % 10 == 0) node = addNode(osg::Transform3D::create());
      manager().addAnimation(node, block);
      if (i % 2 == 0) use->setCore(block->getCore());
      clip->addChild(use);
    }
    for (int i = 0; i < 10 * count; ++i) addNode(osg::Group::create());
    return [] {
      manager().verifyToKeld60R(knSceneDataManager::getSceneData(0)->getRoot());
      manager().verifyClipStructure();
    };
  });
}

#define KN_EDITING(name) \
  BENCHMARK(name)->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond)->Complexity()
KN_EDITING(copyAndPasteOneTree);
KN_EDITING(copyAndPasteManyTrees);
KN_EDITING(moveBlocks);
KN_EDITING(verify);

}  // namespace
