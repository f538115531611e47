// Asks the library which objects curves write to, by the node that has them. Prints docs/pictures/channel-targets.svg.
#include <knAnimEvaluator.h>
#include <knAnimManager.h>
#include <model/camera/UberCamera.h>
#include <model/geometry/Geometry.h>
#include <model/light/UberLight.h>
#include <model/scenedata/knSceneDataManager.h>

#include <algorithm>

#include "drawing.h"

namespace {

/// Places of objects in a panel, in the order in which curves found them.
class Targets {
 public:
  explicit Targets(Picture& picture) : _picture(picture) {}

  /// Where arrows to an object end. It is drawn when it is asked for first.
  Spot of(osg::FieldContainerPtr const& object) {
    auto const found = std::ranges::find(_objects, object);
    Spot const spot{180, 30 + 38. * static_cast<double>(found - _objects.begin())};
    if (found == _objects.end()) {
      _objects.push_back(object);
      _picture.text({spot.x + 6, spot.y + 4}, object->getType().getCName());
    }
    return spot;
  }

 private:
  Picture& _picture;
  std::vector<osg::FieldContainerPtr> _objects;
};

void draw(Picture& picture, double left, double width, char const* title, osg::NodeCorePtr const& core,
          std::vector<char const*> const& names) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(core);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  picture.beginPanel({left, 36}, width, 176, title);
  Targets targets(picture);
  double row = 30;
  for (char const* const name : names) {
    auto const [curveNode, curve] = knAnimManager::the()->createCurve(name, "");
    osg::FieldContainerPtr target;
    std::vector<osg::FieldContainerPtr> parents;
    knAnimEvaluator::the()->computeAim(curve, node, target, parents);
    picture.text({12, row + 4}, name, Picture::Blue);
    if (target) picture.arrow({134, row}, targets.of(target), Picture::Blue);
    for (osg::FieldContainerPtr const& parent : parents)
      picture.dashes({134, row}, targets.of(parent), Picture::Grey);
    row += 30;
    curveNode.subRef();
  }
  picture.endPanel();
}

}  // namespace

int main() {
  knSceneDataManager::beginScene();
  osg::GeometryPtr const geometry = osg::Geometry::create();
  geometry->setTransform(osg::Transform3D::create());
  Picture picture(948, 232);
  draw(picture, 20, 280, "Curves of a geometry's node", geometry, {"translation", "visible"});
  draw(picture, 314, 334, "Curves of a camera's node", osg::UberCamera::create(),
       {"fov", "translation", "exposure", "fogRangeDistance", "visible"});
  draw(picture, 662, 266, "Curves of a light's node", osg::UberLight::create(),
       {"coneAngle", "diffuse", "intensity", "visible"});
  knSceneDataManager::endScene();
}
