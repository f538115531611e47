#include "knanim/commands/Commands.h"
#include "knanim/scene/SceneSurvey.h"

#include "model/scenedata/knSceneData.h"
#include "tools/knanim/TestFiles.h"

#include <set>

namespace knanim {
namespace {

using Channels = std::vector<knAnimManager::knOSGChannelData>;

/// A node that moves for a second, and what users of the program that wrote it said of it.
char const* const kTaggedModel = R"({"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}],
  "nodes": [{"name": "door", "extras": {"role": "entrance", "floor": 3, "UserProperties": "a = 1\r\nb"}}],
  "buffers": [{"byteLength": 32, "uri": "data:;base64,AAAAAAAAgD8AAAAAAAAAAAAAAAAAAIA/AAAAAAAAAAA="}],
  "bufferViews": [{"buffer": 0, "byteLength": 8}, {"buffer": 0, "byteOffset": 8, "byteLength": 24}],
  "accessors": [{"bufferView": 0, "componentType": 5126, "count": 2, "type": "SCALAR"},
                {"bufferView": 1, "componentType": 5126, "count": 2, "type": "VEC3"}],
  "animations": [{"samplers": [{"input": 0, "output": 1}],
                  "channels": [{"sampler": 0, "target": {"node": 0, "path": "translation"}}]}]})";

struct Loaded {
  explicit Loaded(std::string const& path)
      : file(std::get<ModelFile>(ModelFile::open(path))),
        model(std::get<ImportedModel>(file.load(0))),
        content(std::get<ModelContent>(file.loadContent())),
        scene(model, content) {}

  ModelFile file;
  ImportedModel model;
  ModelContent content;
  AnimatedScene scene;
};

TEST(SceneSurvey, ClipsBlocksAndNodesAreThoseOfTheFile) {
  {
    Loaded loaded(test::modelPath("X/Testwuson.X"));
    EXPECT_TRUE(completeScene(loaded.scene, loaded.model, loaded.file).empty());
    SceneSurvey const survey = surveyScene(loaded.scene, 30);
    ASSERT_EQ(survey.clips.size(), 3U);
    std::size_t keys = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      auto const single = std::get<ImportedModel>(loaded.file.load(i));
      keys += single.keyCount();
      EXPECT_EQ(survey.clips[i].name, loaded.model.summary.animations[i].name);
      EXPECT_EQ(survey.clips[i].info.curves, single.curves.size()) << i;
      EXPECT_EQ(survey.clips[i].info.controlPoints, single.keyCount()) << i;
    }
    EXPECT_FLOAT_EQ(survey.clips[1].info.end, 3.6F);
    EXPECT_EQ(survey.clips[1].lastFrame, 108);
    ASSERT_FALSE(survey.names.empty());
    EXPECT_EQ(survey.names[0].name, "Wuson_Bind") << "names are sorted";
    EXPECT_EQ(survey.names[0].blocks, 39U);
    ASSERT_EQ(survey.nodes.size(), 39U);
    for (SurveyedObject const& node : survey.nodes) {
      EXPECT_EQ(node.animations, 3U) << node.name;
      keys -= node.keys;
    }
    EXPECT_EQ(keys, 0U) << "the nodes' blocks hold other keys than the file";
  }
  EXPECT_TRUE(knAnimManager::getClipNodes().empty()) << "clips outlived their scene";
}

TEST(SceneSurvey, AMaterialCountsWhenItHasACurveWithKeys) {
  Loaded const loaded(test::modelPath("X/Testwuson.X"));
  std::vector<osg::MaterialPtr> materials;
  knSceneData::getMaterialPool()->get(materials);
  knAnimManager& manager = *knAnimManager::the();
  Channels channels;
  manager.getKeyableChannels(materials[0], channels);
  osg::AnimNodePtr const node = manager.createChannelCurveNode(channels[0], {});
  manager.addAnimation(materials[0], node);
  EXPECT_TRUE(surveyScene(loaded.scene, 30).materials.empty());
  osg::dcast<osg::AnimCurvePtr>(node->getCore())
      ->addPoint({0, 1}, {}, {}, osg::LinearTangent, osg::LinearTangent, false, true);
  std::vector<SurveyedObject> const animated = surveyScene(loaded.scene, 30).materials;
  ASSERT_EQ(animated.size(), 1U);
  EXPECT_EQ(animated[0].keys, 1U);
}

TEST(SceneSurvey, TextsOfTheFileAreTags) {
  test::TemporaryFolder const folder;
  test::writeFile(folder.file("door.gltf"), kTaggedModel);
  std::vector<SurveyedObject> const nodes = surveyScene(Loaded(folder.file("door.gltf")).scene, 30).nodes;
  ASSERT_EQ(nodes.size(), 1U);
  EXPECT_EQ(std::multiset<std::string>(nodes[0].tags.begin(), nodes[0].tags.end()),
            (std::multiset<std::string>{"a = 1", "b", "role = entrance"}));
}

TEST(AnimatedScene, TheLibraryFindsTheCurvesByTheirChannels) {
  knAnimManager& manager = *knAnimManager::the();
  for (char const* const name : {"BVH/01_01.bvh", "FBX/huesitos.fbx"}) {
    Loaded const loaded(test::modelPath(name));
    std::size_t found = 0;
    for (osg::NodePtr const& node : loaded.scene.nodes()) {
      osg::AnimNodePtr const block = manager.findBlock(node, loaded.model.summary.animations[0].name);
      Channels channels;
      manager.getKeyableChannels(node, channels);
      // Curves in a block are not looked at.
      while (block != nullptr && block->getNChildren() != 0)
        manager.addAnimation(node, osg::dcast<osg::AnimNodePtr>(block->getChild(0)));
      for (auto const& channel : channels) {
        auto const curve = manager.findChannelCurveNode(channel, manager.getAnimAttachment(node));
        if (curve == nullptr) continue;
        ++found;
        EXPECT_EQ(osg::NodeUtils::getName(curve), channel.channelName + '.' + channel.suffix);
        auto const core = osg::dcast<osg::AnimCurvePtr>(curve->getCore());
        EXPECT_EQ(core->getName(), channel.fieldName);
        EXPECT_EQ(core->getValueIndex(), channel.valueIndex);
      }
    }
    EXPECT_EQ(found, loaded.model.curves.size()) << name;
  }
}

}  // namespace
}  // namespace knanim
