#include "knAnimHelper.h"

#include "knAnimManager.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimClip.h"
#include "model/scenegraph/NodeQueries.h"

using osg::AnimCurvePtr;
using osg::NodePtr;

void knAnimHelper::getAllCurvesByName(osg::AttachmentContainerPtr container, std::string const& channelName,
                                      std::vector<AnimCurvePtr>& out) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(container);
  if (!attachment) return;
  std::vector<NodePtr> pending{attachment->getAnimationRoot()};
  while (!pending.empty()) {
    NodePtr const node = pending.back();
    pending.pop_back();
    if (!node.isAlive()) continue;
    for (NodePtr const& child : node->getChildren()) {
      if (!child.isAlive()) continue;
      if (osg::hasCore<osg::AnimBlock>(child) || osg::hasCore<osg::AnimClip>(child)) {
        pending.push_back(child);
      } else if (AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(child->getCore())) {
        if (curve->getChannelName() == channelName) out.push_back(curve);
      }
    }
  }
}

void knAnimHelper::scaleAndOffsetCurveValues(AnimCurvePtr const& curve, float scale, float offset) {
  if (!curve.isAlive()) return;
  for (osg::CCPnt& key : curve->getControlPoints()) {
    key.setY(key.y() * scale + offset);
    // A tangent that follows its neighbours goes on doing so.
    key.setIntangent({key.inX(), key.inY() * scale}, key.inFollows());
    key.setOuttangent({key.outX(), key.outY() * scale}, key.outFollows());
  }
  osg::announce(curve, osg::AnimCurveBase::ControlPointsFieldMask);
}
