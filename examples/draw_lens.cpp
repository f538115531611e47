// Draws how the angle of view follows from the focal length and the size of the film: three lenses from above.
// Prints docs/pictures/camera-lens.svg.
#include <model/camera/UberCamera.h>

#include <cmath>

#include "drawing.h"

namespace {

constexpr double Scale = 1.5;  // pixels in a millimetre
constexpr double Front = 390;  // pixels from the eye to where rays end

void drawLens(Picture& picture, osg::UberCamera& camera, float focalLength, char const* colour, double row) {
  Spot const eye{190, 120};
  camera.setFocalLength(focalLength);
  double const tangent = std::tan(static_cast<double>(camera.getFieldOfView()[0]) / 2);
  double const film = static_cast<double>(camera.getSensorSize()[0]) / 2 * Scale;
  double const behind = eye.x - static_cast<double>(focalLength) * Scale;
  for (double const side : {-1., 1.})
    picture.line({behind, eye.y - side * film}, {eye.x + Front, eye.y + side * Front * tangent}, colour);
  picture.line({behind, eye.y - film}, {behind, eye.y + film}, colour, 4);
  picture.text({eye.x + Front + 20, row},
               number(focalLength) + " mm: " + number(std::atan(tangent) * 114.59156, 1) + "° wide, fov " +
                   number(camera.getFov(), 1) + "°",
               colour);
  picture.dot(eye, Picture::Ink);
}

}  // namespace

int main() {
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  Picture picture(880, 290);
  picture.beginPanel({20, 36}, 840, 240,
                     "Film of 36 by 24 mm behind lenses of three focal lengths, from above");
  drawLens(picture, *camera, 24, Picture::Green, 95);
  drawLens(picture, *camera, 50, Picture::Blue, 125);
  drawLens(picture, *camera, 100, Picture::Orange, 155);
  picture.text({16, 168}, "film");
  picture.endPanel();
  camera.subRef();
}
