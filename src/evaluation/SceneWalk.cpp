#include "evaluation/SceneWalk.h"

#include "knAnimManager.h"
#include "model/geometry/Geometry.h"
#include "model/sceneext/CameraTrack.h"

void findAnimatedNodes(osg::NodePtr const& root, std::vector<osg::NodePtr>& pending,
                       std::vector<AnimatedOwner>& animated) {
  if (!root.isAlive()) return;
  pending.assign(1, root);
  while (!pending.empty()) {
    osg::NodePtr const node = pending.back();
    pending.pop_back();
    osg::FieldContainerType const* const core = node->getCore().findType();
    if (core != nullptr && core->isDerivedFrom(osg::CameraTrackBase::_type)) continue;
    if (osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node)) {
      osg::AnimNodePtr const tree = attachment->getAnimationRoot();
      if (tree.isAlive()) animated.push_back({node, tree});
    }
    auto const* const geometry = osg::dcastTo<osg::Geometry>(node->getCore());
    if (geometry != nullptr && geometry->isComponent()) continue;
    auto const children = node->getAnimatedChildren();
    pending.insert(pending.end(), children.rbegin(), children.rend());
  }
}
