#include "model/sceneext/AnimTreeCloning.h"

#include "model/fields/Ref.h"
#include "model/scenegraph/Cloning.h"
#include "model/scenegraph/Traverse.h"

namespace osg {
inline namespace knscene {

namespace {

void copyPlainFields(Node const& source, Node& copy) {
  Node& readable = const_cast<Node&>(source);  // fields are reached for writing only, but nothing is written
  for (FieldDescription const& description : source.getType().getFieldDescriptions()) {
    if (description.getRole() == FieldRole::Plain) {
      description.getField(copy)->copyFrom(*description.getField(readable));
    }
  }
}

void stopPlaying(NodePtr const& node) {
  AnimNode* const animNode = dcastTo<AnimNode>(node);
  if (animNode == nullptr) return;
  animNode->setPlaying(false);
  animNode->setPausing(false);
}

/// The host's overrides may end both nodes, and change what hangs on them.
NodePtr cloneNode(NodePtr const& source, bool withAttachments) {
  NodePtr const copy = dcast<NodePtr>(source->getType().createFieldContainer());
  if (!source.isAlive() || !copy.isAlive()) return copy;
  auto const attachments = source->getAttachments().getValues();
  copyPlainFields(*source, *copy);
  stopPlaying(copy);
  copy->setCore(source->getCore());
  if (!withAttachments) return copy;
  for (AttachmentSlot const& slot : attachments) {
    if (!copy.isAlive()) break;
    bool const isName = dcast<NamePtr>(slot.attachment) != nullptr;
    copy->addAttachment(
        isName ? dcast<AttachmentPtr>(deepCopyContainer(slot.attachment, "")) : slot.attachment,
        slot.binding);
  }
  return copy;
}

}  // namespace

NodePtr cloneAnimTree(NodePtr const& sourceArgument, bool withAttachments) {
  struct Pair {
    NodePtr source;
    NodePtr copy;
  };
  if (!sourceArgument.isAlive()) return {};
  NodePtr const source = sourceArgument;
  std::vector<Pair> open{{source, cloneNode(source, withAttachments)}};
  NodePtr const root = open.front().copy;
  while (!open.empty()) {
    Pair const pair = open.back();
    open.pop_back();
    // Overrides of the host's may change both trees meanwhile.
    for (UInt32 i = 0; pair.source.isAlive() && pair.copy.isAlive() && i < pair.source->getNChildren(); ++i) {
      NodePtr const child = pair.source->getChild(i);
      Ref<Node> const copy = cloneNode(child, withAttachments);
      if (pair.copy.isAlive()) pair.copy->addChild(copy.get());
      open.push_back({child, copy.get()});
    }
  }
  return root.isAlive() ? root : NodePtr();
}

AnimNodePtr deepCloneAnimTree(AnimNodePtr const& sourceArgument, std::string const& shareTypes) {
  AnimNodePtr const source = sourceArgument;
  AnimNodePtr const copy = dcast<AnimNodePtr>(deepCopyContainer(source, shareTypes));
  if (copy == source) return copy;  // nodes are shared: there is no copy to be stopped
  traverse(copy, [](NodePtr const& node) {
    stopPlaying(node);
    return Action::Continue;
  });
  return copy;
}

}  // namespace knscene
}  // namespace osg
