// Draws what from, at, up, near, far, fov and roll of a camera mean, from the side and through the camera.
// Prints docs/pictures/camera-view.svg.
#include <model/camera/UberCamera.h>

#include "drawing.h"

namespace {

/// A house of 2 units in depth, by where a picture shows its points.
template <class Shown>
void drawHouse(Picture& picture, Shown const& shown) {
  std::vector<Spot> front;
  std::vector<Spot> back;
  for (osg::Vec2f const& at :
       {osg::Vec2f(-1.2F, 0), {-1.2F, 1.4F}, {0, 2.4F}, {1.2F, 1.4F}, {1.2F, 0}, {-1.2F, 0}}) {
    front.push_back(shown({at.x(), at.y(), 1}));
    back.push_back(shown({at.x(), at.y(), -1}));
  }
  picture.path(back, Picture::Grey);
  for (std::size_t i = 0; i < front.size(); ++i) picture.line(front[i], back[i], Picture::Grey);
  picture.path(front, Picture::Grey, 2, "#e8d9c8");
}

/// What stands to the right of the camera sees it so: it looks along -z, to the right.
Spot fromItsRight(osg::Pnt3f const& point) {
  return {260 - 33. * static_cast<double>(point.z()), 165 - 33. * static_cast<double>(point.y())};
}

void drawView(Picture& picture, osg::UberCamera const& camera) {
  osg::Matrix const place = camera.getMatrix();
  osg::Vec4f const edges = camera.getViewEdges(1.5F);  // left, right, bottom, top, at distance 1
  auto const seen = [&](float edge, float distance) {
    return fromItsRight(place.multMatrixPnt({0, edge * distance, -distance}));
  };
  Spot const bottomNear = seen(edges[2], camera.getNear());
  Spot const topNear = seen(edges[3], camera.getNear());
  Spot const bottomFar = seen(edges[2], camera.getFar());
  Spot const topFar = seen(edges[3], camera.getFar());
  Spot const from = fromItsRight(camera.getFrom());
  Spot const at = fromItsRight(camera.getAt());
  picture.path({bottomNear, bottomFar, topFar, topNear, bottomNear}, Picture::Blue, 2, "#dce7f5");
  picture.path({bottomNear, from, topNear}, Picture::Blue);
  drawHouse(picture, fromItsRight);
  picture.dashes(from, at, Picture::Ink);
  picture.arrow(from, fromItsRight(place.multMatrixPnt({0, 1.5F, 0})), Picture::Grey);
  picture.arrow(from, fromItsRight(camera.getFrom() + camera.getUp() * 1.5F), Picture::Green);
  picture.dot(from, Picture::Ink);
  picture.dot(at, Picture::Orange);
  picture.text({from.x - 9, from.y + 4}, "from", Picture::Ink, "end");
  picture.text({at.x + 7, at.y - 6}, "at", Picture::Orange);
  picture.text({from.x - 7, from.y - 38}, "up", Picture::Green, "end");
  picture.text({from.x + 24, from.y - 38}, "y of the camera", Picture::Grey);
  picture.text({topNear.x, topNear.y - 8}, "near " + number(camera.getNear()), Picture::Blue);
  picture.text({topFar.x, topFar.y - 8}, "far " + number(camera.getFar()), Picture::Blue, "middle");
  picture.text({from.x - 12, from.y + 62}, "fov " + number(camera.getFov(), 1) + "°", Picture::Blue);
}

void drawSeen(Picture& picture, osg::UberCamera const& camera, Spot corner, Spot size, char const* title) {
  osg::Matrix toCamera;
  camera.getMatrix().inverse(toCamera);
  osg::Matrix const projection = camera.getProjection(static_cast<float>(size.x / size.y));
  picture.beginPanel(corner, size.x, size.y, title);
  drawHouse(picture, [&](osg::Pnt3f const& point) {
    osg::Pnt3f const seen = projection.multFullMatrixPnt(toCamera.multMatrixPnt(point));  // -1 to 1
    return Spot{(1 + seen.x()) / 2. * size.x, (1 - seen.y()) / 2. * size.y};
  });
  picture.endPanel();
}

}  // namespace

int main() {
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  camera->setViewByFromAtUp({0, 3, 6}, {0, 1, 0}, {0, 1, 0});
  camera->setNear(2);
  camera->setFar(9);
  camera->setFocalLength(30);
  camera->bringInStep();
  Picture picture(880, 360);
  picture.beginPanel({20, 36}, 430, 300, "From the right of the camera");
  drawView(picture, *camera);
  picture.endPanel();
  drawSeen(picture, *camera, {480, 36}, {180, 120}, "Through it, 3 : 2");
  drawSeen(picture, *camera, {480, 216}, {240, 120}, "2 : 1 has the same fov");
  camera->setRoll(20);
  camera->bringInStep();
  drawSeen(picture, *camera, {680, 36}, {180, 120}, "With roll 20");
  camera.subRef();
}
