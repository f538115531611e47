// How a value lands in a field, what is marked, and how that is announced.
#include "support/SceneStage.h"

#include <deque>

namespace kntest {

/// A field of a well-known name, and something to do when it is announced.
class Trap : public osg::FieldContainer {
  KN_CONTAINER(Trap, Trap, osg::FieldContainer)
 public:
  KN_SFIELD(osg::Real32, FieldOfView, fieldOfView)
  KN_CONTAINER_END
  std::function<void()> onChange = [] {};
  void changed(osg::BitVector const&, osg::UInt32) override { onChange(); }
};
KN_CONTAINER_TYPE(Trap, Trap, "TestTrap")

class OtherPositions : public osg::GeoPositions {
  KN_CONTAINER(OtherPositions, OtherPositions, osg::GeoPositions)
  KN_CONTAINER_END
  osg::UInt32 getSize() const override { return 9; }
};
KN_CONTAINER_TYPE(OtherPositions, OtherPositions, "TestOtherPositions")

namespace FieldWritingTest {

int navigatorUpdates = 0;

class FieldWritingTest : public SceneStage {
 protected:
  knCurveData record(knContainerSet const& aims, char const* field, UInt32 index, float value,
                     UInt32 vertex = 0) {
    AnimCurvePtr const curve = _curves.emplace_back(newFieldCurve(field, index, {}));
    curve->setVertexIndex(vertex);
    knCurveData data({}, curve);
    data.aims = aims;
    data.value = value;
    return data;
  }
  /// Writes one value; whether that left a mark on the container.
  bool write(FieldContainerPtr const& aim, char const* field, UInt32 index, float value, UInt32 vertex = 0) {
    Access::write({record({aim}, field, index, value, vertex)});
    return Access::markOf(aim).any();
  }

 private:
  std::deque<Held<AnimCurvePtr>> _curves;
};

TEST_F(FieldWritingTest, ByContentType) {
  Held const target(Singles::create());
  target->setInt64(Int64{1} << 40);
  target->setUInt64((UInt64{1} << 50) + 6);
  struct Case {
    char const* field;
    UInt32 index;
    float value;
    std::string result;
    bool marked;
  };
  // In this order: what is written stays for the next one.
  Case const cases[] = {{"vec2f", 1, 5, "0 5", true},          {"vec2f", 1, 5, "0 5", false},
                        {"vec2f", 2, 6, "0 5", false},         {"vec3f", 2, -1, "0 0 -1", true},
                        {"vec3f", 10, 6, "0 0 -1", false},     {"vec3f", 0, NAN, "nan 0 -1", true},
                        {"vec3f", 0, NAN, "nan 0 -1", true},   {"vec4f", 3, 5, "0 0 0 5", true},
                        {"pnt2f", 0, 5, "5 0", true},          {"pnt3f", 1, 5, "0 5 0", true},
                        {"pnt4f", 3, 5, "0 0 0 5", true},      {"color3f", 0, 2, "2 0 0", true},
                        {"color4f", 3, 1, "0 0 0 1", false},   {"color4f", 3, 2, "0 0 0 2", true},
                        {"real32", 7, 0.5F, "0.5", false},     {"real32", 7, 90, "90", true},
                        {"real64", 0, 0, "0", false},          {"real64", 0, 90, "90", true},
                        {"real64", 0, 90, "90", true},         {"int32", 0, 0.5F, "1", true},
                        {"int32", 0, -0.5F, "-1", true},       {"int32", 0, 0.49F, "0", true},
                        {"int32", 9, 2.5F, "3", true},         {"int32", 11, 0.4F, "1", true},
                        {"int32", 11, 0.4F, "1", false},       {"int32", 11, 0.5F, "3", true},
                        {"int32", 11, -1, "1", true},          {"int32", 42, 0, "0", true},
                        {"uint32", 0, -1, "4294967295", true}, {"int64", 43, 1, "2", true},
                        {"int64", 43, 1, "2", true},           {"int64", 0, -1, "-1", true},
                        {"uint64", 60, 0, "6", true},          {"uint64", 60, 0, "6", false},
                        {"bool", 0, 0.5F, "true", false},      {"bool", 0, -0.4F, "false", true},
                        {"quaternion", 0, 1, "0 0 0 1", true}, {"uint8", 0, 1, "0", true}};
  for (Case const& one : cases) {
    EXPECT_EQ(write(target, one.field, one.index, one.value), one.marked) << one.field << ' ' << one.value;
    std::string text;
    target->getField(one.field)->putToString(text);
    EXPECT_EQ(text, one.result) << one.field << ' ' << one.index << ' ' << one.value;
  }
  for (char const* const field : {"no such field", "eulerRotation", "visible"})
    EXPECT_FALSE(write(target, field, 0, 1));

  // Two components in one set: one mask, one announcement.
  target->changes.clear();
  Access::write({record({target}, "vec3f", 0, 1), record({target}, "vec3f", 1, 2)});
  ASSERT_EQ(target->changes.size(), 1U);
  EXPECT_EQ(target->changes[0].mask, Singles::Vec3fFieldMask);
  EXPECT_EQ(target->changes[0].origin, 1U);
}

TEST_F(FieldWritingTest, AnglesAndVertices) {
  Held const trap(Trap::create());
  Held const camera(UberCamera::create());
  Held const tone(TonemappingSettings::create());
  Held const shape(Geometry::create());
  write(trap, "fieldOfView", 0, 90);
  write(camera, "fieldOfView", 1, 90);
  write(tone, "glareParameter", 2, 90);
  write(tone, "glareParameter", 3, 180);
  EXPECT_EQ(trap->getFieldOfView(), 90);
  EXPECT_EQ(camera->getFieldOfView()[1], 180.F * 3.1415927F / 360.F);
  EXPECT_EQ(tone->getGlareParameter(), Vec4f(0.1F, 0.5F, 90, 3.1415927F));
  EXPECT_FALSE(write(tone, "glareParameter", 3, 180));

  EXPECT_FALSE(write(shape, "positions", 0, 1)) << "there is no property";
  shape->setPositions(OtherPositions::create());
  EXPECT_FALSE(write(shape, "positions", 0, 1)) << "a property of another class";
  GeoPositions3fPtr const positions = GeoPositions3f::create();
  GeoNormals3fPtr const normals = GeoNormals3f::create();
  positions->resize(2);
  normals->resize(2);
  shape->setPositions(positions);
  shape->setNormals(normals);
  EXPECT_TRUE(write(shape, "positions", 1, 5, 1) && write(shape, "normals", 2, 6, 0));
  EXPECT_FALSE(write(shape, "positions", 1, 5, 1) || write(shape, "positions", 1, 5, 2));
  EXPECT_FALSE(write(shape, "positions", 3, 5, 1));
  EXPECT_EQ(positions->getValues().getValues(), (std::vector{Pnt3f(), Pnt3f(0, 5, 0)}));
  EXPECT_EQ(normals->getValue(0), Vec3f(0, 0, 6));
}

TEST_F(FieldWritingTest, Visibility) {
  struct Case {
    UInt32 before;
    float value;
    UInt32 after;
    bool marked;
  };
  UInt32 const on = 0xFFFFFFFF;
  NodePtr const node = addNode(Group::create());
  Case const cases[] = {{on, 1, on, false},  {on, 0.9F, 0, true}, {on, -0.9F, 0, true},
                        {on, -1, on, false}, {0, 0.9F, 0, false}, {0, 1, on, true},
                        {0, -1, 0, true},    {7, 1, on, true},    {7, 0, 7, false}};
  for (Case const& one : cases) {
    node->setTravMask(one.before);
    EXPECT_EQ(write(node, "visible", 0, one.value), one.marked) << one.before << ' ' << one.value;
    EXPECT_EQ(node->getTravMask(), one.after) << one.before << ' ' << one.value;
  }
}

TEST_F(FieldWritingTest, ParentsAreMarked) {
  Held const target(Transform3D::create()), second(Transform3D::create());
  Held const plain(Singles::create());
  Held const color(ColorComponentSettings::create());
  Held const material(PhongMaterial::create());
  Held const camera(UberCamera::create());
  Held const shape(Geometry::create());
  Held const plane(ClipPlane::create());
  struct Case {
    knContainerSet aims;
    FieldContainerPtr parent;
    BitVector mask;
  };
  for (Case const& one : {Case{{*target}, shape, Geometry::TransformFieldMask},
                          {{*target}, plane, ClipPlane::TransformFieldMask},
                          {{*target}, material, Material::ColorComponentDataFieldMask},
                          {{*target}, camera, UberCamera::TonemappingSettingsFieldMask},
                          {{*target}, color, ColorComponentSettings::PlanarProjectionFieldMask},
                          {{*target, *second}, color, {}},
                          {{*plain}, color, {}},
                          {{*target}, plain, {}},
                          {{}, material, {}}}) {
    knCurveData data = record(one.aims, "scale", 0, 1);  // the value is there already
    data.parents = {FieldContainerPtr(), one.parent};
    Access::write({data});
    EXPECT_EQ(Access::markOf(one.parent), one.mask) << one.parent->getType().getCName();
    EXPECT_EQ(Access::markCount(), one.mask.any() ? 1U : 0U);
  }
}

TEST_F(FieldWritingTest, TransformsAndLights) {
  Held const transform(Transform3D::create());
  for (UInt32 const index : {1U, 1U, 3U}) EXPECT_FALSE(write(transform, "eulerRotation", index, 30));
  write(transform, "eulerRotationOrientation", 2, 40);
  EXPECT_EQ(transform->getEulerRotation(), Vec3f(0, 30, 0));
  EXPECT_EQ(transform->getEulerRotationOrientation(), Vec3f(0, 0, 40));
  EXPECT_EQ(changes.getAnnouncementCount(), 2U) << "by the setters themselves";

  NodePtr const node = addNode(UberLight::create());
  UberLightPtr const light = coreOf<UberLight>(node);
  light->setUnit(UberLight::Watt);
  write(node, "intensity", 0, 5);
  write(node, "diffuse", 1, 0.5F);
  write(node, "glossy", 2, 0.25F);
  EXPECT_EQ(light->getIntensity(UberLight::Watt), 5);
  EXPECT_EQ(light->getDiffuseColor(), Color3f(1, 0.5F, 1));
  EXPECT_EQ(light->getGlossyColor(), Color3f(1, 1, 0.25F));
  changes.clear();
  knCurveData const warm = record({node}, "temperature", 0, 3000);
  Access::write({warm}, false);
  ASSERT_FALSE(changes.getEntries().empty()) << "announced before any commit";
  EXPECT_TRUE(changes.getEntries()[0].mask.test(UberLight::TemperatureFieldId));
  EXPECT_EQ(light->getGlossyColor(), UberLight::getBlackBodyColor(3000));
  changes.clear();
  Access::write({warm, record({node}, "intensity", 0, 5), record({root()}, "intensity", 0, 5)});
  EXPECT_TRUE(changes.getEntries().empty());
}

TEST_F(FieldWritingTest, Cameras) {
  navigatorUpdates = 0;
  knAnimManager::setUpdateNavigatorCB([](bool) { ++navigatorUpdates; });
  UberCameraPtr const camera = coreOf<UberCamera>(addNode(UberCamera::create()));
  NodePtr const target = addNode(Transform3D::create()), upwards = addNode(Transform3D::create());
  camera->setAimNode(target);
  camera->setUpVectorNode(upwards);
  camera->setViewByFromAtUp({1, 2, 3}, {1, 2, -7}, {0, 1, 0});
  coreOf<Transform3D>(target)->setTranslation({7, 8, 9});
  changes.clear();
  auto const one = [&](char const* field, UInt32 index, float value) {
    return record({camera}, field, index, value);
  };
  // The other components stay, and the camera is moved once.
  Access::write({one("from", 0, 5), one("at", 0, 6), one("from", 2, 4), one("from", 3, 99)});
  EXPECT_EQ(camera->getFrom(), Pnt3f(5, 2, 4));
  EXPECT_EQ(camera->getAt(), Pnt3f(6, 2, -7));
  EXPECT_EQ(changes.getAnnouncementCount(), 1U);
  camera->setFlags(UberCamera::NavigatorFollowsFlag);
  Access::write({one("up", 0, 1), one("aimTranslation", 1, 5), one("upTranslation", 0, 3)});
  EXPECT_EQ(camera->getUp(), Vec3f(1, 1, 0));
  EXPECT_EQ(placeOf(target), Vec3f(7, 5, 9));
  EXPECT_EQ(announced(target->getCore()), Transform3D::TranslationFieldMask);
  EXPECT_EQ(placeOf(upwards), Vec3f(3, 0, 0));
  EXPECT_EQ(navigatorUpdates, 1);

  // Alone, each is written directly, and what belongs to the two nodes is not written at all.
  Access::writeAlone(one("from", 1, -4));
  Access::writeAlone(one("aimTranslation", 1, 50));
  target->setCore(Group::create());
  Access::write({one("aimTranslation", 1, 5)});
  EXPECT_EQ(camera->getFrom(), Pnt3f(5, -4, 4));
  EXPECT_EQ(placeOf(upwards), Vec3f(3, 0, 0));
  EXPECT_EQ(navigatorUpdates, 2);
}

TEST_F(FieldWritingTest, Announcements) {
  Held const material(PhongMaterial::create());
  Held const color(ColorComponentSettings::create());
  Held const transform(Transform3D::create());
  Held const trap(Trap::create());
  FieldContainerPtr const gone = Transform3D::create(), next = Singles::create();
  Access::write(
      {record({material}, "shininess", 0, 3), record({gone}, "scale", 0, 3), record({color}, "gain", 0, 3),
       record({transform}, "scale", 0, 3), record({trap}, "fieldOfView", 0, 3)},
      false);
  EXPECT_TRUE(changes.getEntries().empty()) << "left to a later commit";
  gone.subRef();
  Access::commit();
  std::vector<FieldContainerPtr> order;
  for (auto const& entry : changes.getEntries()) order.push_back(entry.container);
  EXPECT_EQ(order, (std::vector<FieldContainerPtr>{trap, transform, color, material}));
  EXPECT_EQ(Access::markCount(), 5U) << "a commit takes nothing away";
  // Who hears of a change destroys what was to be announced next.
  trap->onChange = [&] { next.subRef(); };
  Access::write({record({trap}, "fieldOfView", 0, 4), record({next}, "real32", 0, 4)});
  EXPECT_FALSE(next.isAlive());

  auto& evaluator = *knAnimEvaluator::the();
  knOSGChannelData channel(transform->getContainerId(), color->getContainerId(), 0, "translation", "", "", "",
                           1, "");
  evaluator.setOSGFieldValue(channel, 5, false);
  EXPECT_EQ(transform->getTranslation(), Vec3f(0, 5, 0));
  EXPECT_EQ(Access::markCount(), 2U) << "only what this call wrote, and its parent";
  channel.containerId = 0xFFFFFFF0;
  evaluator.setOSGFieldValue(channel, 6, true);
  EXPECT_EQ(Access::markCount(), 2U);
  // A curve, everywhere where it is used, even while it is empty.
  NodePtr const first = addNode(Transform3D::create()), second = addNode(Transform3D::create());
  AnimNodePtr const node = animate(first, newCurveNode("translation", 2, {}));
  animate(second, newAnimNode(node->getCore()));
  evaluator.setOSGFieldValue(curveOf(node), 9, true);
  EXPECT_TRUE(placeOf(first) == Vec3f(0, 0, 9) && placeOf(second) == Vec3f(0, 0, 9));
}

}  // namespace FieldWritingTest
}  // namespace kntest
