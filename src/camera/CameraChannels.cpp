#include "camera/CameraChannels.h"

#include "knAnimManager.h"
#include "model/scenedata/knUberCameraPool.h"

#include <algorithm>
#include <array>

namespace {

using Channels = std::vector<knOSGChannelData>;

/// A camera, its tonemapping and its fog.
using Containers = std::array<osg::FieldContainerPtr, 3>;

void listChannels(Containers const& containers, std::string const& name, Channels& channels) {
  struct Row {
    char const* name;
    char const* shortNames[3];
  };
  static constexpr Row rows[] = {
      {"from", {"fx", "fy", "fz"}}, {"at", {"ax", "ay", "az"}}, {"up", {"ux", "uy", "uz"}}};
  static constexpr char const* suffixes[] = {"X", "Y", "Z"};
  // From, at and up place the camera: its transform is never keyed beside them.
  static std::vector<std::string> const excluded = {"translation", "scale", "eulerRotation",
                                                    "eulerRotationOrientation"};
  osg::UInt32 const id = containers[0].getContainerId();
  for (Row const& row : rows) {
    for (osg::UInt32 i = 0; i < 3; ++i) {
      channels.emplace_back(id, id, 0, row.name, row.name, row.shortNames[i], suffixes[i], i, name);
    }
  }
  knAnimManager& manager = *knAnimManager::the();
  for (osg::FieldContainerPtr const& container : containers)
    manager.getKeyableChannels(container, id, 0, name, channels, excluded);
}

/// The list for cameras of some classes, whose containers have the numbers 0 to 2: the camera, its tonemapping, its fog.
/// Hosts fly a camera with each move of the mouse, and the list depends on the classes alone.
struct KnownList {
  std::array<osg::FieldContainerType const*, 3> types{};
  Channels channels;
};

/// Containers that declare their channels themselves can do so anew each time.
bool isDeclared(osg::FieldContainerPtr const& container) {
  return container.isAlive() && container->hasChannelDescriptions();
}

/// Null, or alive.
bool isWhole(osg::FieldContainerPtr const& container) { return !container || container.isAlive(); }

}  // namespace

void getCameraChannelData(osg::UberCameraPtr const& camera, Channels& channels) {
  if (!camera.isAlive()) return;
  std::string const name = knUberCameraUtils::getName(camera);
  osg::UInt32 const id = camera.getContainerId();
  Containers const containers{camera, camera->getTonemappingSettings(), camera->getFogSettings()};
  bool const areDeclared = std::ranges::any_of(containers, isDeclared);
  // The host's own classes were asked, and may have destroyed anything.
  if (!containers[0].isAlive()) return;
  if (areDeclared) return listChannels(containers, name, channels);
  static KnownList& known = *new KnownList;
  std::array<osg::FieldContainerType const*, 3> types{};
  std::ranges::transform(containers, types.begin(),
                         [](auto const& container) { return container.findType(); });
  if (types != known.types) {
    std::array<osg::UInt32, 3> ids{};
    std::ranges::transform(containers, ids.begin(),
                           [](auto const& container) { return container.getContainerId(); });
    KnownList fresh{types, {}};
    listChannels(containers, {}, fresh.channels);
    for (knOSGChannelData& channel : fresh.channels)
      channel.containerId =
          static_cast<osg::UInt32>(std::ranges::find(ids, channel.containerId) - ids.begin());
    // They were asked again.
    if (!std::ranges::all_of(containers, isWhole)) return;
    known = std::move(fresh);
  }
  channels.reserve(channels.size() + known.channels.size());
  for (knOSGChannelData const& one : known.channels) {
    knOSGChannelData& channel = channels.emplace_back(one);
    channel.containerId = containers[one.containerId].getContainerId();
    // Channels without a field have none.
    if (one.parentId != 0) channel.parentId = id;
    channel.objectName = name;
  }
}

void validateCameraCurveTangents(osg::AnimCurvePtr const& curve) {
  if (!curve.isAlive()) return;
  std::string const& name = curve->getName();
  bool const isStepped = name == "tonemapperId" || name == "blendMode" || name == "postprocessingFlags";
  auto& keys = curve->getControlPoints();
  for (osg::UInt32 i = 0; i < keys.size(); ++i) {
    if (isStepped) {
      keys[i].setInType(0);
      keys[i].setOutType(0);
    }
    curve->computeIntangent(i, keys[i].inType() != 0 ? 2 : 0);
    curve->computeOuttangent(i, keys[i].outType() != 0 ? 2 : 0);
  }
}

void addPlainKey(osg::AnimCurvePtr const& curve, float time, float value, osg::UInt32 inType,
                 osg::UInt32 outType) {
  curve->addPoint({time, value}, {}, {}, inType, outType, false, true);
}
