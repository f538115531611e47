#include "knanim/playing/CameraMove.h"

#include "knanim/pictures/CameraPlan.h"
#include "knanim/scene/AnimatedScene.h"

#include "tools/knanim/TestFiles.h"

namespace knanim::CameraMoveTest {

std::vector<Viewpoint> someViewpoints() {
  return {{"a", {0, 1, 5}, {0, 0, 0}, {0, 1, 0}, 40, 1},
          {"b", {6, 2, 1}, {1, 0, 0}, {0, 1, 0}, 55, 0.5F},
          {"c", {1, 3, -4}, {0, 0, 0}, {0, 1, 1}, 40, 1}};
}

TEST(CameraMoveTest, EachWayPassesItsViewpointsAndComesBackFromSamples) {
  for (MoveKind const kind : {MoveKind::Track, MoveKind::Flight, MoveKind::Shot, MoveKind::Turntable}) {
    AnimatedScene const scene{ImportedModel()};
    MoveSettings settings;
    settings.kind = kind;
    settings.seconds = 2;
    bool const hasPauses = kind == MoveKind::Track || kind == MoveKind::Flight;
    settings.pause = hasPauses ? 0.5 : 0;
    settings.shutterSpeed = 10;
    CameraMove move(someViewpoints(), settings);
    std::vector<double> const arrivals = move.arrivals();
    EXPECT_EQ(arrivals.back(), kind == MoveKind::Turntable ? 2 : hasPauses ? 4.5 : 4);
    std::size_t next = 0;
    for (int frame = 0; frame <= 20 * move.duration() + 0.1; ++frame) {
      double const time = frame / 20.0;
      move.showAt(time);
      osg::Pnt3f const from = move.camera().getFrom();
      if (next < arrivals.size() && std::abs(time - arrivals[next]) < 1e-6) {
        bool const isTurntable = kind == MoveKind::Turntable;
        Viewpoint const& viewpoint = move.viewpoints()[isTurntable ? 0 : next];
        EXPECT_LT(osg::length(from - viewpoint.from), 1e-4F) << next;
        if (kind != MoveKind::Shot) {
          EXPECT_NEAR(move.camera().getFov(), viewpoint.fov, 1e-4F);
        }
        ++next;
      }
      if (frame % 10 != 5) continue;
      move.showSample(0.5F);
      EXPECT_EQ(move.camera().getFrom() == from, hasPauses && frame % 50 >= 40) << frame;
      move.endSamples();
      EXPECT_LT(osg::length(move.camera().getFrom() - from), 1e-5F);
    }
    EXPECT_EQ(next, arrivals.size());
  }
}

TEST(CameraMoveTest, AModelWithOneCameraIsShotFromFourPlacesOrAroundOnce) {
  std::string const model = test::modelPath("BLEND/BlenderDefault_269.blend");
  test::Outcome const track = test::run("shoot " + model + " --fps 2");
  EXPECT_EQ(track.errors, "");
  test::expectParts(track.output, {"4  view 4", "4 viewpoints at a frame, exactly"});
  test::expectParts(test::run("shoot " + model + " --move turntable --seconds 1 --fps 10").output,
                    {"1  Camera", "frames      10, 10 per second", "1 viewpoint at a frame"});
}

TEST(CameraMoveTest, AnEvenTurntableTurnsByTheSameAngleFromFrameToFrame) {
  std::string const shoot = "shoot " + test::modelPath("BLEND/BlenderDefault_269.blend") + " --even --fps 10";
  test::Outcome const even = test::run(shoot + " --move turntable --seconds 2");
  EXPECT_EQ(even.errors, "");
  test::expectParts(even.output, {"frames      20,", "turn        342 degrees, the largest step 1 times"});
  test::expectParts(test::run(shoot + " --move turntable --seconds 1.04").errors,
                    {"--seconds 1 makes it 10)"});
  EXPECT_EQ(test::run(shoot).code, ExitCode::Usage);
}

TEST(CameraMoveTest, ATurntableShowsTheFigureWholeOrTellsHowItWould) {
  std::string const shoot =
      "shoot " + test::modelPath("FBX/huesitos.fbx") + " --move turntable --seconds 1 --fps 8";
  test::Outcome const moved = test::run(shoot);
  test::expectParts(moved.errors, {"first camera crops the figure on its way around"});
  test::expectParts(moved.output, {"1  view 1"});
  test::Outcome const named = test::run(shoot + " --camera Camera");
  test::expectParts(named.errors, {"--fov 55 shows all of it"});
  test::expectParts(named.output, {"1  Camera"});
  EXPECT_EQ(test::run(shoot + " --camera Camera --fov 55").errors.find("crops"), std::string::npos);
}

TEST(CameraMoveTest, FacesAreCutOffAtThePlanesOfTheView) {
  PictureView const view = PictureView::through(osg::Matrix(), {-1, 1, -1, 1}, 0, 2, 10, 1);
  std::vector<osg::Pnt3f> const face{{0, 0, 5}, {1, 0, -4}, {0, 1, -40}};
  std::vector<SeenPoint> const part = view.seePart(face);
  ASSERT_EQ(part.size(), 5U);
  for (SeenPoint const& point : part) EXPECT_TRUE(point.depth > 1.999 && point.depth < 10.001) << point.depth;
  EXPECT_TRUE(view.seePart(std::vector<osg::Pnt3f>{{0, 0, 5}, {1, 0, 4}, {0, 1, -1}}).empty());
  EXPECT_EQ(view.seePart(std::vector<osg::Pnt3f>{{0, 0, -4}, {0, 0, -40}}).size(), 2U);
}

}  // namespace knanim::CameraMoveTest
