#include "knanim/commands/Commands.h"

#include "tools/knanim/TestFiles.h"

#include <sstream>
#include <vector>

namespace knanim {
namespace {

using test::modelPath;
using test::readFile;
using test::TemporaryFolder;
using test::writeFile;

struct Outcome {
  ExitCode code;
  std::string output;
  std::string errors;
};

std::string drain(std::FILE* file) {
  std::string content(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(content.data(), 1, content.size(), file), content.size());
  std::fclose(file);
  return content;
}

Outcome run(std::vector<std::string> const& arguments) {
  std::vector<char const*> pointers = {"knanim"};
  for (std::string const& argument : arguments) pointers.push_back(argument.c_str());
  Terminal const terminal{std::tmpfile(), std::tmpfile()};
  ExitCode const code = runCommandLine(static_cast<int>(pointers.size()), pointers.data(), terminal);
  return {code, drain(terminal.output), drain(terminal.errors)};
}

std::vector<std::string> lines(std::string const& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

TEST(CommandLine, EveryFailureHasItsCodeAndSaysWhy) {
  TemporaryFolder const folder;
  std::string const film = modelPath("X/Testwuson.X");
  std::string const nonsense = folder.file("nonsense.fbx");
  std::string const empty = folder.file("empty.bvh");
  std::string const copy = folder.file("copy.x");
  writeFile(nonsense, std::string("\x01\x02 this is no model\n") + std::string(500, '\xFF'));
  writeFile(empty, "");
  writeFile(copy, readFile(film));
  struct Case {
    std::vector<std::string> arguments;
    ExitCode code;
    char const* says;
  };
  std::vector<Case> const cases = {
      {{}, ExitCode::Usage, "subcommand"},
      {{"dance"}, ExitCode::Usage, "--help"},
      {{"play"}, ExitCode::Usage, "MODEL"},
      {{"play", film, "--fps", "fast"}, ExitCode::Usage, "--fps"},
      {{"play", film, "--fps", "0"}, ExitCode::Usage, "frame rate"},
      {{"play", film, "--from", "nan"}, ExitCode::Usage, "finite"},
      {{"play", film, "--from", "3", "--to", "2"}, ExitCode::Usage, "ends before it begins"},
      {{"play", film, "--channel", "Root"}, ExitCode::Usage, "--plot"},
      {{"play", film, "--plot", "a.gif"}, ExitCode::Usage, ".png or .svg"},
      {{"play", film, "--plot", folder.file("a.png"), "--channel", "Nose"},
       ExitCode::Usage,
       "no channel fits \"Nose\""},
      {{"play", film, "--plot", folder.file("a.png"), "--csv", folder.file("a.png")},
       ExitCode::Usage,
       "the same file"},
      {{"play", film, "--strip", folder.file("a.png"), "--image", folder.file("a.png")},
       ExitCode::Usage,
       "the same file"},
      {{"play", film, "--strip", "a.jpg"}, ExitCode::Usage, ".png or .svg"},
      {{"play", film, "--strip", folder.file("a.png"), "--strip-frames", "0"},
       ExitCode::Usage,
       "--strip-frames"},
      {{"play", film, "--frame", "3"}, ExitCode::Usage, "--image"},
      {{"play", film, "--image", folder.file("a.png"), "--frame", "999"}, ExitCode::Usage, "0 to 29"},
      {{"play", film, "--camera", "fit"}, ExitCode::Usage, "--strip"},
      {{"play", film, "--image", folder.file("a.png"), "--camera", "Nose"},
       ExitCode::Usage,
       "no camera \"Nose\""},
      {{"play", film, "--clips-plot", "clips"}, ExitCode::Usage, ".png or .svg"},
      {{"play", film, "--loop", "ten:20"}, ExitCode::Usage, "unlike ten:20"},
      {{"play", film, "--loop", "10"}, ExitCode::Usage, "10:50"},
      {{"play", film, "--loop", ""}, ExitCode::Usage, "10:50"},
      {{"play", film, "--loop", "0:2.5"}, ExitCode::Usage, "whole frame numbers"},
      {{"play", film, "--loop", "0:3000000000"}, ExitCode::Usage, "2147483647"},
      {{"play", film, "--loops", "2"}, ExitCode::Usage, "--loop"},
      {{"play", film, "--realtime", "--rate", "-1"}, ExitCode::Usage, "rate of passes"},
      {{"play", film, "--rate", "nan"}, ExitCode::Usage, "rate of passes"},
      {{"play", film, "--rate", "0"}, ExitCode::Usage, "--realtime"},
      {{"play", film, "--realtime", "--seconds", "0"}, ExitCode::Usage, "above 0"},
      {{"play", film, "--loop", "0:9", "--seconds", "1e9"}, ExitCode::Usage, "more passes"},
      {{"play", copy, "--csv", folder.file("./copy.x")}, ExitCode::Usage, "replace the model"},
      {{"play", film, "--animation", "9"}, ExitCode::Usage, "3 \"Wuson_Bind\""},
      {{"info", film, "--animation", "9"}, ExitCode::Usage, "no animation \"9\""},
      {{"play", folder.file("missing.fbx")}, ExitCode::FileUnreadable, "No such file"},
      {{"info", folder.file("")}, ExitCode::FileUnreadable, "Is a directory"},
      {{"info", "/dev/null"}, ExitCode::FileUnreadable, "not a regular file"},
      {{"play", nonsense}, ExitCode::NotAModel, "is not a model"},
      {{"info", empty}, ExitCode::NotAModel, "is not a model"},
      {{"play", modelPath("FBX/box.fbx")}, ExitCode::NoAnimation, "no animation in this model"},
      {{"play", modelPath("glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf"),
        "--clips"},
       ExitCode::Usage,
       "only morphs"},
      {{"play", film, "--bake-skins", "--fps", "20000"}, ExitCode::Usage, "would take 4954 MiB"},
      {{"play", film, "--csv", "/dev/full"}, ExitCode::OutputUnwritable, "No space left"},
      {{"play", film, "--csv", folder.file("no/where.csv")}, ExitCode::OutputUnwritable, "No such file"},
      {{"play", film, "--plot", folder.file("no/where.svg")}, ExitCode::OutputUnwritable, "No such file"},
      {{"play", film, "--strip", folder.file("no/where.svg")}, ExitCode::OutputUnwritable, "No such file"},
      {{"play", film, "--image", folder.file("no/where.png")}, ExitCode::OutputUnwritable, "No such file"},
      {{"play", film, "--clips-plot", folder.file("no/where.png")},
       ExitCode::OutputUnwritable,
       "No such file"},
  };
  for (Case const& each : cases) {
    Outcome const outcome = run(each.arguments);
    std::string const shown = each.arguments.empty() ? "nothing" : each.arguments.back();
    EXPECT_EQ(static_cast<int>(outcome.code), static_cast<int>(each.code)) << shown << ": " << outcome.errors;
    EXPECT_TRUE(outcome.errors.starts_with("knanim: ")) << shown << ": " << outcome.errors;
    EXPECT_NE(outcome.errors.find(each.says), std::string::npos) << shown << ": " << outcome.errors;
    EXPECT_EQ(outcome.output, "") << shown;
  }
  EXPECT_EQ(folder.count(), 3U) << "a failure left a file";
  EXPECT_EQ(readFile(copy), readFile(film));
}

TEST(CommandLine, HelpTellsTheExitCodes) {
  for (std::vector<std::string> const& arguments :
       {std::vector<std::string>{"--help"}, {"play", "--help"}, {"info", "--help"}}) {
    Outcome const outcome = run(arguments);
    EXPECT_EQ(outcome.code, ExitCode::Ok);
    EXPECT_NE(outcome.output.find("Exit codes:"), std::string::npos);
    EXPECT_EQ(outcome.errors, "");
  }
  EXPECT_TRUE(run({"--version"}).output.starts_with("knanim "));
}

TEST(CommandLine, StandardOutputThatIsFullIsAFailure) {
  std::FILE* const full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  std::FILE* const errors = std::tmpfile();
  std::string const model = modelPath("X/Testwuson.X");
  for (std::vector<char const*> const& arguments :
       {std::vector<char const*>{"knanim", "info", model.c_str()}, {"knanim", "--help"}}) {
    std::clearerr(full);
    EXPECT_EQ(runCommandLine(static_cast<int>(arguments.size()), arguments.data(), {full, errors}),
              ExitCode::OutputUnwritable);
  }
  EXPECT_NE(drain(errors).find("cannot write to standard output"), std::string::npos);
  std::fclose(full);
}

TEST(CommandLine, PlayWritesTableAndPicture) {
  TemporaryFolder const folder;
  std::string const csv = folder.file("run.csv");
  Outcome const outcome =
      run({"play", modelPath("X/Testwuson.X"), "--animation", "Wuson_Walk", "--fps", "25", "--from", "0.5",
           "--to", "1.5", "--csv", csv, "--plot", folder.file("run.png")});
  ASSERT_EQ(outcome.code, ExitCode::Ok) << outcome.errors;
  std::vector<std::string> const rows = lines(readFile(csv));
  ASSERT_EQ(rows.size(), 26U);
  EXPECT_TRUE(rows[0].starts_with("frame,time,Wuson.translation.X,Wuson.translation.Y,"));
  EXPECT_TRUE(rows[1].starts_with("13,0.52,"));
  EXPECT_TRUE(rows[25].starts_with("37,1.48,"));
  auto const commas = std::count(rows[0].begin(), rows[0].end(), ',');
  EXPECT_EQ(commas, 39 * 9 + 1);
  for (std::string const& row : rows) EXPECT_EQ(std::count(row.begin(), row.end(), ','), commas);
  EXPECT_TRUE(readFile(folder.file("run.png")).starts_with("\x89PNG"));
  EXPECT_EQ(folder.count(), 2U);
  for (char const* const part : {"2 of 3, \"Wuson_Walk\"", "39 animated of 40", "351 curves", "13 to 37",
                                 "per second", "run.csv, 26 rows of 353 columns", "run.png"}) {
    EXPECT_NE(outcome.output.find(part), std::string::npos) << part << "\n" << outcome.output;
  }
}

TEST(CommandLine, PlayTellsWhatTheLibraryDidAndWhichClipsWrote) {
  Outcome const outcome = run({"play", modelPath("X/Testwuson.X"), "--clips"});
  ASSERT_EQ(outcome.code, ExitCode::Ok) << outcome.errors;
  for (char const* const part : {"30 frames in", "announcements", "1 geometry, 1 material",
                                 "clip 2      0.58 s to 4.18 s, \"Wuson_Walk\"", "in 1 and 2", "after all"}) {
    EXPECT_NE(outcome.output.find(part), std::string::npos) << part << "\n" << outcome.output;
  }
}

TEST(CommandLine, PlayOnAClockTellsTheCadence) {
  TemporaryFolder const folder;
  std::string const csv = folder.file("run.csv");
  Outcome const outcome = run({"play", modelPath("X/Testwuson.X"), "--loop", "20:11", "--loops", "2",
                               "--reverse", "--csv", csv, "--strip", folder.file("strip.svg")});
  ASSERT_EQ(outcome.code, ExitCode::Ok) << outcome.errors;
  for (char const* const part :
       {"simulated, 60 passes per second, backwards", "frames 11 to 20, 2 times",
        "20 frames, 20 repeats, 0 dropped", "repeat  20", "+1  19", "21 rows", "strip.svg"}) {
    EXPECT_NE(outcome.output.find(part), std::string::npos) << part << "\n" << outcome.output;
  }
  std::vector<std::string> const rows = lines(readFile(csv));
  ASSERT_EQ(rows.size(), 21U);
  EXPECT_TRUE(rows[1].starts_with("20,"));
  EXPECT_TRUE(rows[20].starts_with("11,"));
  EXPECT_EQ(rows[3], rows[13]) << "the second round differs from the first";

  Outcome const real = run({"play", modelPath("X/Testwuson.X"), "--realtime", "--rate", "0", "--to", "0.05"});
  EXPECT_EQ(real.code, ExitCode::Ok) << real.errors;
  EXPECT_NE(real.output.find("real time, as many passes as can be"), std::string::npos) << real.output;
}

TEST(CommandLine, AFailureLeavesTheGoodFile) {
  TemporaryFolder const folder;
  std::string const csv = folder.file("table.csv");
  writeFile(csv, "good");
  Outcome const outcome =
      run({"play", modelPath("FBX/huesitos.fbx"), "--csv", csv, "--plot", folder.file("no/way.png")});
  EXPECT_EQ(outcome.code, ExitCode::OutputUnwritable);
  EXPECT_NE(readFile(csv), "good") << "the table itself was fine";
  writeFile(csv, "good");
  EXPECT_EQ(run({"play", modelPath("FBX/huesitos.fbx"), "--csv", csv, "--to", "-1"}).code, ExitCode::Usage);
  EXPECT_EQ(readFile(csv), "good");
}

TEST(CommandLine, InfoDescribesTheModel) {
  Outcome const film = run({"info", modelPath("BVH/01_01.bvh")});
  ASSERT_EQ(film.code, ExitCode::Ok);
  for (char const* const part :
       {"BVH Importer", "38 nodes", "meshes      none", "\"Motion\"", "22.9249 s, 120 ticks per second",
        "31 channels", "\n  Hips                                    2752      2752         1\n",
        "\n    LHipJoint", "0 to 22.9249      0 to 2751\n",
        "\n  RThumb                     1         9      8262\n", "\"Motion\" (31 blocks, 1 clip)\n",
        "materials   none animated\n"}) {
    EXPECT_NE(film.output.find(part), std::string::npos) << part << "\n" << film.output;
  }
  Outcome const many = run({"info", modelPath("Collada/anims_with_full_rotations_between_keys.DAE")});
  EXPECT_NE(many.output.find("... and 24 more nodes"), std::string::npos) << many.output;
  Outcome const all = run({"info", "--all", modelPath("Collada/anims_with_full_rotations_between_keys.DAE")});
  EXPECT_EQ(lines(all.output).size(), lines(many.output).size() + 2 * 23);
  Outcome const still = run({"info", modelPath("FBX/box.fbx")});
  EXPECT_EQ(still.code, ExitCode::Ok);
  EXPECT_NE(still.output.find("animations  none"), std::string::npos) << still.output;
  Outcome const broken = run({"info", modelPath("LWS/move_y_pre_ofrep_post_osc.lws")});
  EXPECT_NE(broken.errors.find("warning: Pivot:simple_cube_(10000000).translation: put 4 keys"),
            std::string::npos);
}

}  // namespace
}  // namespace knanim
