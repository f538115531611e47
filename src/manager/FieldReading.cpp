#include "evaluation/WriteRule.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/light/UberLight.h"

#include <string_view>

using osg::Field;
using osg::FieldContainerPtr;
using osg::SField;

namespace {

using Content = WriteRule::Content;

constexpr osg::Camera::CameraSpace Space = osg::Camera::LocalSpace;
constexpr int LastComponent = 3;
constexpr int FirstBit = 10;

template <class Vector>
float component(Vector const& vector, int index) {
  return index >= 0 && index < static_cast<int>(Vector::Size) ? vector[static_cast<osg::UInt32>(index)] : 0.F;
}

// --- Channels without a field -------------------------------------------------------------------------------------

float readLight(osg::UberLight const& light, std::string_view name, int index) {
  if (name == "intensity") return light.getIntensity(light.getUnit());
  if (name == "temperature") return light.getTemperature();
  if (name == "diffuse") return component(light.getDiffuseColor(), index);
  if (name == "glossy") return component(light.getGlossyColor(), index);
  return 0.F;
}

float readTranslation(osg::NodePtr const& node, int index) {
  if (!node.isAlive()) return 0.F;
  auto const* const transform = osg::dcastTo<osg::Transform3D>(node->getCore());
  return transform != nullptr ? component(transform->getTranslation(), index) : 0.F;
}

float readCamera(osg::UberCamera const& camera, std::string_view name, int index) {
  if (name == "from") return component(camera.getFrom(Space), index);
  if (name == "at") return component(camera.getAt(Space), index);
  if (name == "up") return component(camera.getUp(Space), index);
  if (name == "turntableDistance") return camera.getTurntableDistance();
  if (name == "turntableHeight") return camera.getTurntableHeight();
  if (name == "turntableAngle") return camera.getTurntableAngle();
  if (name == "focalLength") return camera.getFocalLength();
  if (name == "fStop") return camera.getFStop();
  if (name == "aimTranslation") return readTranslation(camera.getAimNode(), index);
  if (name == "upTranslation") return readTranslation(camera.getUpVectorNode(), index);
  return 0.F;
}

float readVirtual(FieldContainerPtr const& container, std::string_view name, int index) {
  if (index > LastComponent) return 0.F;
  if (auto const* const node = osg::dcastTo<osg::Node>(container)) {
    if (name == "visible") return node->isActive() ? 1.F : 0.F;
    auto const* const light = osg::dcastTo<osg::UberLight>(node->getCore());
    return light != nullptr ? readLight(*light, name, index) : 0.F;
  }
  auto const* const camera = osg::dcastTo<osg::UberCamera>(container);
  return camera != nullptr ? readCamera(*camera, name, index) : 0.F;
}

// --- Fields -------------------------------------------------------------------------------------------------------

template <class T>
T const& valueOf(Field const& field) {
  return static_cast<SField<T> const&>(field).getValue();
}

template <class T>
float readInt32(Field const& field, int index) {
  T const value = valueOf<T>(field);
  if (index < FirstBit) return static_cast<float>(value);
  return ((static_cast<osg::UInt32>(value) >> ((index - FirstBit) % 32)) & 1U) != 0 ? 1.F : 0.F;
}

float readDouble(double value, bool inRadians) {
  return static_cast<float>(inRadians ? value / 6.283185307179586 * 360.0 : value);
}

/// Quaternions, vertex properties and lists read as 0.
float readPlain(Field const& field, Content content, int i) {
  switch (content) {
    case Content::Vec2f:
      return component(valueOf<osg::Vec2f>(field), i);
    case Content::Vec3f:
      return component(valueOf<osg::Vec3f>(field), i);
    case Content::Vec4f:
      return component(valueOf<osg::Vec4f>(field), i);
    case Content::Pnt2f:
      return component(valueOf<osg::Pnt2f>(field), i);
    case Content::Pnt3f:
      return component(valueOf<osg::Pnt3f>(field), i);
    case Content::Pnt4f:
      return component(valueOf<osg::Pnt4f>(field), i);
    case Content::Color3f:
      return component(valueOf<osg::Color3f>(field), i);
    case Content::Color4f:
      return component(valueOf<osg::Color4f>(field), i);
    case Content::Real32:
      return valueOf<osg::Real32>(field);
    case Content::Int32:
      return readInt32<osg::Int32>(field, i);
    case Content::UInt32:
      return readInt32<osg::UInt32>(field, i);
    case Content::Int64:
      return static_cast<float>(valueOf<osg::Int64>(field));
    case Content::UInt64:
      return static_cast<float>(valueOf<osg::UInt64>(field));
    case Content::Bool:
      return valueOf<bool>(field) ? 1.F : 0.F;
    default:
      return 0.F;
  }
}

float readField(Field const& field, std::string_view name, int index) {
  Content const content = WriteRule::contentOf(field.getType());
  if (index > LastComponent && content != Content::Int32 && content != Content::UInt32) return 0.F;
  bool const inRadians = name == "glareParameter" && index == LastComponent;
  if (content == Content::Real64) return readDouble(valueOf<osg::Real64>(field), inRadians);
  float const value = readPlain(field, content, index);
  return inRadians ? value / 6.2831855F * 360.F : value;
}

int indexOfLastLetter(std::string_view path) {
  switch (path.back()) {
    case 'A':
    case 'W':
      return 3;
    case 'B':
    case 'Z':
      return 2;
    case 'G':
    case 'Y':
      return 1;
    default:
      return 0;
  }
}

}  // namespace

float knAnimManager::getOSGFieldValue(FieldContainerPtr const& container, char const* fieldName,
                                      int valueIndex) {
  if (!container.isAlive() || fieldName == nullptr) return 0.F;
  Field const* const field = container->getField(fieldName);
  return field != nullptr ? readField(*field, fieldName, valueIndex)
                          : readVirtual(container, fieldName, valueIndex);
}

float knAnimManager::getOSGFieldValue(knOSGChannelData const& channel) {
  return getOSGFieldValue(osg::FieldContainerFactory::the().getContainer(channel.containerId),
                          channel.fieldName.c_str(), static_cast<int>(channel.valueIndex));
}

float knAnimManager::getOSGFieldValue(osg::AnimCurvePtr const& argument, FieldContainerPtr const& aim) {
  osg::AnimCurvePtr const curve = argument;
  // Looking for the aim may ask the host for materials.
  FieldContainerPtr const container = aim.isAlive() ? aim : knAnimEvaluator::the()->getFirstAim(curve);
  if (!curve.isAlive()) return 0.F;
  return getOSGFieldValue(container, curve->getName().c_str(), static_cast<int>(curve->getValueIndex()));
}

float knAnimManager::getOSGFieldValue(unsigned int containerId, std::string const& path) {
  if (path.empty()) return 0.F;
  std::size_t const first = path.find('.') + 1;  // 0 where there is none
  std::size_t const second = path.find('.', first);
  bool const hasSuffix = second != std::string::npos;
  std::string const name = path.substr(first, hasSuffix ? second - first : second);
  return getOSGFieldValue(osg::FieldContainerFactory::the().getContainer(containerId), name.c_str(),
                          hasSuffix ? indexOfLastLetter(path) : 0);
}
