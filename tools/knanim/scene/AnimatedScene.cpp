#include "knanim/scene/AnimatedScene.h"

#include "knAnimEvaluator.h"
#include "knanim/import/ShapeCaches.h"
#include "knanim/scene/AnimationTrees.h"
#include "knanim/scene/SceneContent.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/TagAttachment.h"
#include "model/scenegraph/Group.h"

#include <algorithm>
#include <cassert>
#include <map>

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

osg::Vec3f toVector(std::array<double, 3> const& values) {
  return {static_cast<float>(values[0]), static_cast<float>(values[1]), static_cast<float>(values[2])};
}

osg::NodePtr makeNode(ImportedNode const& source) {
  osg::Transform3DPtr transform = osg::Transform3DBase::create();
  transform->setTranslation(toVector(source.translation));
  transform->setRotationAsEuler(toVector(source.rotation));
  transform->setScale(toVector(source.scale));
  osg::NodePtr node = osg::Node::create();
  node->setCore(transform);
  osg::NodeUtils::setName(node, source.name, true);
  if (!source.tags.empty()) {
    osg::TagAttachmentPtr const tags = osg::TagAttachmentBase::create();
    tags->getTags().getValues() = source.tags;
    node->addAttachment(tags);
  }
  return node;
}

osg::Pnt2f toPoint(Key const& key) { return {static_cast<float>(key.time), static_cast<float>(key.value)}; }

osg::UInt32 infinityMode(Extrapolation extrapolation) {
  switch (extrapolation) {
    case Extrapolation::Linear:
      return osg::LinearInfinity;
    case Extrapolation::Repeat:
      return osg::CycleInfinity;
    case Extrapolation::Constant:
      break;
  }
  return osg::ConstantInfinity;
}

/// Straight lines are extended through a point that the tangent of the end key names by its coordinates. The
/// neighbour is such a point, and the tangents of a curve of straight segments serve nothing else.
void extendStraight(ImportedCurve const& source, osg::AnimCurve& curve) {
  auto const count = source.keys.size();
  if (count < 2) return;
  auto& keys = curve.getControlPoints();
  if (source.before == Extrapolation::Linear) keys[0].setOuttangent(toPoint(source.keys[1]) - osg::Pnt2f());
  if (source.after == Extrapolation::Linear)
    keys[count - 1].setIntangent(toPoint(source.keys[count - 2]) - osg::Pnt2f());
}

/// A curve of the model for one of its node's channels; it hangs on nothing yet.
osg::AnimNodePtr makeCurve(ImportedCurve const& source,
                           std::span<knAnimManager::knOSGChannelData const> channels) {
  auto const channel = std::find_if(channels.begin(), channels.end(), [&source](auto const& each) {
    return each.channelName == channelName(source.kind) && each.valueIndex == source.component;
  });
  assert(channel != channels.end());
  osg::AnimNodePtr const node = knAnimManager::the()->createChannelCurveNode(*channel, {});
  auto const curve = osg::dcast<osg::AnimCurvePtr>(node->getCore());
  curve->setForceLinearInterpolation(true);
  curve->setPreInfinityMode(infinityMode(source.before));
  curve->setPostInfinityMode(infinityMode(source.after));
  for (Key const& key : source.keys) {
    curve->addPoint(toPoint(key), {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
  }
  extendStraight(source, *curve);
  return node;
}

osg::Vec3f fieldOf(SceneCurve const& curve) {
  switch (curve.kind) {
    case ChannelKind::Translation:
      return curve.target->getTranslation();
    case ChannelKind::Rotation:
      return curve.target->getEulerRotation();
    case ChannelKind::Scale:
      break;
  }
  return curve.target->getScale();
}

}  // namespace

float SceneCurve::fieldValue() const { return fieldOf(*this)[component]; }

void SceneCurve::setFieldValue(float value) const {
  osg::Vec3f vector = fieldOf(*this);
  vector[component] = value;
  if (kind == ChannelKind::Rotation) {
    target->setRotationAsEuler(vector);
    return;
  }
  bool const moves = kind == ChannelKind::Translation;
  moves ? target->setTranslation(vector) : target->setScale(vector);
  osg::announce(target, moves ? osg::Transform3D::TranslationFieldMask : osg::Transform3D::ScaleFieldMask);
}

AnimatedScene::AnimatedScene(ImportedModel const& model, ModelContent const& content) {
  connectHost();
  knSceneDataManager::beginScene();
  _root = knSceneDataManager::getSceneData(0)->getRoot();
  _nodes.reserve(model.nodes.size());
  for (ImportedNode const& source : model.nodes) {
    osg::NodePtr const node = makeNode(source);
    osg::NodePtr const& parent = source.parent == ImportedNode::NoParent ? _root : _nodes[source.parent];
    parent->addChild(node);
    _nodes.push_back(node);
  }
  SceneContent shown = addContent(content, _nodes);
  _meshes = std::move(shown.meshes);
  _cameras = std::move(shown.cameras);
  _curves = hangCurves(model, true);
  hangMorphs(model, content);
}

AnimatedScene::~AnimatedScene() {
  knAnimManager::the()->clearClipStructure();
  knSceneDataManager::endScene();
}

std::vector<SceneCurve> AnimatedScene::hangCurves(ImportedModel const& model, bool active) {
  auto const& animations = model.summary.animations;
  bool const hasName = !animations.empty() && !animations[model.animation].name.empty();
  std::string const name = hasName ? animations[model.animation].name : "unnamed";
  std::vector<SceneCurve> curves;
  curves.reserve(model.curves.size());
  for (auto first = model.curves.begin(); first != model.curves.end();) {
    auto const last = std::find_if(first, model.curves.end(),
                                   [first](ImportedCurve const& curve) { return curve.node != first->node; });
    // Nodes outside the tree belong to the animation that the scene was made with.
    if (first->node < _nodes.size() && (active || model.nodes[first->node].inTree))
      hangBlock(_nodes[first->node], {first, last}, name, active, curves);
    first = last;
  }
  return curves;
}

void AnimatedScene::hangBlock(osg::NodePtr const& node, std::span<ImportedCurve const> sources,
                              std::string const& name, bool active, std::vector<SceneCurve>& curves) {
  knAnimManager& manager = *knAnimManager::the();
  std::vector<knAnimManager::knOSGChannelData> channels;
  manager.getKeyableChannels(node, channels);
  for (ImportedCurve const& source : sources) {
    SceneCurve& curve = curves.emplace_back();
    curve.node = makeCurve(source, channels);
    curve.curve = osg::dcast<osg::AnimCurvePtr>(curve.node->getCore());
    curve.target = osg::dcast<osg::Transform3DPtr>(node->getCore());
    curve.kind = source.kind;
    curve.component = source.component;
    manager.addAnimation(node, curve.node);
  }
  manager.createBlock(node, name);
  if (!active) curves.back().node->getParent()->setTravMask(0);
}

void AnimatedScene::hangMorphs(ImportedModel const& model, ModelContent const& content) {
  if (model.morphs.empty()) return;
  std::map<std::pair<osg::NodePtr, std::size_t>, std::size_t> places;
  for (std::size_t i = 0; i < _meshes.size(); ++i)
    places.try_emplace({_meshes[i].node->getParent(), _meshes[i].mesh}, i);
  for (ImportedMorph const& morph : model.morphs) {
    if (morph.node >= _nodes.size()) continue;
    auto const place = places.find({_nodes[morph.node], morph.mesh});
    if (place == places.end()) continue;
    ImportedMesh const& mesh = content.meshes[morph.mesh];
    hangCache(place->second, mesh, makeMorphCache(mesh, morph), "morph");
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
  _records.reserve(curves.size());
  for (std::size_t const index : curves)
    _records.emplace_back(scene.curves()[index].node, scene.curves()[index].curve);
}

CurveReader::CurveReader(std::span<SceneCurve const> curves) {
  _records.reserve(curves.size());
  for (SceneCurve const& curve : curves) _records.emplace_back(curve.node, curve.curve);
}

void CurveReader::evaluate(double time) {
  auto const seconds = static_cast<float>(time);
  for (knAnimManager::knCurveData& record : _records) {
    record.time = seconds;
    record.cycleValueOffset = 0;
  }
  knAnimManager::the()->computeCurveValues(_records, seconds);
}

}  // namespace knanim
