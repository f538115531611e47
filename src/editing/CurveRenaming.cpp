#include "evaluation/SceneMaterials.h"
#include "knAnimManager.h"
#include "model/scenedata/SceneRoots.h"
#include "model/scenegraph/NodeQueries.h"

#include <unordered_set>

using osg::AnimCurvePtr;
using osg::AnimNodePtr;
using osg::AttachmentContainerPtr;
using osg::NodePtr;

namespace {

AnimCurvePtr curveOf(NodePtr const& node) {
  return node.isAlive() ? osg::dcast<AnimCurvePtr>(node->getCore()) : AnimCurvePtr();
}

/// What an entry of a rename table asks for. "name.X" brings a suffix along; any other text is a name as it stands,
/// also ".X", which would leave no name.
struct NewName {
  std::string name;
  std::string suffix;

  explicit NewName(std::string text) : name(std::move(text)) {
    if (name.size() <= 2 || name[name.size() - 2] != '.') return;
    suffix = name.back();
    name.resize(name.size() - 2);
  }
};

/// The nodes of curves without channel name at and below a container: of each container its animations, then itself,
/// then its children. An animation tree is looked at once, however many attachments share it or hang within it.
std::vector<NodePtr> findCurvesWithoutChannel(AttachmentContainerPtr const& container) {
  struct Pending {
    AttachmentContainerPtr container;
    bool animationsDone = false;
  };
  std::vector<NodePtr> found;
  std::unordered_set<NodePtr> trees;
  std::vector<Pending> pending{{container}};
  while (!pending.empty()) {
    auto const [next, animationsDone] = pending.back();
    pending.pop_back();
    if (!next.isAlive()) continue;
    osg::AnimAttachmentPtr const attachment =
        animationsDone ? osg::AnimAttachmentPtr() : knAnimManager::getAnimAttachment(next);
    if (attachment && attachment->getAnimationRoot().isAlive() &&
        trees.insert(attachment->getAnimationRoot()).second) {
      pending.push_back({next, true});
      pending.push_back({attachment->getAnimationRoot()});
      continue;
    }
    auto const node = osg::dcast<NodePtr>(next);
    if (!node || !node->getCore().isAlive()) continue;
    AnimCurvePtr const curve = curveOf(node);
    if (curve && curve->getChannelName().empty()) found.push_back(node);
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i-- > 0;) pending.push_back({children[i]});
  }
  return found;
}

/// The name of a curve's node without the point and the suffix.
std::string channelNameFrom(std::string name, std::string const& suffix) {
  if (suffix.empty()) return name;
  name.resize(name.size() > suffix.size() ? name.size() - suffix.size() - 1 : 0);
  return name;
}

}  // namespace

bool knAnimManager::renameCurve(AnimNodePtr const& node, std::map<std::string, std::string> const& names) {
  AnimNodePtr const kept = node;
  AnimCurvePtr const curve = curveOf(kept);
  if (!curve) return false;
  auto const entry = names.find(curve->getName());
  if (entry == names.end()) return false;
  // Announcing lets the host in, which may change the table or destroy the curve.
  NewName const to(entry->second);
  if (!to.suffix.empty()) {
    curve->setSuffix(to.suffix);
    curve->setColor(getDefaultColor(to.suffix));
    curve->setValueIndex(getValueIndexFromSuffix(to.suffix));
    announce(curve, osg::AnimCurveBase::ColorFieldMask | osg::AnimCurveBase::SuffixFieldMask |
                        osg::AnimCurveBase::ValueIndexFieldMask);
    if (!curve.isAlive()) return true;
  }
  curve->setName(to.name);
  curve->setChannelName(to.name);
  announce(curve, osg::AnimObjectBase::NameFieldMask | osg::AnimCurveBase::ChannelNameFieldMask);
  if (!curve.isAlive() || !kept.isAlive()) return true;
  std::string const& suffix = curve->getSuffix();
  osg::NodeUtils::setName(kept, suffix.empty() ? to.name : to.name + "." + suffix, true);
  return true;
}

void knAnimManager::renameCurves(NodePtr const& node, std::map<std::string, std::string> const& names) {
  if (names.empty()) return;
  osg::AnimAttachmentPtr const attachment = getAnimAttachment(node);
  if (!attachment) return;
  std::map<std::string, std::string> const table = names;
  std::vector<AnimNodePtr> nodes;
  getAnimCurveNodes(attachment->getAnimationRoot(), nodes, false, false, true);
  for (AnimNodePtr const& one : nodes) renameCurve(one, table);
}

void knAnimManager::updateSceneChannelNames(NodePtr root) {
  if (!root) root = materialRoot();
  updateChannelNamesR(root);
  for (osg::MaterialPtr const& material : findAllMaterials(root)) updateChannelNamesR(material);
}

void knAnimManager::updateChannelNamesR(AttachmentContainerPtr const& container) {
  for (NodePtr const& node : findCurvesWithoutChannel(container)) {
    // Named meanwhile: a curve of several nodes takes the name of the first.
    AnimCurvePtr const curve = curveOf(node);
    if (!curve || !curve->getChannelName().empty()) continue;
    curve->setChannelName(channelNameFrom(osg::nameOf(node), curve->getSuffix()));
    announce(curve, osg::AnimCurveBase::ChannelNameFieldMask);
  }
}
