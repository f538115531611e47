#include "camera/CameraChannels.h"

#include "knAnimManager.h"
#include "model/scenedata/knUberCameraPool.h"

void getCameraChannelData(osg::UberCameraPtr const& camera, std::vector<knOSGChannelData>& channels) {
  if (!camera.isAlive()) return;
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
  osg::UInt32 const id = camera.getContainerId();
  std::string const name = knUberCameraUtils::getName(camera);
  for (Row const& row : rows) {
    for (osg::UInt32 i = 0; i < 3; ++i) {
      channels.emplace_back(id, id, 0, row.name, row.name, row.shortNames[i], suffixes[i], i, name);
    }
  }
  knAnimManager& manager = *knAnimManager::the();
  manager.getKeyableChannels(camera, id, 0, name, channels, excluded);
  manager.getKeyableChannels(camera->getTonemappingSettings(), id, 0, name, channels, excluded);
  manager.getKeyableChannels(camera->getFogSettings(), id, 0, name, channels, excluded);
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
