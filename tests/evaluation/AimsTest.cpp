// Where curves write to, and who owns them.
#include "support/SceneStage.h"

namespace kntest {

/// A material that declares what it is told to.
class DescribedMaterial : public osg::Material {
  KN_CONTAINER(DescribedMaterial, DescribedMaterial, osg::Material)
  KN_CONTAINER_END
  std::vector<osg::ChannelDescription> descriptions;
  void getChannelDescriptions(std::vector<osg::ChannelDescription>& out) const override {
    out = descriptions;
  }
};
KN_CONTAINER_TYPE(DescribedMaterial, DescribedMaterial, "TestDescribedMaterial")

namespace AimsTest {

using Containers = std::vector<FieldContainerPtr>;
using Owners = std::set<FieldContainerPtr>;

class AimsTest : public SceneStage {
 protected:
  static AnimNodePtr newKey(char const* field = "f") { return newCurveNode(field, 0, {{0, 0}}); }
  static Owners ownersOf(AnimNodePtr const& node) {
    auto const entry = Access::parents().find(node->getCore().getContainerId());
    return entry != Access::parents().end() ? Owners(entry->second) : NoEntry;
  }
  inline static Owners const NoEntry{FieldContainerPtr()};
};

TEST_F(AimsTest, AimsByOwnerAndChannel) {
  NodePtr const bare = addNode({}), group = addNode(Group::create());
  NodePtr const shape = addNode(Geometry::create()), unplaced = addNode(Geometry::create());
  NodePtr const plane = addNode(ClipPlane::create());
  NodePtr const camera = addNode(UberCamera::create()), light = addNode(UberLight::create());
  NodePtr const painted = addNode(MaterialGroup::create()), unpainted = addNode(MaterialGroup::create());
  coreOf<Geometry>(shape)->setTransform(Transform3D::create());
  coreOf<ClipPlane>(plane)->setTransform(Transform3D::create());
  UberCameraPtr const lens = coreOf<UberCamera>(camera);
  UberLightPtr const lamp = coreOf<UberLight>(light);
  lamp->setLensFlareEffect(LensFlareEffect::create());
  DescribedMaterial::Ptr const material = DescribedMaterial::create();
  coreOf<MaterialGroup>(painted)->setMaterial(material);
  UInt32 const gone = 0xFFFFFFF0;
  material->descriptions = {{{lamp.getContainerId(), gone, shape.getContainerId()}, "f", "two"},
                            {{bare.getContainerId()}, "f", "two"},
                            {{}, "f", "none"},
                            {{gone, bare.getContainerId()}, "f", "dead"},
                            {{material.getContainerId(), bare.getContainerId()}, "f", "self"}};
  Held const other(ColorComponentSettings::create());
  FieldContainerPtr const tone = lens->getTonemappingSettings(), fog = lens->getFogSettings();

  struct Channel {
    std::string field, channel;
    FieldContainerPtr aim;
    Containers parents = {};
  };
  std::pair<FieldContainerPtr, std::vector<Channel>> const cases[] = {
      {bare, {{"f", "visible", bare}, {"visible", "f", {}}}},
      {group, {{"choice", "choice", group->getCore()}}},
      {shape,
       {{"f", "f", coreOf<Geometry>(shape)->getTransform(), {shape->getCore()}}, {"f", "visible", shape}}},
      {unplaced, {{"f", "f", {}, {unplaced->getCore()}}}},
      {plane, {{"f", "f", coreOf<ClipPlane>(plane)->getTransform(), {plane->getCore()}}}},
      {camera,
       {{"exposureBias", "f", tone, {lens}},
        {"vignetteRoundness", "f", lens},
        {"fogEnableHeight", "f", fog, {lens}},
        {"fov", "exposure", lens},
        {"f", "fog", lens}}},
      {light,
       {{"exposure", "exposure", lamp},
        {"f", "intensity", light},
        {"intensity", "coneAngle", lamp},
        {"f", "imageNumber", lamp->getDiffuse(), {lamp}},
        {"f", "lensFlare.size", lamp->getLensFlareEffect(), {lamp}},
        {"f", "lensFlare", lamp}}},
      {painted, {{"f", "two", lamp, {shape, material}}, {"f", "visible", painted}}},
      {unpainted, {{"f", "two", other}}},
      {material,
       {{"two", "absent", material},
        {"f", "none", {}, {material}},
        {"f", "dead", {}, {bare, material}},
        {"f", "self", material, {bare}}}},
      {lamp, {{"f", "intensity", other}}}};
  for (auto const& [owner, channels] : cases) {
    for (Channel const& one : channels) {
      Held const curve(newFieldCurve(one.field, 0, {}, one.channel));
      FieldContainerPtr aim = *other;
      Containers parents;
      knAnimEvaluator::the()->computeAim(curve, owner, aim, parents);
      EXPECT_TRUE(aim == one.aim) << one.field << " " << one.channel << ": " << aim.getContainerId();
      EXPECT_TRUE(parents == one.parents) << one.field << " " << one.channel;
    }
  }
}

TEST_F(AimsTest, TheMapHoldsAllOwners) {
  NodePtr const first = addNode(Transform3D::create()), second = addNode(Transform3D::create());
  AnimNodePtr const mine = newKey(), cache = newAnimNode(TimeShapeCache::create());
  AnimNodePtr const block = animate(first, newGroup<AnimBlock>({mine, cache}));
  animate(second, newAnimNode(mine->getCore()));
  // A track's animations move the camera above it; its viewpoints have none of their own.
  NodePtr const camera = addNode(UberCamera::create()), track = addNode(CameraTrack::create(), camera);
  AnimNodePtr const flight = newKey(), onTrack = animate(track, newKey());
  AnimNodePtr const viewpoint = animate(addNode(Transform3D::create(), track), newKey());
  coreOf<UberCamera>(camera)->setAnimationRoot(flight);
  MaterialPoolPtr const pool = knSceneData::getMaterialPool();
  MaterialPtr const material = Material::create();
  pool->add(material);
  NodePtr const plate = addNode(Group::create(), pool->getSceneplateRoot());
  AnimNodePtr const ofMaterial = animate(material, newKey()), ofPlate = animate(plate, newKey());
  AnimNodePtr const ofPooled = animate(pool->getCameraRoot(), newKey());

  Access::updateParents();
  EXPECT_EQ(ownersOf(mine), (Owners{first, second}));
  EXPECT_EQ(ownersOf(cache), Owners{first});
  EXPECT_EQ(ownersOf(block), NoEntry) << "of curves and caches only";
  EXPECT_EQ(ownersOf(flight), Owners{camera});
  EXPECT_EQ(ownersOf(onTrack), Owners{camera});
  EXPECT_EQ(ownersOf(viewpoint), NoEntry);
  EXPECT_EQ(ownersOf(ofMaterial), Owners{material});
  EXPECT_EQ(ownersOf(ofPlate), Owners{plate});
  EXPECT_EQ(ownersOf(ofPooled), Owners{pool->getCameraRoot()});

  Access::removeParents(block);
  EXPECT_EQ(ownersOf(mine), NoEntry) << "the other owner's entry goes too";
  knAnimEvaluator::the()->updateSceneAnimParentMap(root());
  EXPECT_EQ(ownersOf(mine), NoEntry) << "nobody rebuilds while the flag is down";
}

TEST_F(AimsTest, TheFirstAim) {
  auto& evaluator = *knAnimEvaluator::the();
  NodePtr const a = addNode(Transform3D::create()), b = addNode(Transform3D::create());
  AnimNodePtr const node = animate(a, newKey("scale"));
  animate(b, newAnimNode(node->getCore()));
  EXPECT_EQ(evaluator.getFirstAim(curveOf(node)), std::min(a, b)->getCore());
  EXPECT_FALSE(AnimNode::_changed);

  // What the map does not know is looked for below the material-side root, then in the materials.
  Held const lone(newKey());
  EXPECT_EQ(evaluator.getFirstAim(curveOf(lone)), nullptr);
  Held const material(Material::create());
  animate(*material, newAnimNode(lone->getCore()));
  knAnimManager::setGetAllMaterialsCB([&](NodePtr const&, auto& all) { all = {{}, *material}; });
  EXPECT_EQ(evaluator.getFirstAim(curveOf(lone)), *material);
  NodePtr const side = addNode(Group::create(), knSceneDataManager::getSceneData(0)->getMaterialRoot());
  animate(side, newAnimNode(lone->getCore()));
  EXPECT_EQ(evaluator.getFirstAim(curveOf(lone)), side->getCore());
  Access::parents()[lone->getCore().getContainerId()] = {};
  AnimNode::_changed = false;
  EXPECT_EQ(evaluator.getFirstAim(curveOf(lone)), nullptr) << "an entry without owners is an answer";
}

}  // namespace AimsTest
}  // namespace kntest
