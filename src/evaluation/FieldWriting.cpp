// From a value to the field that it lands in.
#include "diagnosis/MotionWarnings.h"
#include "evaluation/FieldContents.h"
#include "evaluation/FieldWrite.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/light/UberLight.h"

#include <algorithm>

using osg::FieldContainerPtr;
using osg::UberCameraPtr;

namespace {

using Kind = WriteRule::Kind;

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
    case Kind::LightTemperature: {
      if (light.getTemperature() == value) break;
      light.setTemperature(value);
      // Not left to the commit: the colours that follow from it are announced at once as well.
      osg::UberLightPtr const handle(&light);
      announce(handle, osg::UberLightBase::TemperatureFieldMask);
      if (handle.isAlive()) light.updateColorByTemperature();
      break;
    }
    default:
      break;  // no value of a light
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

/// Asks for what the writing of a record reads of its curve, a few records ahead of its turn.
[[gnu::always_inline]] inline void prefetchCurve(std::vector<knCurveData> const& data, std::size_t now) {
  constexpr std::size_t Ahead = 16;
  if (now + 2 * Ahead < data.size()) __builtin_prefetch(data[now + 2 * Ahead].curve.getStoreAddress());
  if (now + Ahead >= data.size() || !data[now + Ahead].curve.isAlive()) return;
  osg::AnimCurve const& curve = *data[now + Ahead].curve;
  __builtin_prefetch(&curve.getName());
  __builtin_prefetch(&curve.getVertexIndex());
}

}  // namespace

void knAnimEvaluator::FieldWrite::noteRefusal(FieldContainerPtr const& aim) const {
  MotionWarnings::noteRefusal(curve != nullptr ? *curve : FieldContainerPtr(), aim, name, valueIndex);
}

// --- One value ----------------------------------------------------------------------------------------------------

void knAnimEvaluator::setOSGFieldValue(knContainerSet const& aims, knContainerSet const& parents,
                                       FieldWrite write, CameraData* cameraData) {
  if (aims.empty()) return;
  markParents(parents, aims);
  for (FieldContainerPtr const& aim : aims) {
    writeToAim(aim, write, cameraData);
    if (write.rule != nullptr && write.rule->mayCallHost) _hostRan = true;
  }
}

void knAnimEvaluator::writeToAim(FieldContainerPtr const& aim, FieldWrite& write, CameraData* cameraData) {
  osg::FieldContainerType const* const type = aim.findType();
  if (type == nullptr) return;
  if (write.type != type) {
    write.type = type;
    write.rule = &WriteRule::find(*type, write.name);
  }
  WriteRule const& rule = *write.rule;
  Kind kind = rule.kind;
  if (write.valueIndex >= rule.size) [[unlikely]]
    write.noteRefusal(aim);
  if (isLightKind(kind)) {
    if (auto* const light = osg::dcastTo<osg::UberLight>(osg::dcastTo<osg::Node>(aim)->getCore())) {
      writeLight(*light, kind, write.valueIndex, write.value);
      return;
    }
    kind = rule.field != nullptr ? Kind::Field : Kind::Skip;
    if (kind == Kind::Skip) write.noteRefusal(aim);
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
    case Kind::TurntableAngle:
    case Kind::TurntableHeight:
    case Kind::TurntableDistance:
    case Kind::FocalLength:
    case Kind::FStop:
      writeCameraValue(*osg::dcastTo<osg::UberCamera>(aim), kind, write.value);
      break;
    case Kind::LightGlossy:
    case Kind::LightDiffuse:
    case Kind::LightIntensity:
    case Kind::LightTemperature:
      break;  // done above
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

// --- Whole sets, single edits -------------------------------------------------------------------------------------

/// What gathering has read of the curve counts until something of the host's has run, which may have edited it.
void knAnimEvaluator::setOSGFieldValue(knCurveData const& data, CameraData* cameraData) {
  if (!data.curve.isAlive()) return;
  osg::AnimCurve const& curve = *data.curve;
  knCurveData::Prepared known = data.prepared;
  if (_hostRan || known.rule == nullptr) known = {nullptr, curve.getValueIndex(), curve.getVertexIndex()};
  float const value = data.value + data.cycleValueOffset;
  osg::FieldContainerType const* const type = known.rule != nullptr ? known.rule->type : nullptr;
  if (data.aims.size() < 2) {
    setOSGFieldValue(
        data.aims, data.parents,
        {curve.getName(), known.valueIndex, known.vertexIndex, value, type, known.rule, &data.curve},
        cameraData);
    return;
  }
  // Who hears of the first write can destroy the curve before the second.
  std::string const name = curve.getName();
  setOSGFieldValue(data.aims, data.parents,
                   {name, known.valueIndex, known.vertexIndex, value, type, known.rule, &data.curve},
                   cameraData);
}

void knAnimEvaluator::writeRecords(std::vector<knCurveData> const& data) {
  CameraData cameras;
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (_hostRan) prefetchCurve(data, i);
    setOSGFieldValue(data[i], &cameras);
  }
  setLegacyCameraFromAtUp(cameras);
}

void knAnimEvaluator::setOSGFieldValues(std::vector<knCurveData> const& data, bool commit) {
  if (data.empty()) return;
  WritePhase const phase(*this, commit, commit);
  writeRecords(data);
  if (commit) commitChangedFields();
}

void knAnimEvaluator::setOSGFieldValue(knOSGChannelData const& channel, float value, bool commit) {
  auto const& factory = osg::FieldContainerFactory::the();
  FieldContainerPtr const container = factory.getContainer(channel.containerId);
  if (!container.isAlive()) return;
  knContainerSet aims;
  knContainerSet parents;
  aims.insert(container);
  if (FieldContainerPtr const parent = factory.getContainer(channel.parentId)) parents.insert(parent);
  WritePhase const phase(*this, true, commit);
  setOSGFieldValue(aims, parents, {channel.fieldName, channel.valueIndex, 0, value}, nullptr);
  if (commit) commitChangedFields();
  MotionWarnings::tellRefusals();
}

void knAnimEvaluator::writeOne(knCurveData const& record, bool commit) {
  WritePhase const phase(*this, true, commit);
  setOSGFieldValue(record, nullptr);
  if (commit) commitChangedFields();
  MotionWarnings::tellRefusals();
}
