#include "knanim/scene/SceneContent.h"

#include "model/camera/UberCamera.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/materials/SurfaceMaterials.h"
#include "model/scenedata/knSceneData.h"

#include <cmath>
#include <numbers>

namespace knanim {
namespace {

osg::NodePtr addNode(osg::NodePtr const& parent, osg::NodeCorePtr const& core, std::string const& name) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  osg::NodeUtils::setName(node, name, true);
  parent->addChild(node);
  return node;
}

osg::MaterialPtr makeMaterial(ImportedMaterial const& source) {
  osg::PhongMaterialPtr const material = osg::PhongMaterialBase::create();
  material->setAmbienceColor(source.ambient);
  material->setDiffuseColor(source.diffuse);
  material->setSpecularColor(source.specular);
  material->setIncandescenceColor({source.emissive[0], source.emissive[1], source.emissive[2], 1});
  float const seeThrough = 1 - source.opacity;
  material->setSeeThrough({seeThrough, seeThrough, seeThrough});
  if (source.shininess > 0) material->setShininess(source.shininess);
  osg::NodeUtils::setName(material, source.name, true);
  return material;
}

osg::GeometryPtr makeGeometry(ImportedMesh const& source, osg::MaterialPtr const& material) {
  osg::GeometryPtr const geometry = osg::GeometryBase::create();
  osg::GeoPositions3fPtr const positions = osg::GeoPositions3f::create();
  positions->getValues().getValues() = source.positions;
  geometry->setPositions(positions);
  if (!source.normals.empty()) {
    osg::GeoNormals3fPtr const normals = osg::GeoNormals3f::create();
    normals->getValues().getValues() = source.normals;
    geometry->setNormals(normals);
  }
  geometry->getIndices().getValues() = source.indices;
  geometry->getFaceSizes().getValues() = source.faceSizes;
  geometry->setMaterial(material);
  return geometry;
}

osg::UberCameraPtr makeCamera(ImportedCamera const& source) {
  osg::UberCameraPtr const camera = osg::UberCameraBase::create();
  camera->setViewByFromAtUp(osg::Pnt3f(source.from), osg::Pnt3f(source.at), source.up);
  float const vertical = 2 * std::atan(std::tan(source.fieldOfView / 2) / source.aspect);
  camera->setFieldOfView({source.fieldOfView, vertical});
  camera->setFov(vertical * 180 / std::numbers::pi_v<float>);
  osg::announce(camera, osg::UberCamera::FieldOfViewFieldMask | osg::UberCamera::FovFieldMask);
  return camera;
}

/// A transform whose -z axis runs along the light.
osg::Transform3DPtr makeLightPlace(ImportedLight const& source) {
  osg::Vec3f const& d = source.direction;
  float const degrees = 180 / std::numbers::pi_v<float>;
  osg::Transform3DPtr const place = osg::Transform3DBase::create();
  place->setTranslation(source.position);
  place->setRotationAsEuler(
      {std::atan2(d.y(), std::hypot(d.x(), d.z())) * degrees, std::atan2(-d.x(), -d.z()) * degrees, 0});
  return place;
}

osg::UberLightPtr makeLight(ImportedLight const& source) {
  osg::UberLightPtr const light = osg::UberLightBase::create();
  light->setDiffuseColor(source.color);
  light->setGlossyColor(source.color);
  light->setConeAngle(source.coneAngle);
  light->setIntensity(source.intensity, light->getUnit());
  return light;
}

}  // namespace

SceneContent addContent(ModelContent const& content, std::span<osg::NodePtr const> nodes) {
  SceneContent result;
  std::vector<osg::MaterialPtr> materials;
  osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  for (ImportedMaterial const& source : content.materials) {
    materials.push_back(makeMaterial(source));
    pool->add(materials.back());
  }
  std::vector<osg::GeometryPtr> geometries(content.meshes.size());
  for (std::size_t i = 0; i < content.meshesOfNodes.size() && i < nodes.size(); ++i) {
    if (!nodes[i].isAlive()) continue;
    for (std::size_t const mesh : content.meshesOfNodes[i]) {
      ImportedMesh const& source = content.meshes[mesh];
      if (geometries[mesh] == nullptr) geometries[mesh] = makeGeometry(source, materials[source.material]);
      result.meshes.push_back({addNode(nodes[i], geometries[mesh], source.name), mesh, false});
    }
  }
  for (ImportedCamera const& source : content.cameras) {
    if (nodes[source.node].isAlive())
      result.cameras.push_back({source.name, addNode(nodes[source.node], makeCamera(source), source.name)});
  }
  for (ImportedLight const& source : content.lights) {
    if (!nodes[source.node].isAlive()) continue;
    osg::NodePtr const place = addNode(nodes[source.node], makeLightPlace(source), source.name);
    addNode(place, makeLight(source), source.name);
  }
  return result;
}

}  // namespace knanim
