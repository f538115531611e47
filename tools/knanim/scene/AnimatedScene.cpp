#include "knanim/scene/AnimatedScene.h"

#include "knAnimEvaluator.h"
#include "knCurves.h"
#include "knanim/import/ShapeCaches.h"
#include "knanim/import/StoredAnimations.h"
#include "knanim/import/StoredContent.h"
#include "knanim/import/StoredModel.h"
#include "knanim/scene/AnimationTrees.h"
#include "knanim/scene/HungCurves.h"
#include "knanim/scene/SceneContent.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/Text.h"
#include "model/scenedata/MaterialPool.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/scenegraph/Group.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace knanim {
namespace {

/// Tells the library where this host keeps its materials.
void connectHost() {
  knAnimEvaluator::setGetMaterialPoolCB([] { return knSceneData::getMaterialPool(); });
  knAnimManager::setGetAllMaterialsCB([](osg::NodePtr const&, std::vector<osg::MaterialPtr>& materials) {
    if (osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool(); pool.isAlive())
      pool->get(materials);
  });
}

/// The curves that are switched on and have keys, in the order of a model.
std::vector<HungCurve> findActive(std::span<osg::NodePtr const> nodes) {
  std::vector<HungCurve> found = findCurves(nodes).curves;
  std::erase_if(found, [](HungCurve const& each) { return !each.isActive || describe(each).keys.empty(); });
  std::stable_sort(found.begin(), found.end(), standsBefore);
  return found;
}

}  // namespace

AnimatedScene::AnimatedScene(ImportedModel const& model, ModelContent const& content)
    : AnimatedScene(model, content, {}) {}

AnimatedScene::AnimatedScene(ImportedModel const& model, ModelContent const& content,
                             std::span<AdoptedModel const> adopted) {
  connectHost();
  if (!model.stored.empty()) {
    adopt(model);
    return;
  }
  knSceneDataManager::beginScene();
  _root = knSceneDataManager::getSceneData(0)->getRoot();
  std::vector<bool> isMade(model.nodes.size(), true);
  for (AdoptedModel const& each : adopted)
    std::fill_n(isMade.begin() + static_cast<std::ptrdiff_t>(each.group) + 1, each.nodes, false);
  _nodes = makeNodes(model, _root, isMade);
  SceneContent shown = addContent(content, _nodes);
  _meshes = std::move(shown.meshes);
  _cameras = std::move(shown.cameras);
  _curves = hangCurves(model, _nodes, true);
  hangMorphs(model, content);
  for (AdoptedModel const& each : adopted) adoptModel(each);
}

AnimatedScene::~AnimatedScene() {
  if (knAnimManager::the()->hasCopyBufferContent()) knAnimManager::the()->clearCopyBuffer();
  knAnimManager::the()->clearClipStructure();
  knAnimManager::the()->clearSceneStructure();
  knAnimManager::the()->setKeepKeysAtFrame(false);
  knSceneDataManager::endScene();
}

void AnimatedScene::adopt(ImportedModel const& model) {
  std::string reason;
  _root = StoredModel::makeCurrent(model.stored, reason);
  if (!_root.isAlive() && InterruptionGuard::isInterrupted()) throw std::runtime_error("interrupted");
  if (!_root.isAlive()) throw std::runtime_error("cannot read " + printable(model.stored) + ": " + reason);
  _keepsKeys = knAnimManager::the()->keepKeysAtFrame();
  knAnimManager::the()->setKeepKeysAtFrame(false);
  SceneParts const parts = findParts(_root);
  _nodes = parts.nodes;
  auto const& animations = model.summary.animations;
  if (!animations.empty() && animations[model.animation].name != kAllActive && !model.curves.empty())
    _formerMasks = switchTo(animations[model.animation].name, parts.all);
  addShown(parts, 0);
  ImportedModel found;
  if (!model.curves.empty()) readCurves(found);
  if (_nodes.size() != model.nodes.size() || found.curves.size() != model.curves.size())
    throw std::runtime_error(printable(model.stored) + " changed while it was read");
}

void AnimatedScene::addShown(SceneParts const& parts, std::size_t firstMesh) {
  std::vector<std::size_t> const numbers = meshNumbers(parts);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    osg::NodePtr const& node = parts.meshes[i].node;
    for (osg::AnimNodePtr const& cache : findCaches(node))
      _caches.push_back({_meshes.size(), cache, osg::dcast<osg::TimeShapeCachePtr>(cache->getCore())});
    _meshes.push_back({node, firstMesh + numbers[i], false});
  }
  for (ScenePart const& part : parts.cameras) {
    char const* const name = osg::NodeUtils::getName(part.node);
    _cameras.push_back({printable(name != nullptr ? name : ""), part.node});
  }
}

void AnimatedScene::adoptModel(AdoptedModel const& adopted) {
  osg::NodePtr const group = _nodes[adopted.group];
  auto const& held = adopted.top->getChildren();
  std::vector<osg::NodePtr> const children(held.begin(), held.end());
  for (osg::NodePtr const& child : children) group->addChild(child);
  for (osg::MaterialPtr const& material : adopted.materials) knSceneData::getMaterialPool()->add(material);
  SceneParts const parts = findParts(group);
  std::vector<HungCurve> const hung = findActive(parts.nodes);
  auto place = std::find_if(_curves.begin(), _curves.end(),
                            [](SceneCurve const& each) { return each.curve == nullptr; });
  bool const fits =
      parts.nodes.size() == adopted.nodes && hung.size() <= static_cast<std::size_t>(_curves.end() - place);
  if (!fits) throw std::runtime_error("a stored scene changed while it was read");
  std::copy(parts.nodes.begin(), parts.nodes.end(),
            _nodes.begin() + static_cast<std::ptrdiff_t>(adopted.group) + 1);
  for (HungCurve const& each : hung) *place++ = each.curve;
  addShown(parts, adopted.firstMesh);
}

void AnimatedScene::switchBack() {
  if (_keepsKeys) knAnimManager::the()->setKeepKeysAtFrame(true);
  knanim::switchBack(_formerMasks);
  _formerMasks.clear();
}

void AnimatedScene::switchOff(osg::AnimNodePtr const& tree) {
  std::erase_if(_formerMasks, [&tree](FormerMask const& former) { return former.node == tree; });
  tree->setTravMask(0);
  osg::announce(tree, osg::Node::TravMaskFieldMask);
}

void AnimatedScene::readCurves(ImportedModel& model) {
  _curves.clear();
  model.curves.clear();
  for (HungCurve const& each : findActive(_nodes)) {
    _curves.push_back(each.curve);
    model.curves.push_back(describe(each));
  }
  if (!model.curves.empty() && model.summary.animations.empty()) model.summary.animations.emplace_back();
  std::erase_if(_caches, [this](SceneCache const& each) {
    return std::ranges::count(findCaches(_meshes[each.mesh].node), each.node) == 0;
  });
}

void AnimatedScene::hangMorphs(ImportedModel const& model, ModelContent const& content) {
  if (model.morphs.empty()) return;
  std::map<std::pair<osg::NodePtr, std::size_t>, std::size_t> places;
  for (std::size_t i = 0; i < _meshes.size(); ++i)
    places.try_emplace({_meshes[i].node->getParent(), _meshes[i].mesh}, i);
  // Models put together have no animation of one name.
  auto const& animations = model.summary.animations;
  std::string const name = animations.empty() ? "" : animations[model.animation].name;
  for (ImportedMorph const& morph : model.morphs) {
    if (morph.node >= _nodes.size() || !_nodes[morph.node].isAlive()) continue;
    auto const place = places.find({_nodes[morph.node], morph.mesh});
    if (place == places.end()) continue;
    ImportedMesh const& mesh = content.meshes[morph.mesh];
    hangCache(place->second, mesh, makeMorphCache(mesh, morph), name.empty() ? "morph" : name);
  }
}

void AnimatedScene::hangCache(std::size_t mesh, ImportedMesh const& source,
                              osg::TimeShapeCachePtr const& cache, std::string const& name) {
  osg::NodePtr const& node = _meshes[mesh].node;
  prepareForCache(node, source);
  osg::AnimNodePtr const cacheNode = makeTree(cache, name);
  knAnimManager::the()->addAnimation(node, cacheNode);
  _caches.push_back({mesh, cacheNode, cache});
}

void AnimatedScene::playBaked(std::size_t mesh, ImportedMesh const& source,
                              osg::TimeShapeCachePtr const& cache) {
  std::erase_if(_caches, [&](SceneCache const& former) {
    if (former.mesh != mesh) return false;
    knAnimManager::the()->subAnimation(_meshes[mesh].node, former.node);
    return true;
  });
  hangCache(mesh, source, cache, "skin");
  _meshes[mesh].isBaked = true;
}

ShapeCounts AnimatedScene::countShapes() const {
  ShapeCounts counts;
  for (SceneCache const& each : _caches) {
    ++counts.caches;
    counts.baked += _meshes[each.mesh].isBaked ? 1U : 0U;
    auto const& shapes = each.cache->getShapes();
    counts.shapes += shapes.size();
    for (osg::TimeShapeDataPtr const& shape : shapes)
      counts.bytes += shapeBytes(1, shape->getPositions().size());
  }
  return counts;
}

CurveReader::CurveReader(AnimatedScene const& scene, std::span<std::size_t const> curves) {
  for (std::size_t const index : curves) add(scene.curves()[index]);
}

CurveReader::CurveReader(std::span<SceneCurve const> curves) {
  for (SceneCurve const& curve : curves) add(curve);
}

void CurveReader::add(SceneCurve const& curve) {
  _nodes.push_back(curve.node);
  _values.push_back(0);
}

void CurveReader::evaluate(double time) {
  for (std::size_t i = 0; i < _nodes.size(); ++i)
    _values[i] = knCurves::getValue(_nodes[i], static_cast<float>(time)).value_or(0.F);
}

std::vector<Key> readSeries(SceneCurve const& curve, std::span<double const> times) {
  std::vector<float> const seconds(times.begin(), times.end());
  std::vector<float> values(seconds.size());
  knCurves::getValues(curve.node, seconds, values);
  std::vector<Key> samples;
  for (std::size_t i = 0; i < values.size(); ++i) samples.push_back({times[i], values[i]});
  return samples;
}

}  // namespace knanim
