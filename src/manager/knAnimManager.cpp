#include "knAnimManager.h"

#include "model/scenegraph/Group.h"

#include <utility>

double (*knAnimManager::_timeCB)() = nullptr;
void (*knAnimManager::_updateNavCB)(bool) = nullptr;
void (*knAnimManager::_enableSimCB)(bool) = nullptr;
bool (*knAnimManager::_simEnabledCB)() = nullptr;
void (*knAnimManager::_getCEDataCB)(std::vector<knCurveData>&) = nullptr;
std::function<void(osg::NodePtr const&)> knAnimManager::_destroyNodeCB;
std::function<void(osg::NodePtr const&, std::vector<osg::MaterialPtr>&)> knAnimManager::_getAllMaterialsCB;
std::function<std::string(std::string const&, std::vector<std::string>&)> knAnimManager::_getUniqueNameCB;

namespace {

osg::AnimNodePtr makeStructureNode() {
  osg::AnimNodePtr const node = osg::AnimNodeBase::create();
  node->setCore(osg::GroupBase::create());
  announce(node, osg::Node::CoreFieldMask);
  return node;
}

}  // namespace

knAnimManager* knAnimManager::the() {
  static knAnimManager manager;
  return &manager;
}

knAnimManager::knAnimManager() : _structureAttachment(osg::AnimAttachmentBase::create()) {
  appendKeyableNames(_keyableAttributes);
  _structureAttachment.addRef();
  osg::AnimNodePtr const root = _structureAttachment->getAnimationRoot();
  // The root knows its attachment from here on: in the making of the attachment it could not.
  _structureAttachment->setAnimationRoot(root);
  _sceneStructureRoot = makeStructureNode();
  _clipStructureRoot = makeStructureNode();
  root->addChild(_sceneStructureRoot);
  root->addChild(_clipStructureRoot);
  announce(root, osg::Node::ChildrenFieldMask);
}

knAnimManager::~knAnimManager() { _structureAttachment.subRef(); }

void knAnimManager::setDestroyNodeCB(std::function<void(osg::NodePtr const&)> callback) {
  _destroyNodeCB = std::move(callback);
}

void knAnimManager::setGetAllMaterialsCB(
    std::function<void(osg::NodePtr const&, std::vector<osg::MaterialPtr>&)> callback) {
  _getAllMaterialsCB = std::move(callback);
}

void knAnimManager::setGetUniqueNameCB(
    std::function<std::string(std::string const&, std::vector<std::string>&)> callback) {
  _getUniqueNameCB = std::move(callback);
}

bool knAnimManager::simulationEnabled() { return _simEnabledCB == nullptr || _simEnabledCB(); }

void knAnimManager::enableSimulation(bool on) {
  if (_enableSimCB != nullptr) _enableSimCB(on);
}

void knAnimManager::updateNavigator(bool on) {
  if (_updateNavCB != nullptr) _updateNavCB(on);
}

osg::AnimAttachmentPtr knAnimManager::getAnimAttachment(osg::AttachmentContainerPtr const& container) {
  if (!container.isAlive()) return {};
  return osg::dcast<osg::AnimAttachmentPtr>(
      container->findAttachment(osg::AnimAttachmentBase::_type.getGroupId(), 0));
}
