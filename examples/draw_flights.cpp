// Plays the ways to move a camera and draws the path of the eye from above, with what it looks at every quarter second.
// Prints docs/pictures/camera-moves.svg.
#include <knAnimEvaluator.h>
#include <knAnimManager.h>
#include <model/camera/UberCamera.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/sceneext/CameraTrack.h>

#include "drawing.h"

namespace {

double now = 0;  // the host's clock in seconds

osg::NodePtr addCamera(osg::NodePtr const& parent, osg::Pnt3f const& from, osg::Pnt3f const& at) {
  osg::UberCameraPtr const camera = osg::UberCamera::create();
  camera->setViewByFromAtUp(from, at, {0, 1, 0});
  osg::NodePtr const node = osg::Node::create();
  node->setCore(camera);
  parent->addChild(node);
  return node;
}

/// x to the right, z downwards: from above.
Spot fromAbove(osg::Pnt3f const& point) {
  return {210 + 30. * static_cast<double>(point.x()), 105 + 30. * static_cast<double>(point.z())};
}

/// Starts a move of a new camera, and plays and draws it.
template <class Start>
void draw(Picture& picture, Spot corner, char const* title, double seconds, Start const& start) {
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  osg::NodePtr const node = addCamera(root, {-5, 2, 2}, {-2, 0, -1});
  osg::UberCameraPtr const camera = osg::dcast<osg::UberCameraPtr>(node->getCore());
  start(camera, node);
  picture.beginPanel(corner, 420, 210, title);
  std::vector<Spot> path;
  std::vector<Spot> targets;
  for (int step = 0; step <= seconds * 20; ++step) {
    knAnimEvaluator::the()->loop();  // a pass of the host's loop
    path.push_back(fromAbove(camera->getFrom()));
    if (step % 5 == 0) {
      targets.push_back(fromAbove(camera->getAt()));
      picture.dashes(path.back(), targets.back(), Picture::Grey);
    }
    now += 0.05;
  }
  picture.path(path, Picture::Blue, 2);
  for (Spot const& target : targets) picture.dot(target, Picture::Orange, 2.5);
  for (std::size_t step = 0; step < path.size(); step += 5) picture.dot(path[step], Picture::Blue, 3);
  picture.text({path[0].x - 9, path[0].y + 5}, "start", Picture::Blue, "end");
  picture.endPanel();
  knAnimManager::the()->stopCameraAnimation(camera);
  root->subChild(node);
}

}  // namespace

int main() {
  knAnimManager& manager = *knAnimManager::the();
  knSceneDataManager::beginScene();
  knAnimManager::setSimulationTimeCB([] { return now; });
  Picture picture(900, 530);

  draw(picture, {20, 36}, "Flight to another camera, 2 s", 2, [&](auto const& camera, auto const& node) {
    osg::NodePtr const viewpoint = addCamera(node->getParent(), {5, 2, 2}, {3, 0, -2});
    manager.animateCamera(camera, osg::dcast<osg::UberCameraPtr>(viewpoint->getCore()), 2, {"fieldOfView"});
  });
  draw(picture, {460, 36}, "Flight to a point, 2 s: turns in place", 2, [&](auto const& camera, auto const&) {
    manager.animateCamera(camera, osg::Pnt3f(-1, 0, 2.5F), osg::Vec3f(), 2);
  });
  draw(picture, {20, 294}, "Turntable, 4 s", 4, [&](auto const& camera, auto const&) {
    camera->setViewByFromAtUp({-2, 2, 2.5F}, {0, 0, 0}, {0, 1, 0});
    camera->setTurntableAnimationDuration(4);
    manager.animateCameraTurntable(camera);
  });
  draw(picture, {460, 294}, "Track through 3 viewpoints, 2 s each", 6,
       [&](auto const& camera, auto const& node) {
         camera->setAt({0, 0, 0});
         osg::CameraTrackPtr const core = osg::CameraTrack::create();
         core->setAnimationDuration(2);
         osg::NodePtr const track = osg::Node::create();
         track->setCore(core);
         node->addChild(track);
         addCamera(track, {-3, 2, -2}, {0, 0, 0});
         addCamera(track, {2, 2, -2.5F}, {0, 0, 0});
         addCamera(track, {5, 2, 2}, {0, 0, 0});
         manager.animateCamera(camera, track, {"fieldOfView"});
       });

  knAnimManager::setSimulationTimeCB(nullptr);
  knSceneDataManager::endScene();
}
