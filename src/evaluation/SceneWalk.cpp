#include "evaluation/SceneWalk.h"

#include "knAnimManager.h"
#include "model/fields/StructureCounter.h"
#include "model/geometry/Geometry.h"
#include "model/sceneext/CameraTrack.h"

#include <utility>

namespace {

void watch(osg::Node const& node) {
  osg::StructureCounter::watch(node);
  if (node.getCore().isAlive()) osg::StructureCounter::watch(*node.getCore());
}

}  // namespace

AnimatedOwner makeAnimatedOwner(osg::FieldContainerPtr const& owner,
                                osg::AnimAttachmentPtr const& attachment) {
  auto const& users = std::as_const(*attachment).getParents();
  return {owner, attachment->getAnimationRoot(), users.size() > 1 && users[0] != owner};
}

void findAnimatedNodes(osg::NodePtr const& root, std::vector<osg::NodePtr>& pending,
                       std::vector<AnimatedOwner>& animated, std::vector<osg::GeometryPtr>* gates) {
  if (!root.isAlive()) return;
  pending.assign(1, root);
  while (!pending.empty()) {
    osg::NodePtr const node = pending.back();
    pending.pop_back();
    if (gates != nullptr) watch(*node);
    osg::FieldContainerType const* const core = node->getCore().findType();
    if (core != nullptr && core->isDerivedFrom(osg::CameraTrackBase::_type)) continue;
    if (osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node)) {
      if (gates != nullptr) osg::StructureCounter::watch(*attachment);
      if (attachment->getAnimationRoot().isAlive()) animated.push_back(makeAnimatedOwner(node, attachment));
    }
    auto const* const geometry = osg::dcastTo<osg::Geometry>(node->getCore());
    auto const children = node->getAnimatedChildren();
    if (geometry != nullptr && !children.empty() && gates != nullptr)
      gates->push_back(osg::dcast<osg::GeometryPtr>(node->getCore()));
    if (geometry != nullptr && geometry->isComponent()) continue;
    pending.insert(pending.end(), children.rbegin(), children.rend());
  }
}
