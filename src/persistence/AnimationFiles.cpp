#include "editing/PasteRule.h"
#include "knAnimManager.h"
#include "manager/Creation.h"
#include "model/fields/Ref.h"
#include "model/materials/Material.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/sceneext/ValuePair.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "model/scenegraph/NodeQueries.h"
#include "model/utils/knCachedStream.h"
#include "model/utils/knFile.h"
#include "model/utils/knLog.h"
#include "model/utils/knUtils.h"

using osg::AnimAttachmentPtr;
using osg::AnimNodePtr;
using osg::AttachmentContainerPtr;
using osg::NodePtr;

namespace {

/// Tells an animation file from any other scene file; the value that goes with it is never read.
char const* const kMarkerKey = "AnimationExportRoot";
/// Materials that a tree refers to are shared by its copies, on the way into a file and out of it.
char const* const kSharedTypes = "Material";
std::size_t const kStreamBuffer = 0x50000;

// --- Saving -------------------------------------------------------------------------------------------------------

/// A new container of the same type, without any of the fields: it tells the type and nothing else.
template <class Handle>
Handle emptyTwin(Handle const& container) {
  return osg::dcast<Handle>(container->getType().createFieldContainer());
}

/// What stands in the file for the owner's type; null for an owner that a file cannot stand for.
osg::NodeCorePtr makeTypeMarker(osg::FieldContainerPtr const& owner) {
  if (osg::MaterialPtr const material = osg::dcast<osg::MaterialPtr>(owner)) {
    osg::MaterialPtr const twin = emptyTwin(material);
    if (!twin) return {};
    osg::MaterialGroupPtr const group = osg::MaterialGroupBase::create();
    group->setMaterial(twin);
    announce(group, osg::MaterialGroupBase::MaterialFieldMask);
    return group;
  }
  NodePtr const node = osg::dcast<NodePtr>(owner);
  return node && node->getCore().isAlive() ? emptyTwin(node->getCore()) : osg::NodeCorePtr();
}

AnimNodePtr makeFileRoot() {
  AnimNodePtr const root = osg::AnimNodeBase::create();
  osg::NodeUtils::setName(root, "Animations", true);
  osg::ValuePairPtr const marker = osg::ValuePairBase::create();
  marker->add(kMarkerKey, "");
  root->addAttachment(marker, 0);
  announce(root, osg::AttachmentContainer::AttachmentsFieldMask);
  return root;
}

void addCopy(AnimNodePtr const& tree, AnimNodePtr const& root) {
  AnimNodePtr const copy = osg::deepCloneAnimTree(tree, kSharedTypes);
  if (!copy || !root.isAlive()) return;
  root->addChild(copy);
  announce(root, osg::Node::ChildrenFieldMask);
}

// --- Loading ------------------------------------------------------------------------------------------------------

/// A file that has been read, and what its trees were saved from, as far as the paste rule asks.
struct AnimationFile {
  osg::Ref<osg::Node> root;
  osg::FieldContainerPtr source;

  bool isValid() const { return root.isAlive() && source.isAlive(); }
};

bool isReadableExtension(std::string& extension) {
  if (extension == "kdb" || extension == "kdp" || extension == "kdt") extension = "osb";
  return extension == "osb" || extension == "json";
}

/// Reads a file; an invalid one, with an error line in the log, when it cannot be used.
AnimationFile readAnimationFile(char const* fileName) {
  std::string extension = knFile::getExtension(fileName);
  if (!isReadableExtension(extension)) {
    knLog::error("knAnimManager::loadAnimationsTo : Invalid file type!");
    return {};
  }
  AnimationFile file;
  {
    cached_ifstream stream(fileName, kStreamBuffer, 1);
    file.root = osg::SceneFileHandler::the().read(stream, extension.c_str());
    stream.close();
  }
  if (!file.root.isAlive() || file.root->getNChildren() == 0) {
    knLog::error("knAnimManager::loadAnimationsTo : Load error!");
    return {};
  }
  auto const marker =
      osg::dcast<osg::ValuePairPtr>(file.root->findAttachment(osg::ValuePairBase::_type.getGroupId(), 0));
  if (!marker || !marker->findKey(kMarkerKey)) {
    knLog::error("knAnimManager::loadAnimationsTo : Can't find animation identification in file!");
    return {};
  }
  file.source = file.root.get();
  auto const group = osg::dcast<osg::MaterialGroupPtr>(file.root->getCore());
  if (group && group->getMaterial().isAlive()) file.source = group->getMaterial();
  return file;
}

bool isBlockOrClip(AnimNodePtr const& tree) {
  return tree->getCore().isAlive() && !osg::dcast<osg::AnimCurvePtr>(tree->getCore());
}

/// Adds copies of the file's trees to a container. False when that has no place for them.
template <class UniqueName>
bool addTrees(AnimationFile const& file, AttachmentContainerPtr const& target, UniqueName const& uniqueName) {
  AnimAttachmentPtr const attachment = findOrCreateAttachment(target);
  AnimNodePtr const animationRoot = attachment.isAlive() ? attachment->getAnimationRoot() : AnimNodePtr();
  if (!animationRoot.isAlive()) return false;
  // Whoever hears of a step may change all that is looked at here.
  std::vector<NodePtr> const children(file.root->getChildren().begin(), file.root->getChildren().end());
  for (NodePtr const& child : children) {
    AnimNodePtr const copy = osg::deepCloneAnimTree(osg::dcast<AnimNodePtr>(child), kSharedTypes);
    if (!copy) continue;
    osg::Ref<osg::AnimNode> const held = copy;
    std::string name = nameOf(copy);
    if (isBlockOrClip(copy)) name = uniqueName(name);
    osg::NodeUtils::setName(copy, name, true);
    if (!animationRoot.isAlive()) return false;
    animationRoot->addChild(copy);
    announce(animationRoot, osg::Node::ChildrenFieldMask);
  }
  return true;
}

template <class Handles, class UniqueName>
void loadOntoAll(Handles targets, char const* fileName, bool notify, UniqueName const& uniqueName) {
  if (targets.empty() || fileName == nullptr) return;
  {
    AnimationFile const file = readAnimationFile(fileName);
    if (!file.isValid()) return;
    for (auto const& target : targets) {
      if (!target.isAlive()) continue;
      if (!isPasteValid(file.source, target)) {
        knLog::warning("knAnimManager::loadAnimationsTo : Can't load because of incompatible types!");
        continue;
      }
      addTrees(file, target, uniqueName);
    }
  }
  if (notify) knUtils::call("pastedAnimations", 0);
}

}  // namespace

bool knAnimManager::saveAnimations(char const* fileName, AttachmentContainerPtr const& source) {
  if (fileName == nullptr || !source.isAlive()) return false;
  // The arguments may stand in what a handler of the host's edits.
  AttachmentContainerPtr const saved = source;
  std::string const name = fileName;
  AnimNodePtr const tree = osg::dcast<AnimNodePtr>(saved);
  osg::FieldContainerPtr const owner = tree ? findOwningContainer(tree) : osg::FieldContainerPtr(saved);
  if (!owner) {
    knLog::error("knAnimManager::saveAnimations : Can't save animations without aim!");
    return false;
  }
  osg::Ref<osg::AnimNode> const root = makeFileRoot();
  osg::Ref<osg::NodeCore> const core = makeTypeMarker(owner);
  if (!core) {
    knLog::error("knAnimManager::saveAnimations : Aim not valid!");
    return false;
  }
  root->setCore(core.get());
  announce(root.get(), osg::Node::CoreFieldMask);
  if (tree) {
    addCopy(tree, root);
  } else {
    AnimAttachmentPtr const attachment = getAnimAttachment(saved);
    if (!attachment) {
      knLog::error("knAnimManager::saveAnimations : No animations at source!");
      return false;
    }
    std::vector<AnimNodePtr> trees;
    attachment->getTopLevelAnimations(trees, true);
    for (AnimNodePtr const& each : trees) addCopy(each, root);
  }
  return root.isAlive() && osg::saveSceneFile(root.get(), name, true);
}

bool knAnimManager::loadAnimationsTo(AttachmentContainerPtr const& target, char const* fileName,
                                     bool notify) {
  if (fileName == nullptr || !target.isAlive()) return false;
  AttachmentContainerPtr const container = target;
  {
    AnimationFile const file = readAnimationFile(fileName);
    if (!file.isValid()) return false;
    if (!isPasteValid(file.source, container)) {
      knLog::error("knAnimManager::loadAnimationsTo : Can't load because of incompatible types!");
      return false;
    }
    if (!addTrees(file, container, [this](std::string const& name) { return getUniqueName(name); }))
      return false;
  }
  if (notify) knUtils::call("pastedAnimations", 0);
  return true;
}

void knAnimManager::loadAnimationsTo(std::vector<NodePtr> const& targets, char const* fileName, bool notify) {
  loadOntoAll(targets, fileName, notify, [this](std::string const& name) { return getUniqueName(name); });
}

void knAnimManager::loadAnimationsTo(std::vector<osg::MaterialPtr> const& targets, char const* fileName,
                                     bool notify) {
  loadOntoAll(targets, fileName, notify, [this](std::string const& name) { return getUniqueName(name); });
}
