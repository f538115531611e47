// The conversion of animation texts of older releases, onto two nodes that a text can name.
#include "FuzzInput.h"
#include "knAnimManager.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenegraph/Transform3D.h"

namespace {

osg::NodePtr addNode(std::initializer_list<osg::UInt64> records, osg::UInt64 field) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(osg::Transform3DBase::create());
  osg::AnimAttachmentPtr const attachment = osg::AnimAttachmentBase::create();
  for (osg::UInt64 const id : records) attachment->getOldRecordIds().push_back(id);
  attachment->getOldFieldNumbers().push_back(field);
  node->addAttachment(attachment);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  return node;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  knfuzz::silence();
  knAnimManager& manager = *knAnimManager::the();
  auto const& factory = osg::FieldContainerFactory::the();
  std::size_t const living = factory.getLivingCount();
  knSceneDataManager::beginScene();
  addNode({1, 2, 3}, 7);
  addNode({4, 5}, 8);
  manager.convertXMLAnimations(knSceneDataManager::getSceneData(0)->getRoot(),
                               std::string(reinterpret_cast<char const*>(data), size));
  manager.evaluateAnimationsByTime(0.5F, true, false);
  manager.clearClipStructure();
  manager.clearCopyBuffer();
  knSceneDataManager::endScene();
  knfuzz::require(factory.getLivingCount() == living, "nothing is left over");
  return 0;
}
