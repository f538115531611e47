#include "knanim/scene/SceneObjects.h"

#include "knAnimEvaluator.h"
#include "model/scenedata/knSceneData.h"
#include "model/scenegraph/Name.h"

#include <algorithm>
#include <map>

namespace knanim {
namespace {

using Channel = knAnimManager::knOSGChannelData;

std::string nameOf(osg::AttachmentContainerPtr const& container) {
  char const* const name = osg::NodeUtils::getName(container);
  return name == nullptr || *name == '\0' ? "unnamed" : name;
}

constexpr std::size_t kLongestPath = 1000;
constexpr std::string_view kCut = "...";

/// A path with as many of its last names as fit, the last one in any case.
std::string bounded(std::string path) {
  if (path.size() <= kLongestPath) return path;
  std::size_t const first = path.find('/', path.size() + kCut.size() - kLongestPath);
  std::size_t const last = path.rfind('/');
  return path.replace(0, std::min(first, last), kCut);
}

/// Makes paths of the children of one parent.
class SiblingPaths {
 public:
  explicit SiblingPaths(std::string parentPath) : _parentPath(std::move(parentPath)) {}

  std::string next(std::string const& name) {
    std::size_t const number = ++_counts[name];
    return bounded(_parentPath + '/' + name + (number == 1 ? "" : '#' + std::to_string(number)));
  }

 private:
  std::string _parentPath;
  std::map<std::string, std::size_t> _counts;
};

std::string curveKey(osg::UInt32 containerId, std::string const& field, osg::UInt32 component) {
  return std::to_string(containerId) + '.' + std::to_string(component) + '.' + field;
}

}  // namespace

SceneObjects::SceneObjects(AnimatedScene const& scene) {
  addNodes(scene.root());
  addMaterials();
  for (SceneObject const& object : _objects) addCurves(object.container);
}

void SceneObjects::addNodes(osg::NodePtr const& root) {
  struct Pending {
    osg::NodePtr node;
    std::string path;
    std::size_t level;
  };
  std::vector<Pending> pending;
  auto const pushChildren = [&pending](osg::NodePtr const& node, std::string const& path, std::size_t level) {
    SiblingPaths paths(path);
    std::size_t const first = pending.size();
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
      pending.push_back({node->getChild(i), paths.next(nameOf(node->getChild(i))), level});
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
  };
  pushChildren(root, "", 0);
  while (!pending.empty()) {
    Pending const each = std::move(pending.back());
    pending.pop_back();
    SceneObject& object = _objects.emplace_back();
    object.container = each.node;
    object.name = nameOf(each.node);
    object.path = each.path;
    object.level = each.level;
    osg::FieldContainerType const* const type = each.node->getCore().findType();
    object.kind = type != nullptr ? type->getCName() : "Node";
    knAnimManager::the()->getKeyableChannels(each.node, object.channels);
    pushChildren(each.node, each.path, each.level + 1);
  }
}

void SceneObjects::addMaterials() {
  std::vector<osg::MaterialPtr> materials;
  if (osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool(); pool.isAlive()) pool->get(materials);
  SiblingPaths paths("/materials");
  for (osg::MaterialPtr const& material : materials) {
    SceneObject& object = _objects.emplace_back();
    object.container = material;
    object.name = nameOf(material);
    object.path = paths.next(object.name);
    object.kind = material.findType()->getCName();
    object.isMaterial = true;
    knAnimManager::the()->getKeyableChannels(material, object.channels);
  }
}

/// Most curves of a model stand in blocks, so that the top-level ones alone would not do.
void SceneObjects::addCurves(osg::AttachmentContainerPtr const& owner) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(owner);
  if (!attachment.isAlive()) return;
  std::vector<osg::AnimNodePtr> trees;
  attachment->getTopLevelAnimations(trees, false);
  for (osg::AnimNodePtr const& tree : trees) {
    std::vector<osg::AnimCurvePtr> curves;
    knAnimManager::the()->getAnimCurves(tree, curves, false, true, false);
    for (osg::AnimCurvePtr const& curve : curves) {
      osg::FieldContainerPtr aim;
      std::vector<osg::FieldContainerPtr> parents;
      knAnimEvaluator::the()->computeAim(curve, owner, aim, parents);
      if (!aim.isAlive()) continue;
      ChannelCurves& on = _curves[curveKey(aim.getContainerId(), curve->getName(), curve->getValueIndex())];
      ++on.curves;
      on.keys += curve->getControlPoints().size();
    }
  }
}

std::vector<SceneObject const*> SceneObjects::find(std::string_view text) const {
  std::vector<SceneObject const*> found;
  if (text.empty()) return found;
  for (SceneObject const& object : _objects) {
    if (object.path == text) found.push_back(&object);
  }
  if (!found.empty()) return found;
  std::string tail(text);
  if (!text.starts_with('/')) tail.insert(tail.begin(), '/');
  for (SceneObject const& object : _objects) {
    if (object.name == text || object.path.ends_with(tail)) found.push_back(&object);
  }
  return found;
}

ChannelCurves SceneObjects::curvesOn(Channel const& channel) const {
  auto const found = _curves.find(curveKey(channel.containerId, channel.fieldName, channel.valueIndex));
  return found != _curves.end() ? found->second : ChannelCurves();
}

std::vector<std::string> SceneObjects::names() const {
  std::vector<std::string> names;
  for (SceneObject const& object : _objects) names.push_back(object.name);
  return names;
}

}  // namespace knanim
