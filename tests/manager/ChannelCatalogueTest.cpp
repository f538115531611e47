#include "knAnimManager.h"
#include "model/camera/UberCamera.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/scenegraph/ClipPlane.h"

#include "support/TestContainers.h"

namespace kntest::ChannelCatalogueTest {

using Channels = std::vector<knOSGChannelData>;

/// A material that declares the channels that it is told to, with fields whose names count.
class Declaring : public Material {
  KN_CONTAINER(Declaring, Declaring, Material)
  KN_SFIELD(UInt8, Byte, byte)
  KN_SFIELD(Vec3f, Glossy, glossy)
  KN_SFIELD(Vec3f, Color, color)
  KN_SFIELD(Vec3f, SeeThrough, seeThrough)
  KN_SFIELD(Vec4f, FooColor, fooColor)
  KN_SFIELD(Color4f, IncandescenceColor, incandescenceColor)
  KN_SFIELD(Pnt3f, PointColor, pointColor)
  KN_SFIELD(Vec3f, Range, range)
  KN_SFIELD(Vec4f, Four, four)
  KN_SFIELD(NodePtr, Link, link)
  KN_MFIELD(Vec3f, List, list)
  KN_CONTAINER_END
  void getChannelDescriptions(std::vector<ChannelDescription>& out) const override { out = declared; }
  std::vector<ChannelDescription> declared;
};
KN_CONTAINER_TYPE(Declaring, Declaring, "TestDeclaring")

/// Field by field: what its channels are called where not as the field, their suffixes and value indices.
std::string textOf(Channels const& channels) {
  std::string text;
  std::string last;
  for (auto const& channel : channels) {
    if (channel.fieldName != std::exchange(last, channel.fieldName)) text += ", " + last;
    text += " ";
    if (channel.channelName != channel.fieldName) text += channel.channelName + ".";
    text += channel.suffix + std::to_string(channel.valueIndex);
  }
  return text.empty() ? text : text.substr(2);
}

std::string const TransformText =
    "translation X0 Y1 Z2, scale X0 Y1 Z2, eulerRotation rotation.X0 rotation.Y1 rotation.Z2, "
    "eulerRotationOrientation rotationOrientation.X0 rotationOrientation.Y1 rotationOrientation.Z2, ";

class ChannelCatalogueTest : public SceneTest {
 protected:
  static void SetUpTestSuite() { knAnimManager::the(); }

  template <class Handle>
  std::string list(Handle const& handle) {
    _channels.clear();
    _manager.getKeyableChannels(handle, _channels);
    return textOf(_channels);
  }
  std::string list() { return list<NodePtr>(*_node); }
  /// Container, parent and owner of one of the channels that were listed last.
  void expectIds(std::string const& name, std::initializer_list<FieldContainerPtr> const& containers) {
    auto const isIt = [&](auto const& channel) { return channel.channelName == name; };
    auto const found = std::find_if(_channels.begin(), _channels.end(), isIt);
    ASSERT_NE(found, _channels.end()) << name;
    std::array const ids = {found->containerId, found->parentId, found->ownerId};
    auto const isSame = [](UInt32 id, auto const& container) { return id == container.getContainerId(); };
    EXPECT_TRUE(std::equal(ids.begin(), ids.end(), containers.begin(), containers.end(), isSame)) << name;
  }
  std::string listMaterial(std::vector<ChannelDescription> declared) {
    _material->declared = std::move(declared);
    return list<MaterialPtr>(*_material);
  }
  std::string listFields(FieldContainerPtr const& container, std::string const& excluded = "none") {
    _channels.clear();
    _manager.getKeyableChannels(container, 7, 8, "name", _channels, {excluded});
    return textOf(_channels);
  }

  Held<Node::Ptr> _node{Node::create()};
  Held<Declaring::Ptr> _material{Declaring::create()};
  knAnimManager& _manager = *knAnimManager::the();
  Channels _channels;
};

TEST_F(ChannelCatalogueTest, ListsTheCoreAndThenTheNode) {
  NodePtr const dead = Node::create();
  dead.subRef();
  EXPECT_EQ(list(NodePtr()) + list(dead) + list(MaterialPtr()) + listFields(dead) + listFields({}), "");
  EXPECT_EQ(list(), "visible 0") << "without a core";
  NodeUtils::setName(*_node, "box", false);
  _node->setCore(Transform3D::create());
  EXPECT_EQ(list(), TransformText + "visible 0");
  expectIds("rotation", {_node->getCore(), _node->getCore(), *_node});
  expectIds("visible", {*_node, NodePtr(), *_node});
  EXPECT_EQ(_channels[6].shortName + _channels[6].objectName + _channels.back().shortName, "EboxV");
  // Of a shape its transform comes first.
  auto const check = [this](auto const& core, std::string const& rest) {
    _node->setCore(core);
    EXPECT_EQ(list(), rest) << "without a transform";
    core->setTransform(Transform3D::create());
    EXPECT_EQ(list(), TransformText + rest);
    expectIds("translation", {core->getTransform(), core, *_node});
  };
  check(Geometry::create(), "visible 0");
  check(ClipPlane::create(), "active 0, visible 0");
}

TEST_F(ChannelCatalogueTest, ListsTheCameraAndItsSettings) {
  UberCamera::Ptr const camera = UberCamera::create();
  _node->setCore(camera);
  std::string const text = list();
  for (char const* part :
       {"near 0, far 0, fov 0, roll 0, fieldOfView X0 Y1, ",
        "turntableDistance 0, turntableHeight 0, turntableAngle 0, focalLength 0, fStop 0, exposure 0",
        "filmicParameter filmicShoulder.0 filmicToe.1, "
        "colorCorrection hueShift.0 saturation.1 brightness.2 contrast.3, "
        "glowParameter glowSize.0 glowIntensity.1 glowThreshold.2, "
        "glareParameter glareSize.0 glareIntensity.1 glareThreshold.2 glareRotation.3, "
        "glareParameter2 glareStreakNum.0, vignetteRadius 0, ",
        "candelaRange candelaRangeStart.0 candelaRangeEnd.1, sensitivity 0",
        "postprocessingFlags glowEnable.10 glareEnable.11, fogEnableDistance 0", "fogRangeDistance X0 Y1, ",
        "fogRangeHeight fogRangeHeightMin.0 fogRangeHeightMax.1, ", "fogBlendHeight 0, visible 0"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
  }
  expectIds("exposure", {camera->getTonemappingSettings(), camera, *_node});
  expectIds("fogBlendHeight", {camera->getFogSettings(), camera, *_node});
  expectIds("turntableDistance", {camera, NodePtr(), *_node});
}

TEST_F(ChannelCatalogueTest, ListsWhatALightTakesThroughItsNode) {
  UberLight::Ptr const light = UberLight::create();
  light->setLensFlareEffect(LensFlareEffect::create());
  _node->setCore(light);
  EXPECT_EQ(list().find("diffuse R0 G1 B2, glossy R0 G1 B2, intensity 0, temperature 0, coneAngle 0"), 0U);
  for (auto name : {"diffuse", "glossy", "intensity", "temperature"})
    expectIds(name, {*_node, light, *_node});
  expectIds("coneAngle", {light, light, *_node});
  expectIds("imageNumber", {light->getDiffuse(), light, *_node});
  expectIds("lensFlare.size", {light->getLensFlareEffect(), light, *_node});
}

TEST_F(ChannelCatalogueTest, ContentsDecideWhatAFieldGives) {
  Held<Multis::Ptr> const every{Multis::create()};
  EXPECT_EQ(listFields(*every), "") << "no name that can be keyed";
  for (auto const& field : every->getType().getFieldDescriptions()) {
    std::string const name = field.getName().str();
    _material->declared.push_back({{every->getContainerId()}, name, name});
  }
  EXPECT_EQ(list<MaterialPtr>(*_material),
            "bool 0, int32 0, uint32 0, int64 0, uint64 0, real32 0, real64 0, color3f R0 G1 B2, "
            "color4f R0 G1 B2 A3, vec2f X0 Y1, vec3f X0 Y1 Z2, vec4f X0 Y1 Z2 W3, pnt2f X0 Y1, "
            "pnt3f X0 Y1 Z2, pnt4f X0 Y1 Z2 W3, quaternion X0 Y1 Z2, kept 0");

  _material->declared = {{{}, "range", "candelaRange"},
                         {{}, "pointColor", "pointColor"},
                         {{}, "four", "glowParameter"},
                         {{}, "four", "second"}};
  for (auto name :
       {"byte", "glossy", "color", "seeThrough", "fooColor", "incandescenceColor", "link", "list"}) {
    _material->declared.push_back({{}, name, name});
  }
  EXPECT_EQ(listFields(*_material, "seeThrough"),
            "byte 0, glossy R0 G1 B2, color X0 Y1 Z2, fooColor R0 G1 B2, incandescenceColor R0 G1 B2 A3, "
            "pointColor X0 Y1 Z2, range candelaRangeStart.0 candelaRangeEnd.1 candelaRange.Z2, "
            "four glowSize.0 glowIntensity.1 glowThreshold.2");
}

TEST_F(ChannelCatalogueTest, MaterialsDeclareTheirChannels) {
  UInt32 const id = _material->getContainerId();
  Multis::Ptr const gone = Multis::create();
  UInt32 const goneId = gone.getContainerId();
  gone.subRef();
  EXPECT_EQ(listMaterial({{{}, "range", "a"}, {{0}, "range", "a"}, {{goneId, id}, "range", "a"}}), "");
  EXPECT_EQ(listMaterial({{{id}, "none", "a"}, {{id}, "byte", "a"}, {{id}, "list", "a"}}), "");
  _material->declared = {{{id}, "incandescenceColor", "incandescenceColor"},
                         {{id}, "four", "colorCorrection"}};
  for (auto name : {"glossy", "color", "seeThrough"}) _material->declared.push_back({{id}, name, name});
  _material->declared.push_back({{id, goneId}, "fooColor", "foo"});
  EXPECT_EQ(list<MaterialPtr>(*_material),
            "incandescenceColor R0 G1 B2 incandescenceIntensity.3, four colorCorrection.hueShift3 "
            "colorCorrection.contrast0 colorCorrection.brightness1 colorCorrection.saturation2, "
            "glossy X0 Y1 Z2, color R0 G1 B2, seeThrough R0 G1 B2, fooColor foo.R0 foo.G1 foo.B2 foo.A3");

  MaterialGroup::Ptr const group = MaterialGroup::create();
  group->setMaterial(*_material);
  _node->setCore(group);
  Held<Multis::Ptr> const other{Multis::create()};
  _material->declared = {{{id}, "incandescenceColor", "incandescenceIntensity"},
                         {{other->getContainerId(), id}, "bool", "other"}};
  EXPECT_EQ(list(), "incandescenceColor incandescenceIntensity.3, bool other.0, visible 0");
  expectIds("other", {*other, *_material, *_material});
  EXPECT_EQ(_channels.front().shortName, "II");
}

}  // namespace kntest::ChannelCatalogueTest
