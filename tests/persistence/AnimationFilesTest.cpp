#include "model/geometry/Geometry.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "support/LogCapture.h"
#include "support/SceneStage.h"
#include "support/TemporaryFolder.h"

#include <fstream>

namespace kntest::AnimationFilesTest {

using Names = std::vector<std::string>;
using Lines = std::vector<std::string>;

class AnimationFilesTest : public SceneStage {
 protected:
  AnimationFilesTest() {
    knAnimManager::setGetUniqueNameCB([](std::string const& name, std::vector<std::string>& taken) {
      std::string unique = name;
      while (std::ranges::find(taken, unique) != taken.end()) unique += "'";
      return unique;
    });
    knAnimManager::setGetAllMaterialsCB(
        [this](NodePtr const&, std::vector<MaterialPtr>& out) { out = _materials; });
  }
  ~AnimationFilesTest() override {
    knAnimManager::setGetUniqueNameCB({});
    for (MaterialPtr const& material : _materials) material.subRef();
  }

  std::string path(char const* name) const { return _folder.file(name); }
  bool save(AttachmentContainerPtr const& source, char const* name = "a.osb") {
    return manager.saveAnimations(path(name).c_str(), source);
  }
  bool load(AttachmentContainerPtr const& target, char const* name = "a.osb", bool notify = false) {
    return manager.loadAnimationsTo(target, path(name).c_str(), notify);
  }
  template <class Core>
  MaterialPtr addMaterial() {
    _materials.push_back(dcast<MaterialPtr>(Core::_type.createFieldContainer()));
    _materials.back().addRef();
    return _materials.back();
  }
  static Names animationNames(AttachmentContainerPtr const& owner) {
    Names names;
    for (AnimNodePtr const& tree : treesOf(owner)) names.emplace_back(NodeUtils::getName(tree));
    return names;
  }
  /// A block called "walk" that moves "translation" X from 0 to 10 within a second, and a curve called "x".
  static void animateWalk(AttachmentContainerPtr const& owner) {
    AnimNodePtr const block = newGroup<AnimBlock>({newCurveNode("translation", 0, {{0, 0}, {1, 10}})});
    NodeUtils::setName(animate(owner, block), "walk", false);
    NodeUtils::setName(animate(owner, newCurveNode("translation", 1, {{0, 3}})), "x", false);
  }

 private:
  TemporaryFolder const _folder;
  std::vector<MaterialPtr> _materials;
};

TEST_F(AnimationFilesTest, TreesPlayOnAnotherOwnerOfTheSameType) {
  NodePtr const source = addNode(Transform3D::create());
  animateWalk(source);
  ASSERT_TRUE(save(source));
  NodePtr const target = addNode(Transform3D::create());
  unsigned int told = 0;
  auto const listening = knUtils::listen("pastedAnimations", [&](auto, auto&, int) { ++told; });
  ASSERT_TRUE(load(target, "a.osb", true));
  EXPECT_EQ(told, 1U);
  // Blocks get names of their own, curves keep theirs.
  EXPECT_EQ(animationNames(target), (Names{"walk'", "x"}));
  ASSERT_TRUE(load(target));
  EXPECT_EQ(animationNames(target), (Names{"walk'", "x", "walk''", "x"}));
  EXPECT_EQ(told, 1U);
  evaluate(0.25F);
  EXPECT_EQ(placeOf(target), placeOf(source));
  EXPECT_EQ(placeOf(target).y(), 3);
  EXPECT_NE(placeOf(target).x(), 0);

  // The stored files are of this very animation, and are never written again.
  ASSERT_TRUE(save(source, "a.json"));
  std::string const stored = KN_TEST_DATA_DIR "/animation-v1";
  for (std::string const& file : {path("a.json"), stored + ".osb", stored + ".json"}) {
    NodePtr const third = addNode(Transform3D::create());
    ASSERT_TRUE(manager.loadAnimationsTo(third, file.c_str(), false)) << file;
    evaluate(0.5F);
    EXPECT_EQ(placeOf(third), placeOf(source)) << file;
  }

  // One tree alone, under the name of an older kind of file.
  AnimNodePtr const block = manager.find("walk");
  ASSERT_TRUE(save(block, "b.osb"));
  std::filesystem::rename(path("b.osb"), path("b.kdp"));
  NodePtr const other = addNode(Transform3D::create());
  EXPECT_TRUE(load(other, "b.kdp"));
  EXPECT_EQ(animationNames(other).size(), 1U);
}

TEST_F(AnimationFilesTest, AMaterialStandsInForItsGroup) {
  MaterialPtr const phong = addMaterial<PhongMaterial>();
  animateWalk(phong);
  ASSERT_TRUE(save(phong));
  MaterialPtr const other = addMaterial<PhongMaterial>();
  EXPECT_TRUE(load(other));
  EXPECT_EQ(animationNames(other).size(), 2U);
  LogCapture const log;
  EXPECT_FALSE(load(addNode(Transform3D::create())));
  EXPECT_EQ(log.errors(),
            (Lines{"knAnimManager::loadAnimationsTo : Can't load because of incompatible types!"}));
}

TEST_F(AnimationFilesTest, WhatCannotBeDoneIsSaidAndChangesNothing) {
  NodePtr const source = addNode(Transform3D::create());
  NodePtr const bare = addNode(Transform3D::create());
  NodePtr const coreless = addNode({});
  NodePtr const group = addNode(Group::create());
  animateWalk(source);
  animate(coreless, newCurveNode("translation", 0, {{0, 0}}));
  ASSERT_TRUE(save(source));
  std::filesystem::copy_file(path("a.osb"), path("a.OSB"));
  ASSERT_TRUE(saveSceneFile(root(), path("scene.osb"), true));
  std::ofstream(path("damaged.osb")) << "no scene";
  bare->addAttachment(AnimAttachment::create());
  ASSERT_TRUE(save(bare, "empty.osb"));
  Held const lonely(newCurveNode("translation", 0, {{0, 0}}));

  struct {
    std::function<bool()> attempt;
    char const* text;
  } const rows[] = {
      {[&] { return save(*lonely); }, "knAnimManager::saveAnimations : Can't save animations without aim!"},
      {[&] { return save(coreless); }, "knAnimManager::saveAnimations : Aim not valid!"},
      {[&] { return save(group); }, "knAnimManager::saveAnimations : No animations at source!"},
      {[&] { return load(group); },
       "knAnimManager::loadAnimationsTo : Can't load because of incompatible types!"},
      {[&] { return load(source, "a.OSB"); }, "knAnimManager::loadAnimationsTo : Invalid file type!"},
      {[&] { return load(source, "absent.osb"); }, "knAnimManager::loadAnimationsTo : Load error!"},
      {[&] { return load(source, "damaged.osb"); }, "knAnimManager::loadAnimationsTo : Load error!"},
      {[&] { return load(source, "empty.osb"); }, "knAnimManager::loadAnimationsTo : Load error!"},
      {[&] { return load(source, "scene.osb"); },
       "knAnimManager::loadAnimationsTo : Can't find animation identification in file!"},
  };
  for (auto const& row : rows) {
    auto const living = FieldContainerFactory::the().getLivingCount();
    LogCapture const log;
    EXPECT_FALSE(row.attempt()) << row.text;
    ASSERT_FALSE(log.errors().empty()) << row.text;
    EXPECT_EQ(log.errors().back(), row.text);
    EXPECT_EQ(FieldContainerFactory::the().getLivingCount(), living) << row.text;
  }
  LogCapture const log;
  EXPECT_FALSE(load({}));
  EXPECT_FALSE(manager.loadAnimationsTo(source, nullptr, false));
  EXPECT_FALSE(manager.saveAnimations(nullptr, source));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(load(source, "damaged.osb"));
  EXPECT_TRUE(log.contains("damaged.osb"));
}

TEST_F(AnimationFilesTest, SeveralTargetsAreServedAndToldOnce) {
  NodePtr const source = addNode(Transform3D::create());
  animateWalk(source);
  ASSERT_TRUE(save(source));
  NodePtr const fits = addNode(Transform3D::create());
  NodePtr const doesNot = addNode(Group::create());
  unsigned int told = 0;
  auto const listening = knUtils::listen("pastedAnimations", [&](auto, auto&, int) { ++told; });
  LogCapture const log;
  manager.loadAnimationsTo(std::vector<NodePtr>{doesNot, {}, fits, fits}, path("a.osb").c_str(), true);
  EXPECT_EQ(log.warnings(),
            (Lines{"knAnimManager::loadAnimationsTo : Can't load because of incompatible types!"}));
  EXPECT_EQ(animationNames(fits).size(), 4U);
  manager.loadAnimationsTo(std::vector<NodePtr>{doesNot}, path("a.osb").c_str(), true);
  EXPECT_EQ(told, 2U);
  EXPECT_TRUE(log.errors().empty());
}

}  // namespace kntest::AnimationFilesTest
