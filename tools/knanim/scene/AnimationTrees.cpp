#include "knanim/scene/AnimationTrees.h"

#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"

namespace knanim {

osg::AnimNodePtr makeTree(osg::AnimObjectPtr const& core, std::string const& name) {
  core->setName(name);
  osg::AnimNodePtr const node = shareCore(core);
  osg::NodeUtils::setName(node, name, true);
  return node;
}

osg::AnimNodePtr shareCore(osg::NodeCorePtr const& core) {
  osg::AnimNodePtr const node = osg::AnimNodeBase::create();
  node->setCore(core);
  return node;
}

osg::AnimNodePtr makeClip(std::string const& name, std::span<SceneCurve const> curves,
                          std::vector<SceneCurve>& placed) {
  osg::AnimNodePtr const clip = makeTree(osg::AnimClipBase::create(), name);
  osg::AnimNodePtr block;
  osg::Transform3DPtr target;
  for (SceneCurve const& curve : curves) {
    if (block == nullptr || curve.target != target) {
      block = makeTree(osg::AnimBlockBase::create(), name);
      clip->addChild(block);
      target = curve.target;
    }
    SceneCurve& each = placed.emplace_back(curve);
    each.node = shareCore(curve.curve);
    block->addChild(each.node);
  }
  return clip;
}

TimeSpan spanOf(osg::AnimNodePtr const& tree) {
  float begin = 0;
  float end = 0;
  knAnimManager::the()->getBounds(tree, begin, end);
  return {begin, end};
}

}  // namespace knanim
