#include "knAnimManager.h"
#include "knanim/commands/QueueReport.h"
#include "knanim/pictures/QueueFilm.h"
#include "knanim/playing/Playback.h"
#include "knanim/saving/SceneSaving.h"
#include "knanim/support/Text.h"
#include "tools/knanim/TestFiles.h"

namespace knanim::QueueTest {

ImportedModel armModel(std::vector<Key> keys) {
  ImportedModel model;
  model.nodes.resize(2);
  model.nodes[1].parent = 0;
  model.curves = {{1, ChannelKind::Translation, 0, {}, {}, std::move(keys)}};
  return model;
}

/// The first rises from 0 to 10 in one second, the second falls from 5 to -5 in two. Passes are 0.125 s apart, so
/// that all times are exact.
class QueueRunTest : public testing::Test {
 protected:
  QueueRunTest() {
    settings.rate = 8;
    models.add(1, "one", armModel({{0, 0}, {1, 10}}), {});
    models.add(3, "two", armModel({{0, 5}, {2, -5}}), {});
  }
  void play() {
    AnimatedScene const scene(models.model, models.content);
    QueueRun run(models, scene, settings);
    SimulatedClock clock;
    auto const tell = [this](QueueEvent const& event) {
      events += brief(event.time) + ' ' + models.parts[event.model].name + ' ' + event.what + "; ";
    };
    EXPECT_FALSE(run.play(clock, tell, [&](double time) { onPass(time, scene); }));
    record = run.record();
    unmet = run.unmetPauses().size();
    values = {scene.curves()[0].fieldValue(), scene.curves()[1].fieldValue()};
  }

  QueueModels models;
  QueueSettings settings;
  std::function<void(double, AnimatedScene const&)> onPass = [](double, auto const&) {};
  std::string events;
  QueueRecord record;
  std::size_t unmet = 0;
  std::vector<float> values;
};

TEST_F(QueueRunTest, TreesStartPauseAndFinishOnClocksOfTheirOwn) {
  settings.pauses = {{std::nullopt, {0.75, 1.25}}};
  double (*const host)() = [] { return -7.0; };
  knAnimManager::setSimulationTimeCB(host);
  onPass = [](double time, AnimatedScene const& scene) {
    // While a tree stands, its fields hold what the pass before the pause gave.
    double const played = time < 0.75 ? time : time < 1.25 ? 0.625 : time - 0.5;
    EXPECT_EQ(scene.curves()[0].fieldValue(), std::min(10.0, 10 * played)) << time;
    EXPECT_EQ(scene.curves()[1].fieldValue(), played < 0.5 ? 0 : std::max(-5.0, 7.5 - 5 * played)) << time;
  };
  play();
  EXPECT_EQ(knAnimManager::_timeCB, host);
  knAnimManager::setSimulationTimeCB(nullptr);
  EXPECT_EQ(events,
            "0 one enqueued; 0.5 two enqueued; 0.75 one paused; 0.75 two paused; 1.25 one resumed; 1.25 two "
            "resumed; 1.625 one finished; 1.625 one message; 3.125 two finished; 3.125 two message; ");
  EXPECT_EQ(values, (std::vector<float>{10, -5}));
  EXPECT_EQ(record.passes, 26U);
  EXPECT_EQ(record.evaluated, (14U - 4) + (22 - 4));
  EXPECT_EQ(record.queued, 14U + 22);
  // The first value of the first tree is what the field held anyway, as is that of the pass that ends either.
  EXPECT_EQ(record.fields, (10U - 2) + (18 - 1));
  EXPECT_EQ(drawChart(record, models)[0],
            "  1  one  |████████████░░░░░░░██████                       |  0 s to 1.625 s, paused for 0.5 s");
}

TEST_F(QueueRunTest, CyclesRangesAndEnds) {
  auto const expect = [this](std::string const& name, QueueSettings const& set,
                             std::vector<double> const& ends, std::vector<float> const& last) {
    SCOPED_TRACE(name);
    settings = set;
    play();
    EXPECT_EQ((std::vector{record.tracks[0].playing->end, record.tracks[1].playing->end}), ends);
    EXPECT_EQ(values, last);
    EXPECT_EQ(record.tracks[1].finished, !settings.seconds);
    EXPECT_EQ(unmet, name == "reset" ? 1U : 0U);
  };
  expect("cycles", {0.5, 8, {}, 1, {}, {}}, {2.125, 4.625}, {10, -5});
  expect("range", {0.5, 8, {}, 0, TimeSpan{0.25, 0.5}, {}}, {0.375, 0.875}, {5, 2.5});
  expect("outside", {0, 8, {}, 0, TimeSpan{0.5, 2.0}, {}}, {1.625, 1.625}, {10, -5});
  EXPECT_TRUE(drawChart(record, models)[0].ends_with(" outside for 1 s")) << drawChart(record, models)[0];
  expect("no end", {0.5, 8, {}, -1, {}, 2.25}, {2.25, 2.25}, {2.5, -3.75});
  expect("stand", {0, 8, {{3, {1.5, 9}}}, 0, {}, 2.0}, {1.125, 2.0}, {10, -1.875});
  expect("reset", {0, 8, {{1, {5, 6}}}, 0, {}, {}, true}, {1.125, 2.125}, {0, 5});
}

TEST(QueueFilm, AModelThatHasNotBegunDoesNotMakeTheGround) {
  // It lies far below at rest, and stands on 0 while it plays.
  ImportedModel part = armModel({{0, 0}, {1, 0}});
  part.nodes[0].translation = {0, -50, 0};
  part.nodes[1].translation = {0, 1, 0};
  part.curves = {{0, ChannelKind::Translation, 1, {}, {}, {{0, 0}, {1, 0}}}};
  QueueModels models;
  models.add(1, "one", part, {});
  AnimatedScene const scene(models.model, models.content);
  QueueFilm film(models, scene, 1, 2);
  film.see(0, 0, {false});
  Playback({30, 0, 30}).show(0);
  film.see(1, 1, {true});
  std::string bytes;
  std::string message;
  ASSERT_TRUE(film.draw(PictureFormat::Svg, bytes, message)) << message;
  for (osg::Pnt3f const& joint : film.frames()[0].pose.joints) EXPECT_GE(joint.y(), -0.01F);
  EXPECT_NEAR(film.frames()[0].pose.joints[1].y(), film.frames()[1].pose.joints[1].y(), 1e-5F);
  EXPECT_NEAR(film.frames()[1].pose.joints[2].y(), 1, 1e-5F);
}

TEST(QueueModels, KeepTheirContentApart) {
  ModelContent content;
  content.materials.resize(1);
  content.meshesOfNodes = {{}, {0}};
  content.meshes.resize(1);
  content.meshes[0].bones = {{1, {}, {}}};
  QueueModels models;
  ImportedModel part = armModel({{0, 0}});
  part.morphs = {{1, 0, {}}};
  models.add(1, "a", part, content);
  models.add(2, "b", part, content);
  EXPECT_EQ(models.model.curves[1].node, 5U);
  EXPECT_EQ(models.model.morphs[1].node, 5U);
  EXPECT_EQ(models.model.morphs[1].mesh, 1U);
  EXPECT_EQ(models.content.meshes[1].material, 1U);
  EXPECT_EQ(models.content.meshes[1].bones[0].node, 5U);
  EXPECT_EQ(models.content.meshesOfNodes[5], std::vector<std::size_t>{1});
}

TEST(QueueCommand, LeavesOutWhatDoesNotMoveAndRefusesWhatMakesNoSense) {
  test::TemporaryFolder const folder;
  std::string const film = test::modelPath("LWS/move_x.lws") + ' ';
  std::string const still = test::modelPath("OBJ/box.obj") + ' ';
  std::string const strip = folder.file("strip.png");
  std::vector<std::tuple<ExitCode, std::string, char const*>> const cases = {
      {ExitCode::Ok, still + film + "--strip " + strip, "box.obj is left out"},
      {ExitCode::NoAnimation, still, "nothing to play"},
      {ExitCode::Usage, film + "--pause 2@1:1", "bad pause \"2@1:1\""},
      {ExitCode::Usage, film + "--rate 1e12", "ten million"}};
  for (auto const& [code, options, says] : cases) {
    test::Outcome const outcome = test::run("queue " + options);
    EXPECT_EQ(outcome.code, code);
    EXPECT_NE(outcome.errors.find(says), std::string::npos) << outcome.errors;
  }
  EXPECT_TRUE(test::readFile(strip).starts_with("\x89PNG"));
}

TEST(QueueCommand, AStoredSceneIsPlayedWithTheRepetitionsOfItsBlocks) {
  test::TemporaryFolder const folder;
  std::string const walk = test::modelPath("LWS/move_x.lws");
  {
    auto const loaded = LoadedScene::load({walk, ""}, {});
    LoadedScene& scene = *std::get<0>(loaded);
    for (SceneCurve const& curve : scene.scene().curves())
      osg::dcast<osg::AnimNodePtr>(curve.node->getParent())->setPostCycles(2);
    ASSERT_FALSE(saveScene(scene, folder.file("a.osb"), {}, {std::tmpfile(), std::tmpfile()}));
  }
  std::string const once = test::run("queue " + walk + ' ' + walk).output;
  auto const thrice =
      test::run("queue " + folder.file("a.osb") + ' ' + walk + " --strip " + folder.file("a.png"));
  test::expectParts(once, {"1  move_x.lws  enqueued  plays 0 s to 1.33333 s"});
  test::expectParts(thrice.output, {"1  a.osb       enqueued  plays 0 s to 4 s", "2  move_x.lws"});
  EXPECT_EQ(thrice.code, ExitCode::Ok) << thrice.errors;
}

}  // namespace knanim::QueueTest
