#include "diagnosis/Refusal.h"

#include "diagnosis/Holding.h"
#include "diagnosis/NearNames.h"
#include "evaluation/WriteRule.h"
#include "model/camera/UberCamera.h"
#include "model/light/UberLight.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <sstream>
#include <utility>

using osg::FieldContainerPtr;
using osg::UInt32;

namespace {

using Kind = WriteRule::Kind;

bool isOnLight(FieldContainerPtr const& aim) {
  auto const* const node = osg::dcastTo<osg::Node>(aim);
  return node != nullptr && osg::dcastTo<osg::UberLight>(node->getCore()) != nullptr;
}

/// Nodes take the colours and numbers of a light where they have one.
bool hasNoPlace(WriteRule const& rule, FieldContainerPtr const& aim) {
  if (rule.kind == Kind::Skip) return true;
  bool const isOfLight = rule.kind >= Kind::LightGlossy && rule.kind <= Kind::LightTemperature;
  return isOfLight && rule.field == nullptr && !isOnLight(aim);
}

/// Of the nodes that have a core, only so many are asked.
constexpr std::size_t MostAsked = 16;

/// A name among the nodes that have a core.
std::string nameOfUser(osg::NodeCore const& core) {
  auto const& users = core.getParents();
  for (std::size_t i = 0; i < std::min(users.size(), MostAsked); ++i) {
    if (std::string name = osg::nameOf(users[i]); !name.empty()) return name;
  }
  return {};
}

/// Of trees of any depth, only the upper nodes ask for what has the tree.
bool isNearTop(osg::NodePtr node) {
  constexpr int MostLevels = 16;
  for (int level = 0; level < MostLevels && node.isAlive(); ++level) node = node->getParent();
  return !node.isAlive();
}

std::vector<std::string> fieldNamesOf(osg::FieldContainerType const& type) {
  std::vector<std::string> names;
  for (osg::FieldDescription const& field : type.getFieldDescriptions()) {
    if (WriteRule::contentOf(field.getFieldType()) != WriteRule::Content::Other)
      names.push_back(field.getName().str());
  }
  if (type.isDerivedFrom(osg::Node::_type)) names.emplace_back("visible");
  return names;
}

}  // namespace

std::optional<knStillness> findRefusal(FieldContainerPtr const& aim, std::string const& field,
                                       UInt32 valueIndex) {
  osg::FieldContainerType const* const type = aim.findType();
  if (type == nullptr) return std::nullopt;
  WriteRule const& rule = WriteRule::find(*type, field);
  if (hasNoPlace(rule, aim)) return knStillness::NoField;
  if (valueIndex < rule.size) return std::nullopt;
  return rule.size == 0 ? knStillness::NotWritable : knStillness::NoComponent;
}

std::string describeRefusal(FieldContainerPtr const& aim, std::string const& field, UInt32 valueIndex,
                            knStillness cause) {
  osg::FieldContainerType const* const type = aim.findType();
  if (type == nullptr) return "its aim is gone";
  std::string const fieldOfAim = "the field '" + field + "' of " + titleOf(aim);
  if (cause == knStillness::NotWritable) return fieldOfAim + " is of a kind that takes no values";
  if (cause == knStillness::NoComponent)
    return fieldOfAim + " has " + std::to_string(WriteRule::find(*type, field).size) +
           " components, and none of index " + std::to_string(valueIndex);
  return titleOf(aim) + " has no field '" + field + "' that takes values" +
         nearClause(field, fieldNamesOf(*type));
}

std::string describeDisagreement(osg::TimeShapeData const& one, osg::TimeShapeData const& other) {
  std::size_t const count = one.getPositions().size();
  if (other.getPositions().size() == count && one.getNormals().size() == count &&
      other.getNormals().size() == count)
    return {};
  std::ostringstream text;
  text << "the shapes at " << one.getTime() << " s and " << other.getTime() << " s have " << count << " and "
       << other.getPositions().size() << " vertices and " << one.getNormals().size() << " and "
       << other.getNormals().size() << " normals, so they are not blended: all four numbers must be the same";
  return text.str();
}

std::string describeMisfit(osg::TimeShapeData const& shape, osg::Geometry const& geometry) {
  auto const* const positions = osg::dcastTo<osg::GeoPositions3f>(geometry.getPositions());
  auto const* const normals = osg::dcastTo<osg::GeoNormals3f>(geometry.getNormals());
  auto const differ = [](std::size_t ofShape, std::size_t ofGeometry) {
    return ofShape != 0 && ofShape != ofGeometry;
  };
  std::ostringstream text;
  if (positions != nullptr && differ(shape.getPositions().size(), positions->getValues().size())) {
    text << "the shape at " << shape.getTime() << " s has " << shape.getPositions().size()
         << " vertices and the geometry has " << positions->getValues().size();
  } else if (normals != nullptr && differ(shape.getNormals().size(), normals->getValues().size())) {
    text << "the shape at " << shape.getTime() << " s has " << shape.getNormals().size()
         << " normals and the geometry has " << normals->getValues().size();
  } else {
    return {};
  }
  text << ", so it is not shown at its time, and only in part when blended";
  return text.str();
}

bool isOfFlightOrTrack(osg::AnimCurve const& curve, FieldContainerPtr const& aim) {
  auto const* const camera = osg::dcastTo<osg::UberCamera>(aim);
  if (camera == nullptr) return false;
  bool const isUnplaced = curve.getName() == "vignetteRoundness";
  osg::NodePtr const flight = camera->getAnimationRoot();
  auto const isTrack = [](FieldContainerPtr const& holder) {
    return osg::hasCore<osg::CameraTrack>(osg::dcast<osg::NodePtr>(holder));
  };
  auto const isOfOne = [&](osg::NodePtr const& node) {
    if (flight.isAlive() && node->getParent() == flight) return true;
    return isUnplaced && isNearTop(node) &&
           std::ranges::any_of(findHolders(osg::dcast<osg::AnimNodePtr>(node)), isTrack);
  };
  // What makes a curve is the first to have it.
  auto const& users = curve.getParents();
  for (std::size_t i = 0; i < std::min(users.size(), MostAsked); ++i) {
    if (isOfOne(users[i])) return true;
  }
  return false;
}

std::string describeNoAim(FieldContainerPtr const& owner, std::string const& field) {
  auto const* const node = osg::dcastTo<osg::Node>(owner);
  if (node != nullptr && !node->getCore().isAlive()) return titleOf(owner) + " has no core";
  return titleOf(owner) + " has nothing that takes '" + field + "'";
}

std::string onOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return text;
}

std::string titleOf(osg::AnimCurvePtr const& curve) {
  if (!curve.isAlive()) return "a curve that is gone";
  std::string name = nameOfUser(*curve);
  if (name.empty()) name = curve->getChannelName().empty() ? curve->getName() : curve->getChannelName();
  return "curve '" + name + "'";
}

std::string titleOf(osg::AnimNodePtr const& tree) {
  std::string const name = osg::nameOf(tree);
  if (!name.empty()) return "'" + name + "'";
  osg::AnimCurvePtr const curve =
      tree.isAlive() ? osg::dcast<osg::AnimCurvePtr>(tree->getCore()) : osg::AnimCurvePtr();
  if (curve) return titleOf(curve);
  if (osg::hasCore<osg::TimeShapeCache>(tree)) return "a shape cache";
  std::vector<FieldContainerPtr> holders;
  if (isNearTop(tree)) holders = findHolders(tree);
  if (!holders.empty()) return "an animation of " + titleOf(holders.front());
  osg::FieldContainerPtr const core = tree.isAlive() ? tree->getCore() : osg::NodeCorePtr();
  std::string const kind = core.isAlive() ? core->getType().getName().str() : "animation node";
  std::string const child = tree.isAlive() && tree->getNChildren() > 0 ? osg::nameOf(tree->getChild(0)) : "";
  return "an unnamed " + kind + (child.empty() ? "" : " with '" + child + "'");
}

std::string titleOf(FieldContainerPtr const& container) {
  osg::FieldContainerType const* const type = container.findType();
  if (type == nullptr) return "a container that is gone";
  auto const* const core = osg::dcastTo<osg::NodeCore>(container);
  std::string const name =
      core != nullptr ? nameOfUser(*core) : osg::nameOf(osg::dcast<osg::AttachmentContainerPtr>(container));
  std::string const typeName = type->getName().str();
  return name.empty() ? "an unnamed " + typeName : "'" + name + "' (" + typeName + ")";
}
