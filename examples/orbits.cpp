// A moon orbits a planet that orbits a sun, each at its own rate, for as long as you like: curves that cycle.
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/scenegraph/Transform3D.h>

#include <cmath>
#include <cstdio>

namespace {

osg::NodePtr addNode(osg::NodePtr const& parent, char const* name, osg::Vec3f const& translation) {
  osg::Transform3DPtr const transform = osg::Transform3D::create();
  transform->setTranslation(translation);
  osg::NodePtr const node = osg::Node::create();
  node->setCore(transform);
  osg::NodeUtils::setName(node, name, true);
  parent->addChild(node);
  return node;
}

/// One full turn about y in `period` seconds, repeated before the first key and after the last.
void spin(osg::NodePtr const& node, float period) {
  osg::AnimCurvePtr const curve = knAuthoring::makeCurve(node, "rotation.Y");
  knAuthoring::setKeys(curve, {{0, 0}, {period, 360}}, {.tangents = knTangents::Straight});
  curve->setPreInfinityMode(osg::CycleInfinity);
  curve->setPostInfinityMode(osg::CycleInfinity);
}

/// Where the origin of a node is in the world.
osg::Pnt3f positionOf(osg::NodePtr const& node) { return node->getToWorld().multMatrixPnt(osg::Pnt3f()); }

bool isAt(osg::NodePtr const& node, osg::Pnt3f const& expected) {
  osg::Pnt3f const p = positionOf(node);
  return std::hypot(p.x() - expected.x(), p.y() - expected.y(), p.z() - expected.z()) < 1e-3F;
}

}  // namespace

int main() {
  knSceneDataManager::beginScene();
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();

  // Each orbit is a pivot that spins, with the body as its child at the orbit's radius.
  osg::NodePtr const planetOrbit = addNode(root, "Planet orbit", {});
  osg::NodePtr const planet = addNode(planetOrbit, "Planet", {10, 0, 0});
  osg::NodePtr const moonOrbit = addNode(planet, "Moon orbit", {});
  osg::NodePtr const moon = addNode(moonOrbit, "Moon", {2, 0, 0});
  spin(planetOrbit, 8);
  spin(moonOrbit, 2);

  for (double time = -2; time <= 26; time += 4) {
    knAnimManager::the()->setCurrentTime(time, false, false);
    osg::Pnt3f const p = positionOf(planet);
    osg::Pnt3f const m = positionOf(moon);
    std::printf("%3.0f s: planet %6.2f %6.2f   moon %6.2f %6.2f\n", time, static_cast<double>(p.x()),
                static_cast<double>(p.z()), static_cast<double>(m.x()), static_cast<double>(m.z()));
  }
  // 26 s are three orbits of the planet and a quarter, and thirteen whole ones of the moon.
  bool const isRight = isAt(planet, {0, 0, -10}) && isAt(moon, {0, 0, -12});
  knSceneDataManager::endScene();
  return isRight ? 0 : 1;
}
