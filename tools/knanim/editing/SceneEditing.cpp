#include "knanim/editing/SceneEditing.h"

#include "knAnimHelper.h"
#include "knanim/editing/NameTables.h"
#include "knanim/scene/ChannelChoice.h"
#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"
#include "model/geometry/Geometry.h"
#include "model/sceneext/AnimTreeCloning.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

namespace knanim {
namespace {

using Trees = std::vector<osg::AnimNodePtr>;

Failure usage(std::string message) { return {ExitCode::Usage, std::move(message)}; }

std::string quoted(std::string_view text) { return '"' + printable(text) + '"'; }

/// "PATTERN=NUMBER", or "NUMBER" with an empty pattern.
struct Amount {
  std::string pattern;
  float number = 0;
};

std::variant<Amount, Failure> readAmount(std::string const& text) {
  Amount amount;
  std::size_t const sign = text.rfind('=');
  std::size_t const begin = sign == std::string::npos ? 0 : sign + 1;
  if (sign != std::string::npos) amount.pattern = text.substr(0, sign);
  char const* const end = text.data() + text.size();
  auto const [rest, error] = std::from_chars(text.data() + begin, end, amount.number);
  if (error != std::errc() || rest != end || !std::isfinite(amount.number))
    return usage(quoted(text) + ": expected NUMBER or PATTERN=NUMBER");
  return amount;
}

Trees topTrees(osg::NodePtr const& node) {
  Trees trees;
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
  if (attachment.isAlive()) attachment->getTopLevelAnimations(trees, true);
  return trees;
}

/// Of the meshes that a node shows: their shape caches.
std::vector<std::pair<osg::NodePtr, osg::AnimNodePtr>> treesOfMeshes(osg::NodePtr const& node) {
  std::vector<std::pair<osg::NodePtr, osg::AnimNodePtr>> found;
  for (osg::NodePtr const& child : node->getChildren()) {
    if (osg::dcastTo<osg::Geometry>(child->getCore()) == nullptr) continue;
    for (osg::AnimNodePtr const& tree : topTrees(child)) found.emplace_back(child, tree);
  }
  return found;
}

std::string nameOf(osg::NodePtr const& node) {
  char const* const name = osg::NodeUtils::getName(node);
  return name != nullptr ? name : "";
}

void moveInTime(osg::AnimNodePtr const& node, float seconds) {
  node->moveBy(seconds, 0);
  osg::announce(node, osg::AnimNodeBase::OffsetFieldMask);
}

/// Blocks of one animation are told by their name, so those that gave way to others need another one.
std::string formerName(std::string const& name, Trees const& others) {
  auto const isTaken = [&others](std::string const& wanted) {
    return std::any_of(others.begin(), others.end(),
                       [&wanted](osg::AnimNodePtr const& each) { return nameOf(each) == wanted; });
  };
  std::string wanted = name + " (before)";
  for (int number = 2; isTaken(wanted); ++number) wanted = name + " (before " + std::to_string(number) + ')';
  return wanted;
}

/// A curve that several nodes share is written once.
std::vector<osg::AnimCurvePtr> distinctCurves(AnimatedScene const& scene,
                                              std::vector<std::size_t> const& curves) {
  std::vector<osg::AnimCurvePtr> distinct;
  std::set<osg::UInt32> seen;
  for (std::size_t const index : curves) {
    osg::AnimCurvePtr const& curve = scene.curves()[index].curve;
    if (seen.insert(curve.getContainerId()).second) distinct.push_back(curve);
  }
  return distinct;
}

/// Whether a curve's name and component stand for something that the node has.
bool drivesSomething(osg::AnimCurve const& curve,
                     std::vector<knAnimManager::knOSGChannelData> const& channels) {
  return std::any_of(channels.begin(), channels.end(), [&curve](auto const& channel) {
    return channel.fieldName == curve.getName() && channel.valueIndex == curve.getValueIndex();
  });
}

}  // namespace

std::variant<std::vector<std::size_t>, Failure> SceneEditing::nodesThatFit(std::string const& pattern) const {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < _model.nodes.size(); ++i) {
    if (fits(pattern, _model.nodes[i].name) && !topTrees(_scene.nodes()[i]).empty()) found.push_back(i);
  }
  if (!found.empty()) return found;
  return nothingAnimated(pattern);
}

Failure SceneEditing::nothingAnimated(std::string const& pattern) const {
  std::vector<std::string> names;
  for (ImportedNode const& node : _model.nodes) names.push_back(node.name);
  return usage("no node with an animation matches " + quoted(pattern) +
               nearClause(nearNames(pattern, names)));
}

std::variant<std::size_t, Failure> SceneEditing::nodeOfName(std::string const& name) const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < _model.nodes.size(); ++i) {
    if (_model.nodes[i].name == name) return i;
    names.push_back(_model.nodes[i].name);
  }
  return usage("no node of this model is called " + quoted(name) + nearClause(nearNames(name, names)));
}

std::vector<std::size_t> SceneEditing::curvesThatFit(std::string const& pattern) const {
  std::string const chosen = pattern.empty() ? "*" : pattern;
  std::vector<std::size_t> curves = chooseChannels(_model, {&chosen, 1}).curves;
  for (std::size_t i = 0; i < _model.curves.size(); ++i) {
    ImportedCurve const& curve = _model.curves[i];
    std::string const channel = channelName(curve.kind);
    if (chosen == channel || chosen == channel + '.' + kComponentSuffixes[curve.component])
      curves.push_back(i);
  }
  // A node may be called like a channel.
  std::sort(curves.begin(), curves.end());
  curves.erase(std::unique(curves.begin(), curves.end()), curves.end());
  return curves;
}

void SceneEditing::copyOnto(osg::NodePtr const& source, osg::NodePtr const& target, bool isShared,
                            bool isReplaced) {
  knAnimManager& manager = *knAnimManager::the();
  Trees const former = topTrees(target);
  Trees pasted;
  // Not by the library's paste: that looks at the whole scene after each node, and names each copy anew. By their names it
  // is told which blocks belong to one animation.
  for (osg::AnimNodePtr const& tree : topTrees(source)) {
    if (osg::dcastTo<osg::AnimObject>(tree->getCore()) == nullptr) continue;
    pasted.push_back(isShared ? osg::dcast<osg::AnimNodePtr>(osg::cloneAnimTree(tree, true))
                              : osg::deepCloneAnimTree(tree, "Material"));
    manager.addAnimation(target, pasted.back());
  }
  for (osg::AnimNodePtr const& tree : former) {
    if (isReplaced) {
      manager.subAnimation(target, tree);
      continue;
    }
    std::string const name = nameOf(tree);
    bool const isReused = std::any_of(pasted.begin(), pasted.end(),
                                      [&name](osg::AnimNodePtr const& each) { return nameOf(each) == name; });
    if (isReused) osg::NodeUtils::setName(tree, formerName(name, former), true);
    _scene.switchOff(tree);
  }
}

void SceneEditing::refresh() {
  _scene.readCurves(_model);
  // What the file said of its length is true no more.
  for (AnimationSummary& animation : _model.summary.animations) animation.durationSeconds = 0;
}

EditResult SceneEditing::copyBetween(std::string const& text, bool isShared, bool isReplaced) {
  // Names may hold the sign: the place is taken where both sides are nodes.
  std::size_t sign = text.find('=');
  auto const isNode = [this](std::string const& name) { return nodeOfName(name).index() == 0; };
  for (std::size_t at = sign; at != std::string::npos; at = text.find('=', at + 1)) {
    if (isNode(text.substr(0, at)) && isNode(text.substr(at + 1))) sign = at;
  }
  if (sign == std::string::npos) return usage(quoted(text) + ": expected FROM=TO, the names of two nodes");
  auto const from = nodeOfName(text.substr(0, sign));
  if (auto const* failure = std::get_if<Failure>(&from)) return *failure;
  auto const to = nodeOfName(text.substr(sign + 1));
  if (auto const* failure = std::get_if<Failure>(&to)) return *failure;
  osg::NodePtr const source = _scene.nodes()[std::get<std::size_t>(from)];
  osg::NodePtr const target = _scene.nodes()[std::get<std::size_t>(to)];
  if (source == target) return usage(quoted(text) + " names the same node twice");
  std::string const sourceName = printable(_model.nodes[std::get<std::size_t>(from)].name);
  std::string const targetName = printable(_model.nodes[std::get<std::size_t>(to)].name);
  Trees const trees = topTrees(source);
  if (trees.empty())
    return usage("node " + quoted(sourceName) +
                 (treesOfMeshes(source).empty() ? " has no animation to copy"
                                                : " has only shape caches, which belong to its own meshes"));
  if (knAnimManager::the()->isCompatible(source, target) != 1)
    return usage("node " + quoted(targetName) + " is of a different kind from " + quoted(sourceName));
  copyOnto(source, target, isShared, isReplaced);
  refresh();
  return EditReport{sourceName + " to " + targetName + ": " + counted(trees.size(), "animation") +
                        (isShared ? ", with the same curves" : ""),
                    {}};
}

std::size_t SceneEditing::cutShapes(std::size_t node, std::string const& pattern) {
  bool const isAll = fits(pattern, _model.nodes[node].name);
  std::size_t count = 0;
  for (auto const& [mesh, tree] : treesOfMeshes(_scene.nodes()[node])) {
    if (!isAll && !fits(pattern, nameOf(mesh))) continue;
    knAnimManager::the()->subAnimation(mesh, tree);
    ++count;
    auto const shown = std::ranges::find(_scene.meshes(), mesh, &SceneMesh::node);
    std::erase_if(_model.morphs, [&](ImportedMorph const& morph) {
      return morph.node == node && shown != _scene.meshes().end() && morph.mesh == shown->mesh;
    });
  }
  return count;
}

EditResult SceneEditing::cut(std::string const& pattern) {
  std::size_t count = 0;
  std::size_t nodes = 0;
  for (std::size_t i = 0; i < _model.nodes.size(); ++i) {
    Trees const trees = fits(pattern, _model.nodes[i].name) ? topTrees(_scene.nodes()[i]) : Trees();
    if (!trees.empty()) knAnimManager::the()->cut(trees);
    std::size_t const taken = trees.size() + cutShapes(i, pattern);
    count += taken;
    nodes += taken > 0 ? 1U : 0U;
  }
  if (count == 0) return nothingAnimated(pattern);
  refresh();
  return EditReport{counted(count, "animation") + " of " + counted(nodes, "node"), {}};
}

EditResult SceneEditing::unshare(std::string const& pattern) {
  auto const found = nodesThatFit(pattern);
  if (auto const* failure = std::get_if<Failure>(&found)) return *failure;
  std::size_t shared = 0;
  for (std::size_t const node : std::get<0>(found)) {
    for (osg::AnimNodePtr tree : topTrees(_scene.nodes()[node])) {
      // Counting walks over all animations of the scene: only for what has several users at all.
      bool const isShared = tree->getCore().isAlive() && tree->getCore()->getParents().size() > 1 &&
                            knAnimManager::the()->blockSceneRefCount(tree) > 1;
      shared += isShared ? 1U : 0U;
      std::string const name = nameOf(tree);
      knAnimManager::the()->unshareFrom(tree, _scene.nodes()[node]);
      osg::NodeUtils::setName(tree, name, true);
    }
  }
  refresh();
  return EditReport{counted(std::get<0>(found).size(), "node") + "; " +
                        counted(shared, "animation was", "animations were") + " shared",
                    {}};
}

EditResult SceneEditing::rename(std::string const& path) {
  auto const table = readNameTable(path);
  if (auto const* failure = std::get_if<Failure>(&table)) return *failure;
  auto const& names = std::get<0>(table);
  std::map<std::string, std::size_t> counts;
  std::size_t idle = 0;
  std::set<osg::UInt32> seen;
  for (osg::NodePtr const& node : _scene.nodes()) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(node);
    if (!attachment.isAlive()) continue;
    std::vector<osg::AnimNodePtr> curves;
    knAnimManager::the()->getAnimCurveNodes(attachment->getAnimationRoot(), curves, false, false, true);
    std::vector<knAnimManager::knOSGChannelData> channels;
    if (!curves.empty()) knAnimManager::the()->getKeyableChannels(node, channels);
    for (osg::AnimNodePtr const& each : curves) {
      auto const curve = osg::dcast<osg::AnimCurvePtr>(each->getCore());
      std::string const before = curve->getName();
      // Not twice, as a table may name what it renames to.
      if (!seen.insert(curve.getContainerId()).second) continue;
      if (!knAnimManager::the()->renameCurve(each, names)) continue;
      ++counts[before];
      idle += drivesSomething(*curve, channels) ? 0U : 1U;
    }
  }
  EditReport report;
  std::size_t all = 0;
  for (auto const& [name, count] : counts) {
    all += count;
    report.details.push_back(counted(count, "curve") + " from " + quoted(name) + " to " +
                             quoted(names.at(name)));
  }
  if (all == 0) return usage("no curve has one of the names in " + printable(path));
  for (auto const& [name, to] : names) {
    if (counts.count(name) == 0) report.details.push_back("no curve is called " + quoted(name));
  }
  if (idle > 0)
    report.details.push_back(counted(idle, "curve") + " now with a name that no channel of the node has");
  report.line = counted(all, "curve") + " by " + printable(path);
  refresh();
  return report;
}

std::optional<Failure> SceneEditing::checkAmount(std::string const& text) {
  auto amount = readAmount(text);
  if (auto* failure = std::get_if<Failure>(&amount)) return std::move(*failure);
  return std::nullopt;
}

EditResult SceneEditing::changeValues(std::string const& text, bool isFactor) {
  auto const amount = readAmount(text);
  if (auto const* failure = std::get_if<Failure>(&amount)) return *failure;
  auto const& [pattern, number] = std::get<Amount>(amount);
  std::vector<osg::AnimCurvePtr> curves = distinctCurves(_scene, curvesThatFit(pattern));
  if (curves.empty()) return usage(noChannel(_model, pattern));
  for (osg::AnimCurvePtr& curve : curves)
    knAnimHelper::scaleAndOffsetCurveValues(curve, isFactor ? number : 1, isFactor ? 0 : number);
  refresh();
  return EditReport{counted(curves.size(), "curve") + (isFactor ? " times " : " by ") + shortest(number), {}};
}

std::size_t SceneEditing::shiftAll(float seconds) {
  std::size_t count = 0;
  std::vector<osg::NodePtr> nodes(_scene.nodes().begin(), _scene.nodes().end());
  for (SceneMesh const& mesh : _scene.meshes()) nodes.push_back(mesh.node);
  for (osg::NodePtr const& node : nodes) {
    for (osg::AnimNodePtr const& tree : topTrees(node)) {
      if (!tree->isActive()) continue;
      moveInTime(tree, seconds);
      ++count;
    }
  }
  for (ImportedMorph& morph : _model.morphs) {
    for (WeightKey& key : morph.keys) key.time += seconds;
  }
  return count;
}

EditResult SceneEditing::shift(std::string const& text) {
  auto const amount = readAmount(text);
  if (auto const* failure = std::get_if<Failure>(&amount)) return *failure;
  auto const& [pattern, seconds] = std::get<Amount>(amount);
  std::size_t count = 0;
  if (pattern.empty()) {
    count = shiftAll(seconds);
  } else {
    for (std::size_t const index : curvesThatFit(pattern)) {
      moveInTime(_scene.curves()[index].node, seconds);
      ++count;
    }
  }
  if (count == 0)
    return usage(pattern.empty() ? "there is no animation to shift" : noChannel(_model, pattern));
  refresh();
  return EditReport{
      counted(count, pattern.empty() ? "animation" : "curve") + " by " + shortest(seconds) + " s", {}};
}

}  // namespace knanim
