#include "knAuthoring.h"

#include "knFramePlayer.h"
#include "model/camera/UberCamera.h"
#include "model/materials/SurfaceMaterials.h"
#include "support/LogCapture.h"
#include "support/SceneStage.h"

namespace kntest {
namespace AuthoringTest {

class AuthoringTest : public SceneStage {
 protected:
  NodePtr const door = addNode(Transform3D::create());
  NodePtr const eye = addNode(UberCamera::create());
  LogCapture const log;
};

TEST_F(AuthoringTest, ATextNamesAChannel) {
  NodeUtils::setName(door, "Door", true);
  AnimCurvePtr const turn = knAuthoring::makeCurve(door, "rotation.Y");
  ASSERT_TRUE(turn.isAlive());
  EXPECT_EQ(turn->getName(), "eulerRotation");
  EXPECT_EQ(turn->getValueIndex(), 1U);
  EXPECT_EQ(knAuthoring::makeCurve(door, "Door.eulerRotation.Y"), turn);
  EXPECT_NE(knAuthoring::makeCurve(door, "rotation.Y", {.reuse = false}), turn);
  EXPECT_EQ(knAuthoring::makeCurves(door, "translation").size(), 3U);
  EXPECT_EQ(knAuthoring::makeCurve(eye, "camera.exposure")->getName(), "exposure");
  NodeUtils::setName(door, "Door.001", true);
  EXPECT_EQ(knAuthoring::makeCurve(door, "Door.001.rotation.Y"), turn);
  EXPECT_TRUE(log.lines().empty());
  for (char const* const wrong : {"rotation", "rotaton.Y", "m3D.rotation.Y", "", "translation.Q"})
    EXPECT_FALSE(knAuthoring::makeCurve(door, wrong)) << wrong;
  EXPECT_EQ(log.errors().size(), 5U);
  EXPECT_TRUE(log.contains("near names: rotation.Y"));
  struct Answer {
    NodePtr node;
    char const* text;
    char const* answer;
  };
  for (Answer const& one :
       {Answer{door, "lamp.rotation.Y",
               "'Door.001' (Transform3D) has a channel 'rotation.Y', but is no 'lamp'"},
        {door, "Q", "; it has: translation, "},
        {eye, "camera.vignetteIntensity", "near names: vignette"},
        {eye, "from.X", "UberCamera takes values for 'from', but does not list it as a channel"}}) {
    LogCapture const answers;
    EXPECT_FALSE(knAuthoring::makeCurve(one.node, one.text));
    EXPECT_TRUE(answers.contains(one.answer)) << answers.lines().back().text;
  }
}

TEST_F(AuthoringTest, KeysComeFromArraysAndVectors) {
  AnimCurvePtr const curve = knAuthoring::makeCurve(door, "translation.X");
  std::vector<float> const times{2, 0, 1, 1};
  std::vector<float> const values{20, 0, 5, 10};
  changes.clear();
  ASSERT_TRUE(knAuthoring::setKeys(curve, times, values, {.tangents = knTangents::Clamped}));
  EXPECT_EQ(changes.getEntries().size(), 1U);
  ASSERT_EQ(curve->getControlPoints().size(), 3U);
  for (float const time : {0.5F, 1.5F}) EXPECT_NEAR(*knCurves::getValue(curve, time), 10 * time, 1e-4);
  std::vector<float> const bad{0, NAN, 1, 2};
  EXPECT_FALSE(knAuthoring::setKeys(curve, times, bad) || knAuthoring::setKeys(curve, times, {}) ||
               knAuthoring::setKeys({}, times, values) || knAuthoring::setKey(door, "scale", 0, {1, 2}));
  EXPECT_EQ(log.errors().size(), 4U);
  EXPECT_EQ(curve->getControlPoints().size(), 3U);
  // A jump: the first key at its time is replaced, and gets the tangents.
  curve->addPoint({1, 6}, {}, {}, LinearTangent, LinearTangent, false, true);
  curve->addPoint({4, 6}, {}, {}, LinearTangent, LinearTangent, false, true);
  ASSERT_TRUE(knAuthoring::setKeys(curve, {{1, 7}, {1.5F, 8}, {3, 9}}, {.tangents = knTangents::Step}));
  ASSERT_EQ(curve->getControlPoints().size(), 7U);
  EXPECT_FLOAT_EQ(curve->getControlPoints()[6].inX(), -0.4F) << "it follows its new neighbour";
  EXPECT_EQ(curve->getControlPoints()[1].outType(), StepTangent);
  EXPECT_EQ(curve->getControlPoints()[2].point(), Pnt2f(1, 6));
  curve->clear();
  ASSERT_TRUE(knAuthoring::setKey(door, "translation", 1, {1, 2, 3}));
  evaluate(1);
  EXPECT_EQ(placeOf(door), Vec3f(1, 2, 3));
}

/// Keys one by one, in any order and in groups, make the curve that they make at once; given vectors stay.
TEST_F(AuthoringTest, SmoothKeysMayComeOneByOne) {
  std::vector<osg::Pnt2f> const points{{0, 0}, {1, 10}, {2, 12}, {2.5F, 12}, {4, -3}, {5, 9}};
  for (knTangents const tangents : {knTangents::Smooth, knTangents::Clamped}) {
    SCOPED_TRACE(static_cast<int>(tangents));
    AnimCurvePtr const whole = knAuthoring::makeCurve(door, "translation.X");
    AnimCurvePtr const parts = knAuthoring::makeCurve(door, "translation.Y");
    knAuthoring::setKeys(whole, {points[0], points[1], points[2], points[3], points[4], points[5]},
                         {.tangents = tangents, .replaceAll = true});
    parts->clear();
    for (std::size_t const i : {2U, 0U, 5U})
      knAuthoring::setKey(door, "translation.Y", points[i].x(), {points[i].y()}, {.tangents = tangents});
    knAuthoring::setKeys(parts, {points[1], points[3], points[4]}, {.tangents = tangents});
    EXPECT_TRUE(std::ranges::equal(whole->getControlPoints(), parts->getControlPoints(),
                                   FieldDataTraits<CCPnt>::isEqual));
    parts->getControlPoints().getValues()[5].setInY(7);
    knAuthoring::setKeys(parts, {{6, 0}}, {.tangents = tangents});
    EXPECT_EQ(parts->getControlPoints()[5].intangent(), osg::Vec2f(-0.4F, 7));
  }
}

class Forgetful;
/// Its list of channels names a field that it does not have, and is not read.
class ForgetfulBase : public NodeCore {
  KN_CONTAINER(ForgetfulBase, Forgetful, NodeCore)
 public:
  KN_SFIELD(Real32, Glow, glow)
  KN_CONTAINER_END
};
class Forgetful : public ForgetfulBase {
 public:
  void getChannelDescriptions(std::vector<ChannelDescription>& out) const override {
    out.push_back({{getContainerId()}, "glow", "shine"});
    out.push_back({{getContainerId()}, "glwo", "gleam"});
  }
};
KN_CONTAINER_TYPE(ForgetfulBase, Forgetful, "TestForgetful")

TEST_F(AuthoringTest, ChannelsAreReadAndKeyedWhereverTheyAreKept) {
  knAnimManager::fillEmptyCallbacks();
  NodePtr const lamp = addNode(UberLight::create());
  PhongMaterialPtr const paint = named(PhongMaterial::create(), "Paint");
  knSceneData::getMaterialPool()->add(paint);
  ASSERT_TRUE(knAuthoring::setKey(lamp, "diffuse", 0, {0.25F, 0.5F, 1}));
  ASSERT_TRUE(knAuthoring::setKey(paint, "Paint.diffuseColor", 0, {0.5F, 0.25F, 1}));
  EXPECT_EQ(knAuthoring::makeCurve(paint, "diffuseColor.G"),
            knAuthoring::makeCurves(paint, "diffuseColor")[1]);
  // The catalogue lists the last one first.
  paint->setDiffuseComponent(ColorComponentSettings::create());
  for (UInt32 i = 0; AnimCurvePtr const& curve : knAuthoring::makeCurves(paint, "colorCorrection"))
    EXPECT_EQ(curve->getValueIndex(), i++);
  evaluate(0);
  EXPECT_EQ(knAuthoring::getValue(lamp, "diffuse.G"), 0.5F);
  EXPECT_EQ(knAuthoring::getValue(paint, "diffuseColor.G"), 0.25F);
  EXPECT_EQ(paint->getDiffuseColor()[1], 0.25F);
  EXPECT_EQ(knAuthoring::getValue(door, "visible"), 1.F);
  EXPECT_EQ(knAuthoring::getValue(eye, "fov"), coreOf<UberCamera>(eye)->getFov());
  EXPECT_TRUE(log.lines().empty());
  NodePtr const own = addNode(Forgetful::create());
  EXPECT_FALSE(knAuthoring::getValue({}, "visible") || knAuthoring::getValue(lamp, "diffuse") ||
               knAuthoring::getValue(paint, "diffusColor.R") ||
               knAuthoring::getValue(door->getCore(), "rotation.Y") || knAuthoring::getValue(own, "shine") ||
               knAuthoring::getValue(own, "gleam"));
  ASSERT_EQ(log.errors().size(), 6U);
  for (char const* const part :
       {"null or gone", "has 3 components", "near names: diffuseColor", "pass the node that has this core",
        "override hasChannelDescriptions", "for a field 'glwo' that it does not have"})
    EXPECT_TRUE(log.contains(part)) << part;
}

TEST_F(AuthoringTest, AClipTakesOverFromTheScene) {
  NodePtr const other = addNode(Transform3D::create());
  for (NodePtr const& node : {door, other})
    knAuthoring::setKeys(knAuthoring::makeCurve(node, "translation.X"), {{0, 0}, {2, 8}},
                         {.tangents = knTangents::Straight});
  EXPECT_FALSE(knAuthoring::makeClip({{eye}}, "none"));
  EXPECT_TRUE(knAuthoring::makeClip({{door}}, "switched off by now"));
  EXPECT_TRUE(announced(treesOf(door)[0]).test(Node::TravMaskFieldId));
  AnimNodePtr const clip = knAuthoring::makeClip({{door, other, door}}, "opening", {.start = 1});
  ASSERT_TRUE(clip.isAlive() && clip->getNChildren() == 2);
  evaluate(1);
  EXPECT_EQ(placeOf(door).x(), 0) << "the scene leaves it to the clip";
  knAnimManager::the()->evaluateByTime(clip, 2, true, true, false);
  EXPECT_EQ(placeOf(door).x(), 4);
  EXPECT_EQ(placeOf(other).x(), 4);
  knAuthoring::setKeys(knAuthoring::makeCurve(door, "translation.Y"), {{0, 5}, {2, 5}});
  std::vector<AnimNodePtr> blocks = knAuthoring::makeBlocks({{door}}, "second");
  blocks.insert(blocks.end(), {blocks[0], AnimNodePtr()});
  AnimNodePtr const second = knAuthoring::makeClipOfBlocks(blocks, "second");
  knAnimManager::the()->evaluateByTime(second, 1, true, true, false);
  EXPECT_EQ(placeOf(door), Vec3f(4, 5, 0)) << "only what was chosen";
  EXPECT_EQ(second->getNChildren(), 1U);
  knAnimManager::the()->clearClipStructure();
}

TEST_F(AuthoringTest, ThePlayerShowsItsFirstFrameAtTheManagersRate) {
  knAuthoring::setKeys(knAuthoring::makeCurve(door, "translation.X"), {{0, 3}, {2, 4}});
  static double now;
  now = 100;
  knAnimManager::setSimulationTimeCB([] { return now; });
  knFramePlayer& player = knFramePlayer::the();
  for (bool const reverse : {false, true}) {
    player.play({.lastFrame = 48, .reverse = reverse, .fps = reverse ? 12.0 : 0.0});
    EXPECT_EQ(placeOf(door).x(), reverse ? 4 : 3) << "the timeline stood there already";
    now += 1;
    player.tick();
    player.apply();
    EXPECT_EQ(knAnimManager::the()->currentFrame(), reverse ? 36 : 24);
  }
  player.stop(nullptr);
}

TEST_F(AuthoringTest, PrintsGoToTheLogOnDemand) {
  knLog::sendPrintsToLog(true);
  knAnimManager::the()->copyFrom(door);
  knAnimManager::the()->printStructures();
  knLog::sendPrintsToLog(false);
  EXPECT_TRUE(log.contains("has no animations. Copy failed!") && log.contains("====== STRUCTURE ======"));
}

}  // namespace AuthoringTest
}  // namespace kntest
