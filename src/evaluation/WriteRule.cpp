#include "evaluation/WriteRule.h"

#include "model/camera/UberCamera.h"
#include "model/geometry/Geometry.h"
#include "model/sceneext/AnimCurve.h"
#include "model/scenegraph/Transform3D.h"

#include <array>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <utility>

using osg::FieldContainerType;

namespace {

using Kind = WriteRule::Kind;
using Content = WriteRule::Content;

constexpr osg::UInt32 AnyIndex = 0xFFFFFFFFU;

struct NamedKind {
  char const* name;
  Kind kind;
};

constexpr NamedKind TransformNames[] = {{"eulerRotation", Kind::EulerRotation},
                                        {"eulerRotationOrientation", Kind::EulerRotationOrientation}};
constexpr NamedKind LightNames[] = {{"glossy", Kind::LightGlossy},
                                    {"diffuse", Kind::LightDiffuse},
                                    {"intensity", Kind::LightIntensity},
                                    {"temperature", Kind::LightTemperature}};
constexpr NamedKind CameraNames[] = {{"from", Kind::CameraFrom},
                                     {"at", Kind::CameraAt},
                                     {"up", Kind::CameraUp},
                                     {"aimTranslation", Kind::CameraAim},
                                     {"upTranslation", Kind::CameraUpTranslation}};
/// What a camera has without a field.
constexpr NamedKind CameraValues[] = {{"turntableAngle", Kind::TurntableAngle},
                                      {"turntableHeight", Kind::TurntableHeight},
                                      {"turntableDistance", Kind::TurntableDistance},
                                      {"focalLength", Kind::FocalLength},
                                      {"fStop", Kind::FStop}};

template <std::size_t N>
Kind kindOf(NamedKind const (&table)[N], std::string const& name) {
  for (NamedKind const& entry : table) {
    if (name == entry.name) return entry.kind;
  }
  return Kind::Skip;
}

template <class T>
std::pair<osg::UInt32, Content> entryOf(Content content) {
  return {osg::SField<T>::getClassType().getId(), content};
}

/// How many components the contents of a field have.
osg::UInt32 sizeOf(Content content) {
  switch (content) {
    case Content::Vec2f:
    case Content::Pnt2f:
      return 2;
    case Content::Vec3f:
    case Content::Pnt3f:
    case Content::Color3f:
    case Content::Positions:
    case Content::Normals:
      return 3;
    case Content::Vec4f:
    case Content::Pnt4f:
    case Content::Color4f:
      return 4;
    case Content::Other:
      return 0;
    default:
      return AnyIndex;
  }
}

osg::UInt32 sizeOf(WriteRule const& rule) {
  switch (rule.kind) {
    case Kind::Skip:
      return 0;
    case Kind::Field:
      return sizeOf(rule.content);
    case Kind::EulerRotation:
    case Kind::EulerRotationOrientation:
    case Kind::CameraFrom:
    case Kind::CameraAt:
    case Kind::CameraUp:
    case Kind::CameraAim:
    case Kind::CameraUpTranslation:
      return 3;
    case Kind::LightGlossy:
    case Kind::LightDiffuse:
      return rule.field != nullptr ? sizeOf(rule.content) : 3;
    default:
      return AnyIndex;
  }
}

/// What is left when no name is treated by itself: the field, or what has no field.
WriteRule makeFieldRule(FieldContainerType const& type, std::string const& name) {
  WriteRule rule;
  if (osg::FieldDescription const* const field = type.findFieldDescription(name.c_str())) {
    rule.kind = Kind::Field;
    rule.content = WriteRule::contentOf(field->getFieldType());
    rule.field = field;
    rule.mask = field->getFieldMask();
  } else if (type.isDerivedFrom(osg::Node::_type)) {
    rule.kind = name == "visible" ? Kind::Visible : Kind::Skip;
  } else if (type.isDerivedFrom(osg::UberCameraBase::_type)) {
    rule.kind = kindOf(CameraValues, name);
  }
  return rule;
}

WriteRule makeRule(FieldContainerType const& type, std::string const& name) {
  WriteRule rule;
  if (Kind const kind = kindOf(TransformNames, name); kind != Kind::Skip) {
    if (type.isDerivedFrom(osg::Transform3DBase::_type)) rule.kind = kind;
    rule.isOfCamera = type.isDerivedFrom(osg::UberCameraBase::_type);
    rule.type = &type;
    rule.mask = kind == Kind::EulerRotation ? osg::Transform3DBase::EulerRotationFieldMask
                                            : osg::Transform3DBase::EulerRotationOrientationFieldMask;
    return rule;
  }
  rule = makeFieldRule(type, name);
  rule.type = &type;
  Kind special = Kind::Skip;
  if (type.isDerivedFrom(osg::Node::_type)) {
    special = kindOf(LightNames, name);
  } else if (type.isDerivedFrom(osg::UberCameraBase::_type)) {
    special = kindOf(CameraNames, name);
  }
  if (special != Kind::Skip) rule.kind = special;
  if (name == "fieldOfView") rule.angles = WriteRule::Angles::All;
  if (name == "glareParameter") rule.angles = WriteRule::Angles::Fourth;
  return rule;
}

/// Plain fields are announced later; those of a curve can decide where its value goes. The transform of the library calls
/// nothing of the host's; classes derived from it may.
bool mayCallHost(WriteRule const& rule, FieldContainerType const& type) {
  switch (rule.kind) {
    case Kind::Field:
      return type.isDerivedFrom(osg::AnimCurveBase::_type);
    case Kind::Skip:
    case Kind::Visible:
      return false;
    case Kind::EulerRotation:
    case Kind::EulerRotationOrientation:
      return &type != &osg::Transform3DBase::_type;
    default:
      return true;  // what lights and cameras call on
  }
}

/// Every rule that does not skip, for ever: there are no more of them than types have fields and special names.
WriteRule const* findForGood(FieldContainerType const& type, std::string const& name) {
  static std::shared_mutex mutex;
  static auto& rules = *new std::map<std::pair<FieldContainerType const*, std::string>, WriteRule>;
  static WriteRule const skip;
  std::pair<FieldContainerType const*, std::string> key(&type, name);
  {
    std::shared_lock const lock(mutex);
    if (auto const known = rules.find(key); known != rules.end()) return &known->second;
  }
  WriteRule rule = makeRule(type, name);
  rule.mayCallHost = mayCallHost(rule, type);
  rule.size = sizeOf(rule);
  if (rule.kind == Kind::Skip) return &skip;
  std::lock_guard const lock(mutex);
  auto const entry = rules.try_emplace(std::move(key), rule).first;
  entry->second.name = &entry->first.second;
  return &entry->second;
}

}  // namespace

WriteRule::Content WriteRule::contentOf(osg::FieldType const& type) {
  static std::pair<osg::UInt32, Content> const contents[] = {
      entryOf<osg::Vec2f>(Content::Vec2f),
      entryOf<osg::Vec3f>(Content::Vec3f),
      entryOf<osg::Vec4f>(Content::Vec4f),
      entryOf<osg::Pnt2f>(Content::Pnt2f),
      entryOf<osg::Pnt3f>(Content::Pnt3f),
      entryOf<osg::Pnt4f>(Content::Pnt4f),
      entryOf<osg::Color3f>(Content::Color3f),
      entryOf<osg::Color4f>(Content::Color4f),
      entryOf<osg::Real32>(Content::Real32),
      entryOf<osg::Real64>(Content::Real64),
      entryOf<osg::Int32>(Content::Int32),
      entryOf<osg::UInt32>(Content::UInt32),
      entryOf<osg::Int64>(Content::Int64),
      entryOf<osg::UInt64>(Content::UInt64),
      entryOf<bool>(Content::Bool),
      entryOf<osg::GeoPositionsPtr>(Content::Positions),
      entryOf<osg::GeoNormalsPtr>(Content::Normals)};
  if (type.getCardinality() != osg::FieldType::Cardinality::Single) return Content::Other;
  for (auto const& [id, content] : contents) {
    if (id == type.getId()) return content;
  }
  return Content::Other;
}

WriteRule const& WriteRule::find(FieldContainerType const& type, std::string const& name) {
  // Handlers of the process's end may evaluate when the main thread's own memory is gone.
  thread_local bool tableIsGone = false;
  struct Remembered {
    FieldContainerType const* type = nullptr;
    std::string name;
    WriteRule const* rule = nullptr;
  };
  struct Table : std::array<Remembered, 256> {
    ~Table() { tableIsGone = true; }
  };
  if (tableIsGone) return *findForGood(type, name);
  thread_local Table table;
  std::size_t const length = name.size();
  auto const letter = [&](std::size_t i) {
    return static_cast<std::size_t>(static_cast<unsigned char>(name[i]));
  };
  std::size_t const hash =
      length == 0 ? 0 : letter(0) + 7 * letter(length / 2) + 31 * letter(length - 1) + 61 * length;
  Remembered& entry = table[(hash + 37 * type.getId()) % table.size()];
  if (entry.type != &type || entry.name != name) entry = {&type, name, findForGood(type, name)};
  return *entry.rule;
}
