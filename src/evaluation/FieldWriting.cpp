#include "evaluation/WriteRule.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/light/UberLight.h"
#include "model/scenegraph/ClipPlane.h"

#include <algorithm>
#include <array>

using osg::FieldContainerPtr;
using osg::UberCameraPtr;

struct knAnimEvaluator::FieldWrite {
  std::string const& name;
  osg::UInt32 valueIndex;
  osg::UInt32 vertexIndex;
  float value;
  WriteRule const* rule = nullptr;  ///< for aims of its type
};

namespace {

using Kind = WriteRule::Kind;

constexpr osg::Camera::CameraSpace Space = osg::Camera::LocalSpace;

/// The type is known by name alone, and may be unknown.
osg::FieldContainerType const* colorComponentType() {
  static osg::FieldContainerType const* const type =
      osg::FieldContainerFactory::the().findType("ColorComponentSettings");
  return type;
}

bool isColorComponent(osg::FieldContainerType const& type) {
  return colorComponentType() != nullptr && type.isDerivedFrom(*colorComponentType());
}

/// Calls `set` with the vector that has one component replaced, unless it has that value already.
template <class Vector, class Set>
void replaceComponent(Vector vector, osg::UInt32 index, float value, Set set) {
  if (index >= Vector::Size || vector[index] == value) return;
  vector[index] = value;
  set(vector);
}

bool isLightKind(Kind kind) { return kind >= Kind::LightGlossy && kind <= Kind::LightTemperature; }

void writeLight(osg::UberLight& light, Kind kind, osg::UInt32 index, float value) {
  switch (kind) {
    case Kind::LightGlossy:
      replaceComponent(light.getGlossyColor(), index, value,
                       [&](auto color) { light.setGlossyColor(color); });
      break;
    case Kind::LightDiffuse:
      replaceComponent(light.getDiffuseColor(), index, value,
                       [&](auto color) { light.setDiffuseColor(color); });
      break;
    case Kind::LightIntensity:
      if (light.getIntensity(light.getUnit()) != value) light.setIntensity(value, light.getUnit());
      break;
    default: {
      if (light.getTemperature() == value) break;
      light.setTemperature(value);
      // Not left to the commit: the colours that follow from it are announced at once as well.
      osg::UberLightPtr const handle(&light);
      announce(handle, osg::UberLightBase::TemperatureFieldMask);
      if (handle.isAlive()) light.updateColorByTemperature();
    }
  }
}

/// What a camera has without a field.
void writeCameraValue(osg::UberCamera& camera, Kind kind, float value) {
  switch (kind) {
    case Kind::TurntableAngle:
      if (camera.getTurntableAngle() != value) camera.setTurntableAngle(value);
      break;
    case Kind::TurntableHeight:
      if (camera.getTurntableHeight() != value) camera.setTurntableHeight(value);
      break;
    case Kind::TurntableDistance:
      if (camera.getTurntableDistance() != value) camera.setTurntableDistance(value);
      break;
    case Kind::FocalLength:
      if (camera.getFocalLength() != value) camera.setFocalLength(value);
      break;
    default:
      if (camera.getFStop() != value) camera.setFStop(value);
  }
}

/// The camera follows its navigator, so the navigator must hear that the camera was moved.
void tellNavigator(UberCameraPtr const& camera) {
  if (camera.isAlive() && camera->hasFlag(osg::UberCamera::NavigatorFollowsFlag)) {
    knAnimManager::updateNavigator(true);
  }
}

void writeRotation(FieldContainerPtr const& aim, WriteRule const& rule, osg::UInt32 index, float value) {
  // A roll that was written and not announced yet turns a camera as well, before this does.
  if (rule.isOfCamera) osg::dcastTo<osg::UberCamera>(aim)->bringInStep();
  if (!aim.isAlive()) return;
  auto& transform = *osg::dcastTo<osg::Transform3D>(aim);
  if (rule.kind == Kind::EulerRotation) {
    replaceComponent(transform.getEulerRotation(), index, value,
                     [&](auto angles) { transform.setRotationAsEuler(angles); });
  } else {
    replaceComponent(transform.getEulerRotationOrientation(), index, value,
                     [&](auto angles) { transform.setRotationOrientationAsEuler(angles); });
  }
}

osg::Transform3D* transformOf(osg::NodePtr const& node) {
  return node.isAlive() ? osg::dcastTo<osg::Transform3D>(node->getCore()) : nullptr;
}

/// The first component brings the present values of the others along; later ones replace their own alone.
template <class Vector>
void keepForLater(Vector const& present, osg::UInt32 index, float value, Vector& kept, bool& unset) {
  if (unset) kept = present;
  unset = false;
  kept[index] = value;
}

void moveNode(osg::NodePtr const& node, osg::Vec3f const& translation) {
  osg::Transform3D* const transform = transformOf(node);
  if (transform == nullptr) return;
  transform->setTranslation(translation);
  announce(node->getCore(), osg::Transform3DBase::TranslationFieldMask);
}

/// Which field of a parent is marked when something of it was written.
struct ParentMark {
  osg::FieldContainerType const* type = nullptr;
  osg::BitVector mask;
  bool forTransformsOnly = false;
};

ParentMark makeParentMark(osg::FieldContainerType const& type) {
  ParentMark mark{&type, {}, false};
  char const* name = nullptr;
  if (type.isDerivedFrom(osg::GeometryBase::_type) || type.isDerivedFrom(osg::ClipPlaneBase::_type)) {
    name = "transform";
  } else if (type.isDerivedFrom(osg::MaterialBase::_type)) {
    name = "colorComponentData";
  } else if (type.isDerivedFrom(osg::UberCameraBase::_type)) {
    name = "tonemappingSettings";
  } else if (isColorComponent(type)) {
    name = "planarProjection";
    mark.forTransformsOnly = true;
  }
  osg::FieldDescription const* const field = name != nullptr ? type.findFieldDescription(name) : nullptr;
  if (field != nullptr) mark.mask = field->getFieldMask();
  return mark;
}

ParentMark const& findParentMark(osg::FieldContainerType const& type) {
  static std::array<ParentMark, 64> table;
  ParentMark& entry = table[type.getId() % table.size()];
  if (entry.type != &type) entry = makeParentMark(type);
  return entry;
}

/// Plain containers are announced first, then what depends on them.
int changeOrderRank(osg::FieldContainerType const& type) {
  if (type.isDerivedFrom(osg::MaterialBase::_type)) return 2;
  if (isColorComponent(type)) return 1;
  return type.isDerivedFrom(osg::Transform3DBase::_type) ? 0 : -1;
}

}  // namespace

// --- One value ----------------------------------------------------------------------------------------------------

void knAnimEvaluator::setOSGFieldValue(knContainerSet const& aims, knContainerSet const& parents,
                                       FieldWrite const& write, CameraData* cameraData) {
  if (aims.empty()) return;
  markParents(parents, aims);
  for (FieldContainerPtr const& aim : aims) writeToAim(aim, write, cameraData);
}

void knAnimEvaluator::markParents(knContainerSet const& parents, knContainerSet const& aims) {
  for (FieldContainerPtr const& parent : parents) {
    osg::FieldContainerType const* const type = parent.findType();
    if (type == nullptr) continue;
    ParentMark const& mark = findParentMark(*type);
    if (mark.mask.none()) continue;
    if (mark.forTransformsOnly &&
        (aims.size() != 1 || osg::dcastTo<osg::Transform3D>(*aims.begin()) == nullptr)) {
      continue;
    }
    markFieldChanged(parent, mark.mask);
  }
}

void knAnimEvaluator::writeToAim(FieldContainerPtr const& aim, FieldWrite const& write,
                                 CameraData* cameraData) {
  osg::FieldContainerType const* const type = aim.findType();
  if (type == nullptr) return;
  bool const isKnown = write.rule != nullptr && write.rule->type == type;
  WriteRule const& rule = isKnown ? *write.rule : WriteRule::find(*type, write.name);
  Kind kind = rule.kind;
  if (isLightKind(kind)) {
    if (auto* const light = osg::dcastTo<osg::UberLight>(osg::dcastTo<osg::Node>(aim)->getCore())) {
      writeLight(*light, kind, write.valueIndex, write.value);
      return;
    }
    kind = rule.field != nullptr ? Kind::Field : Kind::Skip;
  }
  switch (kind) {
    case Kind::Skip:
      break;
    case Kind::Field: {
      // A Real32 "fieldOfView" takes degrees as they come; it is the contents that make the difference.
      bool const inDegrees = rule.angles == WriteRule::Angles::All ||
                             (rule.angles == WriteRule::Angles::Fourth && write.valueIndex == 3);
      osg::Field& field = *rule.field->getField(*aim);
      if (writeToField(field, rule.content, write.valueIndex, write.vertexIndex, write.value, inDegrees)) {
        markFieldChanged(aim, rule.mask);
      }
      break;
    }
    case Kind::EulerRotation:
    case Kind::EulerRotationOrientation:
      writeRotation(aim, rule, write.valueIndex, write.value);
      break;
    case Kind::Visible:
      writeVisibility(*osg::dcastTo<osg::Node>(aim), write.value);
      break;
    case Kind::CameraFrom:
    case Kind::CameraAt:
    case Kind::CameraUp:
    case Kind::CameraAim:
    case Kind::CameraUpTranslation:
      writeCamera(osg::dcast<UberCameraPtr>(aim), rule, write, cameraData);
      break;
    default:
      writeCameraValue(*osg::dcastTo<osg::UberCamera>(aim), kind, write.value);
  }
}

/// Cut off, not rounded: 0.9 hides. Values of -1 and below count as different from hidden, yet hide; so a hidden node
/// is marked each time. Both are meant.
void knAnimEvaluator::writeVisibility(osg::Node& node, float value) {
  osg::Int32 const truncated = truncateToInt(value);
  if ((truncated != 0) == node.isActive()) return;
  markFieldChanged(osg::NodePtr(&node), osg::Node::TravMaskFieldMask);
  node.setTravMask(truncated > 0 ? 0xFFFFFFFFU : 0U);
}

// --- Cameras ------------------------------------------------------------------------------------------------------

void knAnimEvaluator::writeCamera(UberCameraPtr const& camera, WriteRule const& rule, FieldWrite const& write,
                                  CameraData* cameraData) {
  Kind const kind = rule.kind;
  osg::UInt32 const i = write.valueIndex;
  if (i >= 3) return;
  if (kind == Kind::CameraAim || kind == Kind::CameraUpTranslation) {
    bool const isAim = kind == Kind::CameraAim;
    osg::Transform3D const* const transform =
        transformOf(isAim ? camera->getAimNode() : camera->getUpVectorNode());
    // Outside a whole set of curves these two have no effect; that is settled.
    if (transform == nullptr || cameraData == nullptr) return;
    FromAtUpData& kept = (*cameraData)[camera];
    keepForLater(transform->getTranslation(), i, write.value, isAim ? kept.aim : kept.upTranslation,
                 isAim ? kept.aimUnset : kept.upTranslationUnset);
    return;
  }
  if (cameraData != nullptr) {
    FromAtUpData& kept = (*cameraData)[camera];
    if (kind == Kind::CameraFrom)
      keepForLater(camera->getFrom(Space), i, write.value, kept.from, kept.fromUnset);
    if (kind == Kind::CameraAt) keepForLater(camera->getAt(Space), i, write.value, kept.at, kept.atUnset);
    if (kind == Kind::CameraUp) keepForLater(camera->getUp(Space), i, write.value, kept.up, kept.upUnset);
    return;
  }
  auto const withComponent = [&](auto vector) {
    vector[i] = write.value;
    return vector;
  };
  if (kind == Kind::CameraFrom) camera->setFrom(withComponent(camera->getFrom(Space)), Space);
  if (kind == Kind::CameraAt) camera->setAt(withComponent(camera->getAt(Space)), Space);
  if (kind == Kind::CameraUp) camera->setUp(withComponent(camera->getUp(Space)), Space);
  tellNavigator(camera);
}

void knAnimEvaluator::setLegacyCameraFromAtUp(CameraData const& cameraData) {
  for (auto const& [camera, kept] : cameraData) {
    if (!camera.isAlive()) continue;
    osg::Pnt3f from;
    osg::Pnt3f at;
    osg::Vec3f up;
    camera->getFromAtUp(from, at, up, Space);
    if (!kept.fromUnset) from = kept.from;
    if (!kept.atUnset) at = kept.at;
    if (!kept.upUnset) up = kept.up;
    camera->setViewByFromAtUp(from, at, up, Space);
    if (!kept.aimUnset && camera.isAlive()) moveNode(camera->getAimNode(), kept.aim);
    if (!kept.upTranslationUnset && camera.isAlive()) moveNode(camera->getUpVectorNode(), kept.upTranslation);
    tellNavigator(camera);
  }
}

// --- Whole sets, single edits -------------------------------------------------------------------------------------

void knAnimEvaluator::setOSGFieldValue(knCurveData const& data, CameraData* cameraData) {
  if (!data.curve.isAlive()) return;
  osg::AnimCurve const& curve = *data.curve;
  knCurveData::Prepared known = data.prepared;
  if (known.rule == nullptr) known = {nullptr, curve.getValueIndex(), curve.getVertexIndex()};
  float const value = data.value + data.cycleValueOffset;
  if (data.aims.size() < 2) {
    setOSGFieldValue(data.aims, data.parents,
                     {curve.getName(), known.valueIndex, known.vertexIndex, value, known.rule}, cameraData);
    return;
  }
  // Who hears of the first write can destroy the curve before the second.
  std::string const name = curve.getName();
  setOSGFieldValue(data.aims, data.parents, {name, known.valueIndex, known.vertexIndex, value, known.rule},
                   cameraData);
}

void knAnimEvaluator::setOSGFieldValues(std::vector<knCurveData> const& data, bool commit) {
  if (data.empty()) return;
  if (commit) _changedFields.clear();
  CameraData cameras;
  for (knCurveData const& record : data) setOSGFieldValue(record, &cameras);
  setLegacyCameraFromAtUp(cameras);
  if (commit) commitChangedFields();
}

void knAnimEvaluator::setOSGFieldValue(knOSGChannelData const& channel, float const& value, bool commit) {
  auto const& factory = osg::FieldContainerFactory::the();
  FieldContainerPtr const container = factory.getContainer(channel.containerId);
  if (!container.isAlive()) return;
  knContainerSet aims;
  knContainerSet parents;
  aims.insert(container);
  if (FieldContainerPtr const parent = factory.getContainer(channel.parentId)) parents.insert(parent);
  _changedFields.clear();
  setOSGFieldValue(aims, parents, {channel.fieldName, channel.valueIndex, 0, value}, nullptr);
  if (commit) commitChangedFields();
}

void knAnimEvaluator::setOSGFieldValue(osg::AnimCurvePtr const& curve, float const& value, bool commit) {
  if (!curve.isAlive()) return;
  emptyRecords();
  gatherAnimData(false, true, false);
  osg::UInt32 const* const place = _curveMap.find(curve.getContainerId());
  if (place != nullptr) {
    knCurveData record = _curveData[*place];
    record.value = value;
    _changedFields.clear();
    setOSGFieldValue(record, nullptr);
    if (commit) commitChangedFields();
  }
  emptyRecords();
}

// --- Announcing ---------------------------------------------------------------------------------------------------

void knAnimEvaluator::markFieldChanged(FieldContainerPtr const& container, osg::BitVector const& mask) {
  _changedFields.insert(container.getContainerId(), {}).first |= mask;
}

void knAnimEvaluator::commitChangedFields() {
  struct Change {
    FieldContainerPtr container;
    osg::BitVector mask;
  };
  // By rank, from -1 up. Whoever hears of a change may write and commit: nothing here is looked at after that.
  std::array<std::vector<Change>, 4> changes;
  auto const& factory = osg::FieldContainerFactory::the();
  for (auto const& [id, mask] : _changedFields.entries()) {
    FieldContainerPtr const container = factory.getContainer(id);
    if (!container.isAlive()) continue;
    auto const rank = static_cast<std::size_t>(changeOrderRank(*container.findType()) + 1);
    changes[rank].push_back({container, mask});
  }
  for (auto const& ofRank : changes) {
    for (Change const& change : ofRank) announce(change.container, change.mask);
  }
}
