// Puts a curve into a block and the block into a clip, and draws when it plays. Prints docs/pictures/clip-placement.svg.
#include <knAnimManager.h>
#include <knAuthoring.h>
#include <model/scenedata/knSceneDataManager.h>
#include <model/sceneext/AnimBlock.h>
#include <model/sceneext/AnimClip.h>
#include <model/scenegraph/Transform3D.h>

#include "drawing.h"

namespace {

constexpr double Width = 860;
constexpr float Seconds = 16;  // in view

osg::Transform3DPtr box;

double across(float seconds) { return static_cast<double>(seconds / Seconds) * Width; }

osg::AnimNodePtr addParent(osg::AnimNodePtr const& child, osg::NodeCorePtr const& core, float offset,
                           float scale) {
  osg::AnimNodePtr const parent = osg::AnimNode::create();
  parent->setCore(core);
  parent->setOffset({offset, 0});
  parent->setScale(scale);
  parent->addChild(child);
  return parent;
}

/// The height of the box while the tree plays, and the bounds of the tree.
void draw(Picture& picture, int place, osg::AnimNodePtr const& tree, std::string const& title) {
  std::vector<Spot> spots;
  for (int step = 0; step <= 320; ++step) {
    float const time = Seconds * static_cast<float>(step) / 320;
    knAnimManager::the()->evaluateByTime(tree, time, false, true, false);
    spots.push_back({across(time), 60 - 12 * static_cast<double>(box->getTranslation().y())});
  }
  float start = 0;
  float end = 0;
  knAnimManager::the()->getBounds(tree, start, end);
  picture.beginPanel({20, 36 + place * 104.}, Width, 70, title);
  picture.path({{across(start), 0}, {across(start), 70}, {across(end), 70}, {across(end), 0}}, Picture::Pale,
               1, "#dce7f5");
  picture.path(spots, Picture::Blue, 2);
  picture.endPanel();
}

}  // namespace

int main() {
  knSceneDataManager::beginScene();
  box = osg::Transform3D::create();
  osg::NodePtr const node = osg::Node::create();
  node->setCore(box);
  knSceneDataManager::getSceneData(0)->getRoot()->addChild(node);
  osg::AnimCurvePtr const curve = knAuthoring::makeCurve(node, "translation.Y");
  knAuthoring::setKeys(curve, {{0, 0}, {1, 4}, {2, 1}});
  osg::AnimNodePtr const leaf = osg::AnimNode::create();  // the same curve, to be placed in time
  leaf->setCore(curve);

  Picture picture(900, 446);
  draw(picture, 0, leaf, "A curve with keys at 0, 1 and 2 s");
  osg::AnimNodePtr const block = addParent(leaf, osg::AnimBlock::create(), 3, 2);
  draw(picture, 1, block, "In a block: offset 3, scale 2");
  block->setPostCycles(2);
  draw(picture, 2, block, "PostCycles 2");
  osg::AnimNodePtr const clip = addParent(block, osg::AnimClip::create(), 1, 0.5F);
  draw(picture, 3, clip, "The block in a clip: offset 1, scale 0.5");
  for (float second = 0; second <= Seconds; second += 2)
    picture.text({20 + across(second), 438}, number(static_cast<double>(second)) + " s", Picture::Ink,
                 "middle");
  clip.subRef();
  knSceneDataManager::endScene();
}
