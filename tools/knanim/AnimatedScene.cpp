#include "knanim/AnimatedScene.h"

#include "model/scenegraph/Group.h"
#include "model/scenegraph/Transform3D.h"

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
  osg::NodePtr node = osg::Node::create();
  node->setCore(transform);
  osg::NodeUtils::setName(node, source.name, true);
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

osg::AnimCurvePtr makeCurve(ImportedCurve const& source) {
  osg::AnimCurvePtr curve = osg::AnimCurveBase::create();
  curve->setName(fieldName(source.kind));
  curve->setChannelName(channelName(source.kind));
  curve->setSuffix(kComponentSuffixes[source.component]);
  curve->setValueIndex(source.component);
  curve->setForceLinearInterpolation(true);
  curve->setPreInfinityMode(infinityMode(source.before));
  curve->setPostInfinityMode(infinityMode(source.after));
  for (Key const& key : source.keys) {
    curve->addPoint(toPoint(key), {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
  }
  extendStraight(source, *curve);
  return curve;
}

}  // namespace

AnimatedScene::AnimatedScene(ImportedModel const& model) : _root(osg::Node::create()) {
  _root.addRef();
  _root->setCore(osg::GroupBase::create());
  std::vector<osg::NodePtr> nodes;
  nodes.reserve(model.nodes.size());
  for (ImportedNode const& source : model.nodes) {
    osg::NodePtr const node = makeNode(source);
    osg::NodePtr const& parent = source.parent == ImportedNode::NoParent ? _root : nodes[source.parent];
    parent->addChild(node);
    nodes.push_back(node);
  }

  _curves.reserve(model.curves.size());
  for (ImportedCurve const& source : model.curves) {
    osg::NodePtr const& node = nodes[source.node];
    osg::AnimAttachmentPtr attachment = knAnimManager::getAnimAttachment(node);
    if (!attachment.isAlive()) {
      attachment = osg::AnimAttachmentBase::create();
      node->addAttachment(attachment);
    }
    osg::AnimCurvePtr const curve = makeCurve(source);
    osg::AnimNodePtr const curveNode = osg::AnimNodeBase::create();
    curveNode->setCore(curve);
    osg::NodeUtils::setName(
        curveNode, std::string(channelName(source.kind)) + '.' + kComponentSuffixes[source.component], true);
    attachment->addAnimation(curveNode);
    _curves.emplace_back(curveNode, curve);
  }
}

AnimatedScene::~AnimatedScene() { _root.subRef(); }

CurveReader::CurveReader(AnimatedScene const& scene, std::span<std::size_t const> curves) {
  _records.reserve(curves.size());
  for (std::size_t const index : curves) _records.push_back(scene._curves[index]);
}

void CurveReader::evaluate(double time) {
  auto const seconds = static_cast<float>(time);
  for (knAnimManager::knCurveData& record : _records) {
    record.time = seconds;
    record.cycleValueOffset = 0;
  }
  knAnimManager::the().computeCurveValues(_records, seconds);
}

}  // namespace knanim
