#include "evaluation/AnimOwner.h"

#include "model/camera/UberCamera.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/scenegraph/ClipPlane.h"

#include <algorithm>
#include <string_view>

using osg::FieldContainerPtr;

namespace {

using Parents = std::vector<FieldContainerPtr>;

/// Prefixes of the fields that a camera's tonemapping settings hold. "vignetteRoughness" is no slip of the pen to
/// be mended: the field is called "vignetteRoundness", and scenes rely on its curves staying with the camera.
constexpr std::string_view TonemapperNames[] = {
    "exposure",          "whitepoint",         "whitebalance",    "filmicParameter", "colorCorrection",
    "glowParameter",     "glareParameter",     "glareParameter2", "vignetteRadius",  "vignetteFeather",
    "vignetteRoughness", "blendAmount",        "candelaRange",    "sensitivity",     "tonemapperId",
    "blendMode",         "postprocessingFlags"};
/// Prefixes of the channels that a light takes through its node.
constexpr std::string_view LightNodeChannels[] = {"intensity", "temperature", "diffuse", "glossy"};

template <std::size_t N>
bool beginsWithOne(std::string_view text, std::string_view const (&prefixes)[N]) {
  return std::any_of(std::begin(prefixes), std::end(prefixes),
                     [text](std::string_view prefix) { return text.starts_with(prefix); });
}

}  // namespace

AnimOwner::AnimOwner(FieldContainerPtr const& owner) : _owner(owner) {
  if (auto const* const node = osg::dcastTo<osg::Node>(owner)) {
    _core = node->getCore();
    _kind = kindOf(_core);
  } else if (osg::dcastTo<osg::Material>(owner) != nullptr) {
    _kind = Kind::Material;
  }
}

AnimOwner::Kind AnimOwner::kindOf(osg::NodeCorePtr const& core) {
  osg::FieldContainerType const* const type = core.findType();
  if (type == nullptr) return Kind::NoCore;
  if (type->isDerivedFrom(osg::GeometryBase::_type)) return Kind::Geometry;
  if (type->isDerivedFrom(osg::ClipPlaneBase::_type)) return Kind::ClipPlane;
  if (type->isDerivedFrom(osg::MaterialGroupBase::_type)) return Kind::MaterialGroup;
  if (type->isDerivedFrom(osg::UberCameraBase::_type)) return Kind::Camera;
  if (type->isDerivedFrom(osg::UberLightBase::_type)) return Kind::Light;
  return Kind::PlainCore;
}

void AnimOwner::findAim(osg::AnimCurve const& curve, FieldContainerPtr& aim, Parents& parents) const {
  // Who was asked for a curve before this one may have destroyed them.
  if (_kind == Kind::Nothing || !_owner.isAlive() || (_core && !_core.isAlive())) return;
  if (_kind == Kind::Material) {
    findAimOfMaterial(curve, aim, parents);
    return;
  }
  if (curve.getChannelName() == "visible") {
    aim = _owner;
    return;
  }
  switch (_kind) {
    case Kind::NoCore:
      aim = FieldContainerPtr();
      break;
    case Kind::Geometry:
      aim = osg::dcastTo<osg::Geometry>(_core)->getTransform();
      parents.push_back(_core);
      break;
    case Kind::ClipPlane:
      aim = osg::dcastTo<osg::ClipPlane>(_core)->getTransform();
      parents.push_back(_core);
      break;
    case Kind::MaterialGroup:
      AnimOwner(osg::dcastTo<osg::MaterialGroup>(_core)->getMaterial()).findAim(curve, aim, parents);
      break;
    case Kind::Camera:
      findAimOfCamera(curve, aim, parents);
      break;
    case Kind::Light:
      findAimOfLight(curve, aim, parents);
      break;
    default:
      aim = _core;
  }
}

void AnimOwner::findAimOfMaterial(osg::AnimCurve const& curve, FieldContainerPtr& aim,
                                  Parents& parents) const {
  if (!_hasDescriptions) {
    osg::AnimCurvePtr const asking(&curve);
    osg::dcastTo<osg::Material>(_owner)->getChannelDescriptions(_descriptions);
    _hasDescriptions = true;
    if (!asking.isAlive()) return;
  }
  aim = _owner;
  auto const found = std::find_if(
      _descriptions.begin(), _descriptions.end(),
      [&](osg::ChannelDescription const& one) { return one.channelName == curve.getChannelName(); });
  if (found == _descriptions.end()) return;
  auto const& factory = osg::FieldContainerFactory::the();
  auto const& ids = found->containerIds;
  aim = ids.empty() ? FieldContainerPtr() : factory.getContainer(ids[0]);
  for (std::size_t i = 1; i < ids.size(); ++i) {
    if (FieldContainerPtr const parent = factory.getContainer(ids[i])) parents.push_back(parent);
  }
  if (aim != _owner) parents.push_back(_owner);
}

/// Goes by the name of the curve's field, where a light goes by the name of the channel.
void AnimOwner::findAimOfCamera(osg::AnimCurve const& curve, FieldContainerPtr& aim, Parents& parents) const {
  auto const& camera = *osg::dcastTo<osg::UberCamera>(_core);
  std::string_view const name = curve.getName();
  aim = _core;
  if (beginsWithOne(name, TonemapperNames)) {
    aim = camera.getTonemappingSettings();
  } else if (name.starts_with("fog")) {
    aim = camera.getFogSettings();
  } else {
    return;
  }
  parents.push_back(_core);
}

void AnimOwner::findAimOfLight(osg::AnimCurve const& curve, FieldContainerPtr& aim, Parents& parents) const {
  auto const& light = *osg::dcastTo<osg::UberLight>(_core);
  std::string_view const channel = curve.getChannelName();
  aim = _core;
  if (beginsWithOne(channel, LightNodeChannels)) {
    aim = _owner;
    return;
  }
  if (channel.starts_with("imageNumber")) {
    aim = light.getDiffuse();
  } else if (channel.starts_with("lensFlare.")) {
    aim = light.getLensFlareEffect();
  } else {
    return;
  }
  parents.push_back(_core);
}
