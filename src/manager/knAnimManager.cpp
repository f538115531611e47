#include "knAnimManager.h"

knAnimManager& knAnimManager::the() {
  static knAnimManager manager;
  return manager;
}

osg::AnimAttachmentPtr knAnimManager::getAnimAttachment(osg::AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return {};
  return osg::dcast<osg::AnimAttachmentPtr>(
      container->findAttachment(osg::AnimAttachmentBase::_type.getGroupId(), 0));
}
