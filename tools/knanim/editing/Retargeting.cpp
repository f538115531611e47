#include "knanim/editing/Retargeting.h"

#include "knAnimHelper.h"
#include "knanim/import/EulerAngles.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>

namespace knanim {
namespace {

constexpr double kSameRest = 0.01;  ///< degrees
constexpr double kBendStep = 1.0 / 30;

using CurvesOfNode = std::map<std::pair<ChannelKind, osg::UInt32>, SceneCurve>;

using Vector3 = std::array<double, 3>;

double distance(Vector3 const& a, Vector3 const& b) {
  return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

/// Where the nodes of a model are while nothing moves them, in the space of the scene.
std::vector<Vector3> restingPlaces(ImportedModel const& model) {
  std::vector<Vector3> places(model.nodes.size());
  std::vector<Matrix3> frames(model.nodes.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    ImportedNode const& node = model.nodes[i];
    Matrix3 const own = toMatrix(EulerDegrees{node.rotation[0], node.rotation[1], node.rotation[2]});
    bool const isRoot = node.parent == ImportedNode::NoParent;
    Matrix3 const above = isRoot ? toMatrix(EulerDegrees{}) : frames[node.parent];
    places[i] = isRoot ? Vector3{} : places[node.parent];
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t k = 0; k < 3; ++k) {
        places[i][row] += above[row][k] * node.translation[k];
        for (std::size_t column = 0; column < 3; ++column)
          frames[i][row][column] += above[row][k] * own[k][column] * node.scale[column];
      }
    }
  }
  return places;
}

/// The nearest node above that `isOne` holds for; none gives `NoParent`.
template <typename IsOne>
std::size_t nearestAbove(ImportedModel const& model, std::size_t node, IsOne const& isOne) {
  do {
    node = model.nodes[node].parent;
  } while (node != ImportedNode::NoParent && !isOne(node));
  return node;
}

/// Of the bones that both have: from a pair to the pair that is next above in both.
std::optional<double> ratioOfBones(ImportedModel const& source, ImportedModel const& target,
                                   std::vector<NodePair> const& pairs) {
  std::map<std::size_t, std::size_t> targets;
  std::set<std::size_t> taken;
  for (NodePair const& pair : pairs) {
    targets[pair.source] = pair.target;
    taken.insert(pair.target);
  }
  std::vector<Vector3> const from = restingPlaces(source);
  std::vector<Vector3> const to = restingPlaces(target);
  double inSource = 0;
  double inTarget = 0;
  for (NodePair const& pair : pairs) {
    auto const above =
        nearestAbove(source, pair.source, [&](std::size_t node) { return targets.count(node) > 0; });
    auto const other =
        nearestAbove(target, pair.target, [&](std::size_t node) { return taken.count(node) > 0; });
    if (above == ImportedNode::NoParent || targets[above] != other) continue;
    inSource += distance(from[pair.source], from[above]);
    inTarget += distance(to[pair.target], to[other]);
  }
  bool const isKnown = inSource > 0 && inTarget > 0 && std::isfinite(inTarget / inSource);
  return isKnown ? std::optional(inTarget / inSource) : std::nullopt;
}

Rotation restOf(ImportedNode const& node) {
  return toRotation({node.rotation[0], node.rotation[1], node.rotation[2]});
}

bool bends(SceneCurve const& each) { return !each.curve->getForceLinearInterpolation(); }

/// When curves are looked at: at all of their keys, and between them where one bends.
std::vector<double> timesOf(std::span<SceneCurve const> curves) {
  std::set<double> times;
  for (SceneCurve const& each : curves) {
    for (osg::CCPnt const& key : each.curve->getControlPoints().getValues())
      times.insert(static_cast<double>(key.x()) * each.node->getTotalScale() + each.node->getTotalOffset());
  }
  bool const isFilled = !times.empty() && std::any_of(curves.begin(), curves.end(), bends);
  if (!isFilled) return {times.begin(), times.end()};
  double const begin = *times.begin();
  double const steps = (*times.rbegin() - begin) / kBendStep;
  for (double i = 1; i < steps; ++i) times.insert(begin + i * kBendStep);
  return {times.begin(), times.end()};
}

void turn(std::span<SceneCurve const> curves, Rotation const& before) {
  std::vector<double> const times = timesOf(curves);
  CurveReader reader(curves);
  std::array<osg::MField<osg::Pnt2f>, 3> points;
  EulerDegrees angles;
  for (std::size_t i = 0; i < times.size(); ++i) {
    reader.evaluate(times[i]);
    Rotation rotation = before * toRotation({reader.value(0), reader.value(1), reader.value(2)});
    normalize(rotation);
    angles = i == 0 ? toEuler(rotation) : toEulerNear(rotation, angles);
    auto const time = static_cast<float>(times[i]);
    points[0].getValues().emplace_back(time, static_cast<float>(angles.x));
    points[1].getValues().emplace_back(time, static_cast<float>(angles.y));
    points[2].getValues().emplace_back(time, static_cast<float>(angles.z));
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    SceneCurve const& each = curves[axis];
    each.curve->clear();
    each.curve->addPoints(points[axis]);
    each.curve->setForceLinearInterpolation(true);
    each.node->setOffset({0, 0});
    each.node->setScale(1);
    osg::announce(each.curve, osg::AnimCurveBase::ControlPointsFieldMask |
                                  osg::AnimCurveBase::ForceLinearInterpolationFieldMask);
    osg::announce(each.node, osg::AnimNodeBase::OffsetFieldMask | osg::AnimNodeBase::ScaleFieldMask);
  }
}

void fitTranslations(CurvesOfNode const& curves, ImportedNode const& from, ImportedNode const& to,
                     Retargeting& result) {
  for (auto const& [channel, each] : curves) {
    if (channel.first != ChannelKind::Translation) continue;
    osg::AnimCurvePtr curve = each.curve;
    double const offset =
        to.translation[channel.second] - from.translation[channel.second] * result.sizeRatio;
    knAnimHelper::scaleAndOffsetCurveValues(curve, static_cast<float>(result.sizeRatio),
                                            static_cast<float>(offset));
    ++result.moved;
  }
}

void fitRotations(CurvesOfNode const& curves, ImportedNode const& from, ImportedNode const& to,
                  Retargeting& result) {
  std::vector<SceneCurve> axes;
  for (auto const& [channel, each] : curves) {
    if (channel.first == ChannelKind::Rotation) axes.push_back(each);
  }
  double const angle = angleBetween(restOf(from), restOf(to));
  if (axes.empty() || angle <= kSameRest) return;
  bool const isWhole = axes.size() == 3 && std::none_of(axes.begin(), axes.end(), [](SceneCurve const& each) {
                         return each.curve->isEmpty();
                       });
  if (!isWhole) {
    result.leftAlone.push_back(from.name);
    return;
  }
  turn(axes, restOf(to) * inverse(restOf(from)));
  ++result.turned;
  result.largestTurn = std::max(result.largestTurn, angle);
}

}  // namespace

Retargeting retarget(SceneGuest const& guest, ImportedModel const& source, ImportedModel const& target,
                     std::vector<NodePair> const& pairs) {
  std::map<std::size_t, CurvesOfNode> curves;
  for (std::size_t i = 0; i < guest.curves().size(); ++i) {
    SceneCurve const& each = guest.curves()[i];
    curves[source.curves[i].node][{each.kind, each.component}] = each;
  }
  Retargeting result;
  auto const ratio = ratioOfBones(source, target, pairs);
  result.sizeRatio = ratio.value_or(1);
  result.isSizeKnown = ratio.has_value();
  for (NodePair const& pair : pairs) {
    ImportedNode const& from = source.nodes[pair.source];
    ImportedNode const& to = target.nodes[pair.target];
    fitTranslations(curves[pair.source], from, to, result);
    fitRotations(curves[pair.source], from, to, result);
  }
  return result;
}

}  // namespace knanim
