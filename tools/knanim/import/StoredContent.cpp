#include "knanim/import/StoredContent.h"

#include "knanim/support/Text.h"
#include "model/camera/UberCamera.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/materials/SurfaceMaterials.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace knanim {
namespace {

/// Weights are as many as the square of this, at most.
constexpr std::size_t kMostShapes = 4000;

std::string nameOf(osg::AttachmentContainerPtr const& container) {
  char const* const name = osg::NodeUtils::getName(container);
  return name != nullptr && *name != '\0' ? printable(name) : "unnamed";
}

osg::Geometry* geometryOf(ScenePart const& part) { return osg::dcastTo<osg::Geometry>(part.node->getCore()); }

template <typename Property, typename Element>
std::vector<Element> valuesOf(osg::FieldContainerPtr const& property) {
  auto* const values = osg::dcastTo<Property>(property);
  return values != nullptr ? values->getValues().getValues() : std::vector<Element>();
}

/// The shapes of a cache that fit a mesh of so many vertices.
std::vector<osg::TimeShapeDataPtr> shapesOf(osg::AnimNodePtr const& node, std::size_t vertices) {
  std::vector<osg::TimeShapeDataPtr> shapes;
  for (osg::TimeShapeDataPtr const& shape : osg::dcastTo<osg::TimeShapeCache>(node->getCore())->getShapes()) {
    if (shape.isAlive() && shape->getPositions().size() == vertices) shapes.push_back(shape);
  }
  return shapes;
}

std::size_t verticesOf(osg::Geometry const& geometry) {
  return valuesOf<osg::GeoPositions3f, osg::Pnt3f>(geometry.getPositions()).size();
}

double timeOf(osg::TimeShapeDataPtr const& shape, osg::AnimNode const& node) {
  return static_cast<double>(shape->getTime()) * node.getTotalScale() + node.getTotalOffset();
}

/// Faces whose corners are vertices; others are left out.
void addFaces(osg::Geometry const& geometry, ImportedMesh& mesh) {
  auto const& indices = geometry.getIndices().getValues();
  std::size_t first = 0;
  for (osg::UInt32 const size : geometry.getFaceSizes().getValues()) {
    if (size > indices.size() - first) return;
    auto const begin = indices.begin() + static_cast<std::ptrdiff_t>(first);
    auto const end = begin + size;
    first += size;
    bool const fits = std::all_of(begin, end, [&](osg::UInt32 each) { return each < mesh.positions.size(); });
    if (size == 0 || !fits) continue;
    mesh.indices.insert(mesh.indices.end(), begin, end);
    mesh.faceSizes.push_back(size);
  }
}

void addTargets(osg::AnimNodePtr const& cache, ImportedMesh& mesh) {
  for (osg::TimeShapeDataPtr const& shape : shapesOf(cache, mesh.positions.size())) {
    if (mesh.targets.size() == kMostShapes) break;
    ImportedMorphTarget& target = mesh.targets.emplace_back();
    auto const& positions = shape->getPositions().getValues();
    auto const& normals = shape->getNormals().getValues();
    for (std::size_t i = 0; i < positions.size(); ++i)
      target.positions.push_back(positions[i] - mesh.positions[i]);
    for (std::size_t i = 0; i < normals.size() && normals.size() == mesh.normals.size(); ++i)
      target.normals.push_back(normals[i] - mesh.normals[i]);
  }
}

ImportedMesh describe(ScenePart const& part, std::size_t material) {
  osg::Geometry const& geometry = *geometryOf(part);
  ImportedMesh mesh;
  mesh.name = nameOf(part.node);
  mesh.material = material;
  mesh.positions = valuesOf<osg::GeoPositions3f, osg::Pnt3f>(geometry.getPositions());
  mesh.normals = valuesOf<osg::GeoNormals3f, osg::Vec3f>(geometry.getNormals());
  if (mesh.normals.size() != mesh.positions.size()) mesh.normals.clear();
  addFaces(geometry, mesh);
  std::vector<osg::AnimNodePtr> const caches = findCaches(part.node);
  if (!caches.empty()) addTargets(caches.front(), mesh);
  return mesh;
}

ImportedCamera describeCamera(ScenePart const& part) {
  auto const& camera = *osg::dcastTo<osg::UberCamera>(part.node->getCore());
  osg::Vec2f const angles = camera.getFieldOfView();
  ImportedCamera result;
  result.name = nameOf(part.node);
  result.node = part.owner;
  result.from = osg::Vec3f(camera.getFrom());
  result.at = osg::Vec3f(camera.getAt());
  result.up = camera.getUp();
  result.fieldOfView = angles.x();
  result.aspect = std::tan(angles.x() / 2) / std::tan(angles.y() / 2);
  return result;
}

ImportedLight describeLight(ScenePart const& part) {
  auto const& light = *osg::dcastTo<osg::UberLight>(part.node->getCore());
  ImportedLight result;
  result.name = nameOf(part.node);
  result.node = part.owner;
  result.color = light.getDiffuseColor();
  result.intensity = light.getIntensity(light.getUnit());
  result.coneAngle = light.getConeAngle();
  return result;
}

}  // namespace

ImportedMaterial describeMaterial(osg::MaterialPtr const& source) {
  ImportedMaterial result;
  result.name = nameOf(source);
  auto const* const phong = osg::dcastTo<osg::PhongMaterial>(source);
  if (phong == nullptr) return result;
  result.ambient = phong->getAmbienceColor();
  result.diffuse = phong->getDiffuseColor();
  result.specular = phong->getSpecularColor();
  auto const& glow = phong->getIncandescenceColor();
  result.emissive = {glow[0], glow[1], glow[2]};
  result.shininess = phong->getShininess();
  result.opacity = 1 - phong->getSeeThrough()[0];
  return result;
}

std::vector<std::size_t> meshNumbers(SceneParts const& parts) {
  std::map<osg::UInt32, std::size_t> numbers;
  std::vector<std::size_t> result;
  for (ScenePart const& part : parts.meshes)
    result.push_back(
        numbers.try_emplace(part.node->getCore().getContainerId(), numbers.size()).first->second);
  return result;
}

void describeContent(SceneParts const& parts, ModelSummary& summary) {
  std::vector<std::size_t> const numbers = meshNumbers(parts);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] != summary.meshes) continue;
    ++summary.meshes;
    osg::Geometry const& geometry = *geometryOf(parts.meshes[i]);
    summary.vertices += verticesOf(geometry);
    summary.faces += geometry.getFaceCount();
  }
  summary.cameras = parts.cameras.size();
  summary.lights = parts.lights.size();
}

std::optional<TimeSpan> timesOf(osg::AnimNode const& cache) {
  std::vector<double> times;
  for (osg::TimeShapeDataPtr const& shape : osg::dcastTo<osg::TimeShapeCache>(cache.getCore())->getShapes()) {
    double const time = shape.isAlive() ? timeOf(shape, cache) : INFINITY;
    if (std::isfinite(time)) times.push_back(time);
  }
  if (times.empty()) return std::nullopt;
  auto const [first, last] = std::ranges::minmax(times);
  return TimeSpan{first, last};
}

void describeCaches(SceneParts const& parts, ImportedModel& model) {
  std::vector<std::size_t> const numbers = meshNumbers(parts);
  for (std::size_t i = 0; i < parts.meshes.size(); ++i) {
    ScenePart const& part = parts.meshes[i];
    for (osg::AnimNodePtr const& cache : findCaches(part.node)) {
      std::vector<osg::TimeShapeDataPtr> const shapes = shapesOf(cache, verticesOf(*geometryOf(part)));
      if (shapes.empty()) continue;
      ImportedMorph morph{part.owner, numbers[i], {}};
      bool const isShort = shapes.size() <= kMostShapes;
      for (std::size_t k = 0; k < shapes.size(); ++k) {
        if (!isShort && k != 0 && k + 1 != shapes.size()) continue;
        WeightKey key{timeOf(shapes[k], *cache), {}};
        if (isShort) {
          key.weights.resize(shapes.size(), 0);
          key.weights[k] = 1;
        }
        if (morph.keys.empty() || key.time > morph.keys.back().time) morph.keys.push_back(std::move(key));
      }
      if (!isShort)
        model.warnings.push_back(nameOf(part.node) + ": " + grouped(shapes.size()) +
                                 " shapes, too many for a queue of models or an export");
      model.morphs.push_back(std::move(morph));
      // What plays one mesh of one node is one cache.
      break;
    }
  }
}

ModelContent readStoredContent(SceneParts const& parts, std::span<osg::FieldContainerPtr const> pool) {
  ModelContent content;
  std::map<osg::UInt32, std::size_t> materials;
  auto const numberOf = [&](osg::MaterialPtr const& material) {
    osg::UInt32 const id = material.isAlive() ? material.getContainerId() : 0;
    auto const [place, isNew] = materials.try_emplace(id, content.materials.size());
    if (isNew)
      content.materials.push_back(material.isAlive() ? describeMaterial(material) : ImportedMaterial{"none"});
    return place->second;
  };
  for (osg::FieldContainerPtr const& material : pool) numberOf(osg::dcast<osg::MaterialPtr>(material));
  std::vector<std::size_t> const numbers = meshNumbers(parts);
  content.meshesOfNodes.resize(parts.nodes.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    ScenePart const& part = parts.meshes[i];
    if (numbers[i] == content.meshes.size())
      content.meshes.push_back(describe(part, numberOf(geometryOf(part)->getMaterial())));
    content.meshesOfNodes[part.owner].push_back(numbers[i]);
  }
  for (ScenePart const& part : parts.cameras) content.cameras.push_back(describeCamera(part));
  for (ScenePart const& part : parts.lights) content.lights.push_back(describeLight(part));
  return content;
}

}  // namespace knanim
