#include "knanim/scene/SceneParts.h"

#include "knAnimManager.h"
#include "model/camera/UberCamera.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/sceneext/AnimBlock.h"

namespace knanim {
namespace {

/// A node on the way down.
struct Pending {
  osg::NodePtr node;
  std::size_t owner = ImportedNode::NoParent;
};

std::vector<ScenePart>* listFor(osg::NodePtr const& node, SceneParts& parts) {
  osg::NodeCorePtr const& core = node->getCore();
  if (osg::dcastTo<osg::Geometry>(core) != nullptr) return &parts.meshes;
  if (osg::dcastTo<osg::UberCamera>(core) != nullptr) return &parts.cameras;
  return osg::dcastTo<osg::UberLight>(core) != nullptr ? &parts.lights : nullptr;
}

}  // namespace

SceneParts findParts(osg::NodePtr const& top) {
  SceneParts parts;
  std::vector<Pending> pending;
  auto const pushChildren = [&pending](osg::NodePtr const& node, std::size_t owner) {
    for (osg::UInt32 i = node->getNChildren(); i-- > 0;) pending.push_back({node->getChild(i), owner});
  };
  pushChildren(top, ImportedNode::NoParent);
  while (!pending.empty()) {
    Pending const each = pending.back();
    pending.pop_back();
    parts.all.push_back(each.node);
    std::vector<ScenePart>* const list = listFor(each.node, parts);
    bool const isNode =
        list == nullptr || each.node->getNChildren() > 0 || each.owner == ImportedNode::NoParent;
    std::size_t owner = each.owner;
    if (isNode) {
      owner = parts.nodes.size();
      parts.nodes.push_back(each.node);
      parts.parents.push_back(each.owner);
    }
    if (list != nullptr) list->push_back({each.node, owner});
    pushChildren(each.node, owner);
  }
  return parts;
}

std::vector<HungCache> findCachesInBlocks(osg::NodePtr const& mesh) {
  std::vector<HungCache> caches;
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(mesh);
  if (!attachment.isAlive()) return caches;
  osg::AnimNodePtr const root = attachment->getAnimationRoot();
  osg::AnimNodePtr block;
  osg::traverse(root, [&](osg::NodePtr const& node) {
    auto const each = osg::dcast<osg::AnimNodePtr>(node);
    if (node->getParent() == root)
      block = osg::dcastTo<osg::AnimBlock>(node->getCore()) != nullptr ? each : osg::AnimNodePtr();
    if (!node->isActive() && (each == nullptr || each != block)) return osg::Action::Skip;
    auto const* const cache = osg::dcastTo<osg::TimeShapeCache>(node->getCore());
    if (each != nullptr && cache != nullptr && !cache->getShapes().empty()) caches.push_back({each, block});
    return osg::Action::Continue;
  });
  return caches;
}

std::vector<osg::AnimNodePtr> findCaches(osg::NodePtr const& mesh) {
  std::vector<osg::AnimNodePtr> caches;
  for (HungCache const& each : findCachesInBlocks(mesh)) {
    if (each.block == nullptr || each.block->isActive()) caches.push_back(each.node);
  }
  return caches;
}

}  // namespace knanim
