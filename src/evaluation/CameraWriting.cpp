// How values reach cameras: their view, which is collected while a set of curves is written, and what they have without
// a field.
#include "evaluation/FieldWrite.h"
#include "knAnimManager.h"

using osg::UberCameraPtr;

namespace {

using Kind = WriteRule::Kind;

constexpr osg::Camera::CameraSpace Space = osg::Camera::LocalSpace;

/// The camera follows its navigator, so the navigator must hear that the camera was moved.
void tellNavigator(UberCameraPtr const& camera) {
  if (camera.isAlive() && camera->hasFlag(osg::UberCamera::NavigatorFollowsFlag)) {
    knAnimManager::updateNavigator(true);
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
  announce(osg::NodeCorePtr(node->getCore()), osg::Transform3DBase::TranslationFieldMask);
}

}  // namespace

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
    case Kind::FStop:
      if (camera.getFStop() != value) camera.setFStop(value);
      break;
    default:
      break;  // no value of a camera
  }
}

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
