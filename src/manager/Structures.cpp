#include "knAnimManager.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knLog.h"

#include <utility>

using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::NodePtr;

namespace {

/// Keeps the order. All at once, as a source that is emptied from the front moves all that is left each time. What
/// cannot move, a child that stands above its new parent, stays behind with those after it.
void moveChildren(NodePtr const& from, NodePtr const& to) {
  if (!from.isAlive() || !to.isAlive()) return;
  std::vector<NodePtr> children(from->getChildren().begin(), from->getChildren().end());
  for (NodePtr above = to; above.isAlive(); above = above->getParent()) {
    if (above->getParent() == from) children.resize(static_cast<std::size_t>(from->findChild(above)));
  }
  to->addChildren(children);
  for (std::size_t i = 0; i < children.size(); ++i) announce(to, osg::Node::ChildrenFieldMask);
}

void clear(AnimNodePtr const& root) {
  if (!root.isAlive()) return;
  root->clearChildren();
  announce(root, osg::Node::ChildrenFieldMask);
}

void add(AnimNodePtr const& root, AnimNodePtr const& animation) {
  if (!root.isAlive() || !animation.isAlive()) return;
  root->addChild(animation);
  announce(root, osg::Node::ChildrenFieldMask);
}

/// Prints in pieces of whole lines: the lines of a deep tree together can be larger than the memory. When prints go to
/// the log, each piece may run code of the host's.
class Printing {
 public:
  Printing() = default;
  Printing(Printing const&) = delete;
  Printing& operator=(Printing const&) = delete;
  ~Printing() { knLog::print(_text); }

  void addLine(std::string const& line) {
    constexpr std::size_t PieceSize = 1 << 16;
    _text.append(line) += '\n';
    if (_text.size() >= PieceSize) knLog::print(std::exchange(_text, {}));
  }

 private:
  std::string _text;
};

/// The names of a tree, each on a line of its own with two dashes for each level in front, behind `indent`.
void addStructure(Printing& printing, AnimNodePtr const& animation, std::string indent) {
  struct Pending {
    AnimNodePtr node;
    std::size_t depth;
  };
  std::vector<Pending> pending{{animation, 1}};
  std::size_t const outer = indent.size();
  while (!pending.empty()) {
    auto const [node, depth] = pending.back();
    pending.pop_back();
    if (!node.isAlive()) continue;
    auto const& children = node->getChildren();
    for (std::size_t i = children.size(); i-- > 0;) {
      pending.push_back({osg::dcast<AnimNodePtr>(children[i]), depth + 1});
    }
    indent.resize(outer);
    indent.append(2 * depth, '-');
    printing.addLine(indent + nameOf(node));
  }
}

}  // namespace

// Arguments are copied: they may stand in what the host's code drops meanwhile.

void knAnimManager::pushStructureAttachment(NodePtr const& argument) {
  NodePtr const node = argument;
  if (!_structureAttachment.isAlive() || !node.isAlive()) return;
  node->addAttachment(_structureAttachment, 0);
  announce(node, osg::AttachmentContainer::AttachmentsFieldMask);
}

void knAnimManager::removeStructureAttachment(NodePtr const& argument) {
  NodePtr const node = argument;
  if (!_structureAttachment.isAlive() || !node.isAlive()) return;
  node->subAttachment(_structureAttachment, 0);
  announce(node, osg::AttachmentContainer::AttachmentsFieldMask);
}

void knAnimManager::pullStructureAttachment(NodePtr const& argument) {
  NodePtr const node = argument;
  if (!node.isAlive()) return;
  knLog::print("knAnimManager::pullStructureAttachment of " + nameOf(node) + "\n");
  AnimAttachmentPtr const attachment = getAnimAttachment(node);
  if (!attachment) return;
  knLog::print("found structure...\n");
  mergeStructureAttachment(attachment);
  if (!node.isAlive()) return;
  node->subAttachment(attachment, 0);
  announce(node, osg::AttachmentContainer::AttachmentsFieldMask);
}

void knAnimManager::mergeStructureAttachment(AnimAttachmentPtr const& attachment) {
  if (!attachment.isAlive() || !_sceneStructureRoot.isAlive() || !_clipStructureRoot.isAlive()) return;
  // The manager's own content is where it belongs.
  if (attachment == _structureAttachment) return;
  NodePtr const root = attachment->getAnimationRoot();
  if (!root.isAlive() || root->getNChildren() != 2) return;
  NodePtr const scene = root->getChild(0);
  NodePtr const clips = root->getChild(1);
  moveChildren(scene, _sceneStructureRoot);
  if (!clips.isAlive()) return;
  knLog::print("found clips root with " + std::to_string(clips->getNChildren()) + " childs\n");
  moveChildren(clips, _clipStructureRoot);
}

void knAnimManager::clearSceneStructure() { clear(_sceneStructureRoot); }

void knAnimManager::addToSceneStructure(AnimNodePtr const& animation) { add(_sceneStructureRoot, animation); }

void knAnimManager::clearClipStructure() { clear(_clipStructureRoot); }

void knAnimManager::addToClipStructure(AnimNodePtr const& animation) { add(_clipStructureRoot, animation); }

void knAnimManager::printStructures() {
  if (!_structureAttachment.isAlive()) return;
  Printing printing;
  printing.addLine("====== STRUCTURE ======\n");
  std::vector<AnimNodePtr> entries;
  _structureAttachment->getTopLevelAnimations(entries, true);
  for (AnimNodePtr const& entry : entries) {
    if (!entry.isAlive()) continue;
    std::vector<NodePtr> const children = entry->getChildren().getValues();
    printing.addLine(nameOf(entry));
    for (NodePtr const& child : children) addStructure(printing, osg::dcast<AnimNodePtr>(child), "");
  }
}

void knAnimManager::printStructureR(AnimNodePtr const& animation, std::string indent) {
  Printing printing;
  addStructure(printing, animation, std::move(indent));
}
