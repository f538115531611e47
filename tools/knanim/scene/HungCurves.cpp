#include "knanim/scene/HungCurves.h"

#include "model/sceneext/AnimBlock.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

namespace knanim {
namespace {

/// A node of an animation tree on the way down.
struct Branch {
  osg::AnimNodePtr node;
  std::string animation;
  osg::AnimNodePtr block;
  bool isActiveInBlock = true;
};

std::optional<ChannelKind> kindOf(std::string const& field) {
  if (field == "translation") return ChannelKind::Translation;
  if (field == "eulerRotation") return ChannelKind::Rotation;
  if (field == "scale") return ChannelKind::Scale;
  return std::nullopt;
}

void addCurve(Branch const& branch, osg::AnimCurvePtr const& curve, std::size_t index,
              osg::NodePtr const& owner, HungCurves& found) {
  auto const kind = kindOf(curve->getName());
  auto const target = osg::dcast<osg::Transform3DPtr>(owner->getCore());
  if (!kind || target == nullptr || curve->getValueIndex() > 2) {
    ++found.others;
    return;
  }
  bool const isActive = branch.isActiveInBlock && curve->getActive();
  found.curves.push_back({{branch.node, curve, target, *kind, curve->getValueIndex()},
                          index,
                          branch.animation,
                          branch.block,
                          isActive && (branch.block == nullptr || branch.block->isActive()),
                          isActive});
}

void addTree(osg::AnimNodePtr const& root, std::size_t index, osg::NodePtr const& owner, HungCurves& found) {
  std::vector<Branch> pending{{root, "", {}, true}};
  while (!pending.empty()) {
    Branch branch = std::move(pending.back());
    pending.pop_back();
    bool const isBlock = osg::dcastTo<osg::AnimBlock>(branch.node->getCore()) != nullptr;
    bool const isTopBlock = isBlock && branch.node->getParent() == root;
    if (isTopBlock) branch.block = branch.node;
    branch.isActiveInBlock =
        branch.isActiveInBlock && (isTopBlock || branch.node->isActive()) && !branch.node->getHidden();
    if (auto const curve = osg::dcast<osg::AnimCurvePtr>(branch.node->getCore()); curve != nullptr)
      addCurve(branch, curve, index, owner, found);
    if (isBlock) {
      char const* const name = osg::NodeUtils::getName(branch.node);
      branch.animation = name != nullptr ? name : "";
    }
    for (osg::UInt32 i = branch.node->getNChildren(); i-- > 0;) {
      if (auto const child = osg::dcast<osg::AnimNodePtr>(branch.node->getChild(i)); child != nullptr)
        pending.push_back({child, branch.animation, branch.block, branch.isActiveInBlock});
    }
  }
}

Extrapolation extrapolation(osg::UInt32 mode) {
  if (mode == osg::ConstantInfinity || mode > osg::OscillateInfinity) return Extrapolation::Constant;
  return mode == osg::LinearInfinity ? Extrapolation::Linear : Extrapolation::Repeat;
}

}  // namespace

HungCurves findCurves(std::span<osg::NodePtr const> nodes) {
  HungCurves found;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(nodes[i]);
    if (!attachment.isAlive() || attachment->getAnimationRoot() == nullptr) continue;
    addTree(attachment->getAnimationRoot(), i, nodes[i], found);
  }
  return found;
}

CurveForm formOf(osg::AnimCurve const& curve, osg::AnimNode const& node) {
  CurveForm form{{},
                 curve.getForceLinearInterpolation(),
                 curve.getPreInfinityMode(),
                 curve.getPostInfinityMode(),
                 node.getTotalOffset(),
                 node.getTotalScale(),
                 node.getPostCycles()};
  for (osg::CCPnt const& key : curve.getControlPoints().getValues()) {
    form.keys.push_back({key.x(),
                         key.y(),
                         {key.inX(), key.inY()},
                         {key.outX(), key.outY()},
                         static_cast<std::uint8_t>(key.inType()),
                         static_cast<std::uint8_t>(key.outType())});
  }
  return form;
}

ImportedCurve describe(HungCurve const& hung) {
  osg::AnimCurve const& curve = *hung.curve.curve;
  osg::AnimNode const& node = *hung.curve.node;
  ImportedCurve result;
  result.node = hung.node;
  result.kind = hung.curve.kind;
  result.component = static_cast<std::uint8_t>(hung.curve.component);
  result.before = extrapolation(curve.getPreInfinityMode());
  result.after = extrapolation(curve.getPostInfinityMode());
  result.form = formOf(curve, node);
  for (BezierKey const& key : result.form.keys) {
    double const time = static_cast<double>(key.time) * node.getTotalScale() + node.getTotalOffset();
    if (std::isfinite(time) && std::isfinite(key.value)) result.keys.push_back({time, key.value});
  }
  if (node.getTotalScale() < 0) {
    std::reverse(result.keys.begin(), result.keys.end());
    std::swap(result.before, result.after);
  }
  std::vector<Key> ascending;
  for (Key const& key : result.keys) {
    while (!ascending.empty() && key.time <= ascending.back().time) ascending.pop_back();
    ascending.push_back(key);
  }
  result.keys = std::move(ascending);
  return result;
}

bool standsBefore(HungCurve const& a, HungCurve const& b) {
  return std::tie(a.node, a.curve.kind, a.curve.component) <
         std::tie(b.node, b.curve.kind, b.curve.component);
}

}  // namespace knanim
