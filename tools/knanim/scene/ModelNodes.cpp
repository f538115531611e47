#include "knanim/scene/ModelNodes.h"

#include "knCurves.h"
#include "model/sceneext/TagAttachment.h"

#include <algorithm>
#include <cassert>

namespace knanim {
namespace {

osg::Vec3f toVector(std::array<double, 3> const& values) {
  return {static_cast<float>(values[0]), static_cast<float>(values[1]), static_cast<float>(values[2])};
}

osg::NodePtr makeNode(ImportedNode const& source) {
  osg::Transform3DPtr transform = osg::Transform3DBase::create();
  transform->setTranslation(toVector(source.translation));
  transform->setRotationAsEuler(toVector(source.rotation));
  transform->setScale(toVector(source.scale));
  transform->setRotationOrientationAsEuler(toVector(source.orientation));
  transform->setRotatePivot(toVector(source.pivot));
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

/// Tangents that follow from the keys. A straight line outside takes its direction from a tangent: one more key at the
/// same time has it.
void smoothen(ImportedCurve const& source, Tangents tangents, osg::AnimCurvePtr const& curve) {
  if (tangents == Tangents::Linear || source.keys.size() < 3) return;
  curve->setForceLinearInterpolation(false);
  knCurves::setTangents(curve, tangents == Tangents::Clamped ? knTangents::Clamped : knTangents::Smooth);
  auto& keys = curve->getControlPoints().getValues();
  if (source.before == Extrapolation::Linear) {
    osg::CCPnt first = keys.front();
    first.setOuttangent(first.point() - osg::Pnt2f() + first.outtangent());
    keys.insert(keys.begin(), first);
  }
  if (source.after == Extrapolation::Linear) {
    osg::CCPnt last = keys.back();
    last.setIntangent(last.point() - osg::Pnt2f() + last.intangent());
    keys.push_back(last);
  }
}

void giveForm(CurveForm const& form, osg::AnimCurve& curve, osg::AnimNode& node) {
  curve.setForceLinearInterpolation(form.isStraight);
  curve.setPreInfinityMode(form.before);
  curve.setPostInfinityMode(form.after);
  auto& points = curve.getControlPoints().getValues();
  for (BezierKey const& key : form.keys) {
    points.push_back(osg::CCPnt({key.time, key.value}, {key.in[0], key.in[1]}, {key.out[0], key.out[1]},
                                key.inType, key.outType));
  }
  node.setOffset({form.offset, 0});
  node.setScale(form.scale);
  node.setPostCycles(form.cycles);
}

void fill(ImportedCurve const& source, Tangents tangents, osg::AnimCurvePtr const& curve,
          osg::AnimNode& node) {
  if (!source.form.keys.empty()) {
    giveForm(source.form, *curve, node);
    return;
  }
  curve->setForceLinearInterpolation(true);
  curve->setPreInfinityMode(infinityMode(source.before));
  curve->setPostInfinityMode(infinityMode(source.after));
  for (Key const& key : source.keys) {
    curve->addPoint(toPoint(key), {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
  }
  extendStraight(source, *curve);
  smoothen(source, tangents, curve);
}

/// A curve of the model for one of its node's channels; it hangs on nothing yet.
osg::AnimNodePtr makeCurve(ImportedCurve const& source, Tangents tangents,
                           std::span<knAnimManager::knOSGChannelData const> channels) {
  auto const channel = std::find_if(channels.begin(), channels.end(), [&source](auto const& each) {
    return each.channelName == channelName(source.kind) && each.valueIndex == source.component;
  });
  assert(channel != channels.end());
  osg::AnimNodePtr const node = knAnimManager::the()->createChannelCurveNode(*channel, {});
  fill(source, tangents, osg::dcast<osg::AnimCurvePtr>(node->getCore()), *node);
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

/// A block with the curves of one node, which are appended to `curves`.
void hangBlock(osg::NodePtr const& node, std::span<ImportedCurve const> sources, Tangents tangents,
               std::string const& name, bool active, std::vector<SceneCurve>& curves) {
  knAnimManager& manager = *knAnimManager::the();
  std::vector<knAnimManager::knOSGChannelData> channels;
  manager.getKeyableChannels(node, channels);
  for (ImportedCurve const& source : sources) {
    SceneCurve& curve = curves.emplace_back();
    curve.node = makeCurve(source, tangents, channels);
    curve.curve = osg::dcast<osg::AnimCurvePtr>(curve.node->getCore());
    curve.target = osg::dcast<osg::Transform3DPtr>(node->getCore());
    curve.kind = source.kind;
    curve.component = source.component;
    manager.addAnimation(node, curve.node);
  }
  manager.createBlock(node, name);
  if (!active) curves.back().node->getParent()->setTravMask(0);
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

osg::AnimNodePtr makeCurveNode(CurveForm const& form) {
  osg::AnimNodePtr const node = osg::AnimNodeBase::create();
  osg::AnimCurvePtr const curve = osg::AnimCurveBase::create();
  giveForm(form, *curve, *node);
  node->setCore(curve);
  return node;
}

osg::AnimNodePtr makeCurveNode(ImportedCurve const& source, Tangents tangents) {
  osg::AnimNodePtr const node = osg::AnimNodeBase::create();
  osg::AnimCurvePtr const curve = osg::AnimCurveBase::create();
  fill(source, tangents, curve, *node);
  node->setCore(curve);
  return node;
}

std::vector<osg::NodePtr> makeNodes(ImportedModel const& model, osg::NodePtr const& parent,
                                    std::vector<bool> const& isMade) {
  std::vector<osg::NodePtr> nodes;
  nodes.reserve(model.nodes.size());
  for (ImportedNode const& source : model.nodes) {
    if (!isMade.empty() && !isMade[nodes.size()]) {
      nodes.emplace_back();
      continue;
    }
    osg::NodePtr const node = makeNode(source);
    (source.parent == ImportedNode::NoParent ? parent : nodes[source.parent])->addChild(node);
    nodes.push_back(node);
  }
  return nodes;
}

std::vector<SceneCurve> hangCurves(ImportedModel const& model, std::span<osg::NodePtr const> nodes,
                                   bool active) {
  auto const& animations = model.summary.animations;
  bool const hasName = !animations.empty() && !animations[model.animation].name.empty();
  std::string const name = hasName ? animations[model.animation].name : "unnamed";
  std::vector<SceneCurve> curves;
  curves.reserve(model.curves.size());
  for (auto first = model.curves.begin(); first != model.curves.end();) {
    auto const last = std::find_if(first, model.curves.end(),
                                   [first](ImportedCurve const& curve) { return curve.node != first->node; });
    // Nodes outside the tree belong to the animation that the scene was made with.
    if (first->node < nodes.size() && !nodes[first->node].isAlive())
      curves.resize(curves.size() + static_cast<std::size_t>(last - first));
    else if (first->node < nodes.size() && (active || model.nodes[first->node].inTree))
      hangBlock(nodes[first->node], {first, last}, model.tangents, name, active, curves);
    first = last;
  }
  return curves;
}

}  // namespace knanim
