// How a float lands in a field, by what the field holds. Values are compared plainly: a NaN on either side counts as a
// change each time.
#include "evaluation/FieldContents.h"

#include "model/geometry/Geometry.h"
#include "model/scenegraph/Transform3D.h"

#include <limits>

using osg::Field;
using osg::SField;

namespace {

float toRadians(float degrees) { return (degrees + degrees) * 3.1415927F / 360.F; }

osg::Int32 toInt(double value) {
  // Beyond 32 bits the machine's own conversion gives the lowest number; so does this, everywhere.
  if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<osg::Int32>::min();
  return static_cast<osg::Int32>(value);
}

template <class T>
bool store(T& stored, T value) {
  if (stored == value) return false;
  stored = value;
  return true;
}

template <class T>
bool storeComponent(Field& field, osg::UInt32 index, float value) {
  return index < T::Size && store(static_cast<SField<T>&>(field).getValue()[index], value);
}

template <class T>
T& valueOf(Field& field) {
  return static_cast<SField<T>&>(field).getValue();
}

/// Doubles hold the value as it comes, yet are compared with it in radians. So they count as changed nearly each
/// time; hosts that listen to them rely on that.
bool storeDouble(double& stored, float value) {
  if (stored == static_cast<double>(toRadians(value))) return false;
  stored = static_cast<double>(value);
  return true;
}

constexpr osg::UInt32 FirstBit = 10;

template <class T>
bool storeInt32(T& stored, osg::UInt32 index, float value) {
  osg::Int32 const rounded = roundToInt(value);
  if (index < FirstBit) return store(stored, static_cast<T>(rounded));
  osg::UInt32 const bit = 1U << ((index - FirstBit) % 32);
  auto const word = static_cast<osg::UInt32>(stored);
  return store(stored, static_cast<T>(rounded > 0 ? word | bit : word & ~bit));
}

/// A bit is looked at among 64, but set among 32, and the upper half of the word is lost with it. That is how these
/// fields have always been written, and what files hold.
template <class T>
bool storeInt64(T& stored, osg::UInt32 index, float value) {
  osg::Int32 const rounded = roundToInt(value);
  if (index < FirstBit) return store(stored, static_cast<T>(rounded));
  bool const isSet = ((static_cast<osg::UInt64>(stored) >> ((index - FirstBit) % 64)) & 1U) != 0;
  if (isSet == (rounded > 0)) return false;
  osg::UInt32 const bit = 1U << ((index - FirstBit) % 32);
  auto const low = static_cast<osg::UInt32>(stored);
  stored = static_cast<T>(rounded > 0 ? low | bit : low & ~bit);
  return true;
}

/// A property that is missing, or stored in another way, and a vertex or component that there is none of, refuse.
template <class Desc, class Handle>
bool storeVertex(Field& field, osg::UInt32 component, osg::UInt32 vertex, float value) {
  auto* const property = osg::dcastTo<osg::GeoProperty<Desc>>(valueOf<Handle>(field));
  if (property == nullptr || vertex >= property->getSize() || component >= Desc::ValueType::Size)
    return false;
  auto element = property->getValue(vertex);
  if (!store(element[component], value)) return false;
  property->setValue(element, vertex);
  return true;
}

/// The float that writeToField stores a value in as it comes; null where it does more than that, or refuses.
float* findComponent(Field& field, WriteRule::Content content, osg::UInt32 i) {
  using Content = WriteRule::Content;
  auto const in = [i](auto& vector) { return i < std::size_t{vector.Size} ? &vector[i] : nullptr; };
  switch (content) {
    case Content::Vec2f:
      return in(valueOf<osg::Vec2f>(field));
    case Content::Vec3f:
      return in(valueOf<osg::Vec3f>(field));
    case Content::Vec4f:
      return in(valueOf<osg::Vec4f>(field));
    case Content::Pnt2f:
      return in(valueOf<osg::Pnt2f>(field));
    case Content::Pnt3f:
      return in(valueOf<osg::Pnt3f>(field));
    case Content::Pnt4f:
      return in(valueOf<osg::Pnt4f>(field));
    case Content::Color3f:
      return in(valueOf<osg::Color3f>(field));
    case Content::Color4f:
      return in(valueOf<osg::Color4f>(field));
    case Content::Real32:
      return &valueOf<osg::Real32>(field);
    default:
      return nullptr;
  }
}

}  // namespace

float* findPlace(osg::FieldContainerPtr const& aim, WriteRule const& rule, osg::UInt32 index) {
  using Kind = WriteRule::Kind;
  if (rule.name == nullptr) return nullptr;
  if (rule.kind == Kind::Field && rule.angles == WriteRule::Angles::None)
    return findComponent(*rule.field->getField(*aim), rule.content, index);
  // Classes derived from the transform may do anything when they are turned.
  if (aim.findType() != &osg::Transform3DBase::_type || index >= osg::Vec3f::Size) return nullptr;
  auto& transform = *osg::dcastTo<osg::Transform3D>(aim);
  if (rule.kind == Kind::EulerRotation) return &transform.getEulerRotation()[index];
  if (rule.kind == Kind::EulerRotationOrientation) return &transform.getEulerRotationOrientation()[index];
  return nullptr;
}

osg::Int32 roundToInt(float value) {
  double const wide = static_cast<double>(value);
  return toInt(wide < 0.0 ? wide - 0.5 : wide + 0.5);
}

osg::Int32 truncateToInt(float value) { return toInt(static_cast<double>(value)); }

bool writeToField(Field& field, WriteRule::Content content, osg::UInt32 i, osg::UInt32 vertexIndex,
                  float value, bool inDegrees) {
  using Content = WriteRule::Content;
  float const component = inDegrees ? toRadians(value) : value;
  switch (content) {
    case Content::Vec2f:
      return storeComponent<osg::Vec2f>(field, i, component);
    case Content::Vec3f:
      return storeComponent<osg::Vec3f>(field, i, component);
    case Content::Vec4f:
      return storeComponent<osg::Vec4f>(field, i, component);
    case Content::Pnt2f:
      return storeComponent<osg::Pnt2f>(field, i, component);
    case Content::Pnt3f:
      return storeComponent<osg::Pnt3f>(field, i, component);
    case Content::Pnt4f:
      return storeComponent<osg::Pnt4f>(field, i, component);
    case Content::Color3f:
      return storeComponent<osg::Color3f>(field, i, component);
    case Content::Color4f:
      return storeComponent<osg::Color4f>(field, i, component);
    case Content::Real32:
      return store(valueOf<osg::Real32>(field), value);
    case Content::Real64:
      return storeDouble(valueOf<osg::Real64>(field), value);
    case Content::Int32:
      return storeInt32(valueOf<osg::Int32>(field), i, value);
    case Content::UInt32:
      return storeInt32(valueOf<osg::UInt32>(field), i, value);
    case Content::Int64:
      return storeInt64(valueOf<osg::Int64>(field), i, value);
    case Content::UInt64:
      return storeInt64(valueOf<osg::UInt64>(field), i, value);
    case Content::Bool:
      return store(valueOf<bool>(field), roundToInt(value) != 0);
    case Content::Positions:
      return storeVertex<osg::GeoPositions3fPropertyDesc, osg::GeoPositionsPtr>(field, i, vertexIndex, value);
    case Content::Normals:
      return storeVertex<osg::GeoNormals3fPropertyDesc, osg::GeoNormalsPtr>(field, i, vertexIndex, value);
    case Content::Other:
      break;
  }
  return true;
}
