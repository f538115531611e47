#include "knanim/scene/SceneSurvey.h"

#include "tools/knanim/TestFiles.h"

namespace knanim {
namespace {

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

}  // namespace
}  // namespace knanim
