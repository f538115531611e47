#include "tools/knanim/TestFiles.h"

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace knanim::CommandLineTest {

using namespace test;

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
  std::string const table = folder.file("table.json");
  writeFile(empty, "");
  writeFile(table, "a = b\n");
  writeFile(copy, readFile(film));
  std::string const morph = folder.file("AnimatedMorphCube.gltf");
  for (char const* const ending : {"gltf", "bin"}) {
    std::string const name = std::string("AnimatedMorphCube.") + ending;
    writeFile(folder.file(name),
              readFile(modelPath("glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/" + name)));
  }
  struct Case {
    std::string line;
    ExitCode code;
    char const* says;
  };
  std::string const play = "play " + film + ' ';
  std::string const picture = folder.file("a.png");
  std::string const missing = folder.file("missing.fbx");
  std::string const nowhere = folder.file("no/where.png");
  std::vector<Case> const cases = {
      {"", ExitCode::Usage, "no command given; there are \"play\""},
      {"pley " + film, ExitCode::Usage, "no command \"pley\"; did you mean \"play\"?"},
      {play + "--strip-frame=3", ExitCode::Usage,
       "unknown option --strip-frame for play; did you mean \"--strip-frames\""},
      {play + "--animation Wuson_Wlk", ExitCode::Usage, "did you mean \"Wuson_Walk\""},
      {play + "--image a.png --camera Cam", ExitCode::Usage, "it has none"},
      {play + "--fps fast", ExitCode::Usage, "--fps takes a number, not \"fast\""},
      {play + "--from 3 --to 2", ExitCode::Usage, "ends before it begins"},
      {play + "--to 1e9", ExitCode::Usage, "frames"},
      {play + "--channel Root", ExitCode::Usage, "--csv, --plot"},
      {play + "--plot a.gif", ExitCode::Usage, ".png or .svg"},
      {play + "--plot " + picture + " --channel Pelvs", ExitCode::Usage, "did you mean \"Pelvis\"?"},
      {play + "--strip " + picture + " --image " + picture, ExitCode::Usage, "the same file"},
      {play + "--strip " + picture + " --image " + folder.file("./a.png"), ExitCode::Usage, "the same file"},
      {"play " + morph + " --csv " + folder.file("AnimatedMorphCube.bin"), ExitCode::Usage,
       "overwrite a file of the model"},
      {play + "--image " + picture + " --frame 999", ExitCode::Usage, "0 to 29"},
      {play + "--csv ''", ExitCode::Usage, "--csv: needs the name of a file"},
      // Before the model is read, which is not there.
      {"play " + missing + " --loop 0:2.5", ExitCode::Usage, "whole frame numbers"},
      {"reduce " + missing + " --tolerance abc", ExitCode::Usage, "tolerance \"abc\": expected"},
      {"convert " + missing + ' ' + picture + ".glb --bake-skins --fps 0", ExitCode::Usage, "--fps must be"},
      {"edit " + missing + " --shift x", ExitCode::Usage, "shift: \"x\": expected"},
      {play + "--loop 0:3000000000", ExitCode::Usage, "2147483647"},
      {play + "--realtime --seconds 0", ExitCode::Usage, "above 0"},
      {play + "--loop 0:9 --seconds 1e9", ExitCode::Usage, "more passes"},
      {"play " + copy + " --csv " + folder.file("./copy.x"), ExitCode::Usage, "would overwrite the input "},
      {"info " + film + " --animation 9", ExitCode::Usage, "3 \"Wuson_Bind\""},
      {"play " + missing, ExitCode::FileUnreadable, "No such file"},
      {"info " + folder.file(""), ExitCode::FileUnreadable, "Is a directory"},
      {"play " + nonsense, ExitCode::NotAModel, " as a model: "},
      {"info " + empty, ExitCode::NotAModel, " as a model: "},
      {"play " + modelPath("FBX/box.fbx"), ExitCode::NoAnimation, "no animation in this model"},
      {play + "--film a.png --size 15x16", ExitCode::Usage, "bad size \"15x16\""},
      {play + "--tangents soft", ExitCode::Usage, "no \"soft\"; it takes linear, auto or clamped"},
      {play + "--stagger 1", ExitCode::Usage, "unknown option --stagger for play; queue has it"},
      {"edit " + copy + " --paste " + film + " --paste " + film, ExitCode::Usage, "may be given only once"},
      {"edit " + film + " --rename " + table + " --out " + table, ExitCode::Usage,
       "would overwrite the input "},
      {"shoot " + film + " --near 10 --far 5", ExitCode::Usage, "--near must be below --far"},
      {play + "--bake-skins --fps 20000", ExitCode::Usage, "would take 4954 MiB"},
      {play + "--csv /dev/full", ExitCode::OutputUnwritable, "No space left"},
      {play + "--csv " + nowhere, ExitCode::OutputUnwritable, "No such file"},
  };
  for (Case const& each : cases) {
    Outcome const outcome = run(each.line);
    std::string const& shown = each.line;
    EXPECT_EQ(static_cast<int>(outcome.code), static_cast<int>(each.code)) << shown << ": " << outcome.errors;
    EXPECT_TRUE(outcome.errors.starts_with("knanim: ")) << shown << ": " << outcome.errors;
    EXPECT_NE(outcome.errors.find(each.says), std::string::npos) << shown << ": " << outcome.errors;
    EXPECT_EQ(outcome.output, "") << shown;
  }
  EXPECT_EQ(folder.count(), 6U) << "a failure left a file";
  EXPECT_EQ(readFile(copy), readFile(film));
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
  EXPECT_NE(test::drain(errors).find("cannot write to standard output"), std::string::npos);
  std::fclose(full);
}

TEST(CommandLine, PlayWritesTableAndPicture) {
  TemporaryFolder const folder;
  std::string const csv = folder.file("run.csv");
  Outcome const outcome = run("play " + modelPath("X/Testwuson.X") +
                              " --animation Wuson_Walk --fps 25 --from 0.5 --to 1.5 --clips --csv " + csv +
                              " --plot " + folder.file("run.png"));
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
  expectParts(outcome.output,
              {"2 of 3, \"Wuson_Walk\"", "39 animated of 40", "351 curves", "13 to 37",
               "run.csv, 26 rows of 353 columns", "\"Wuson_Walk\"", "in 1 and 2", "after the last"});
}

TEST(CommandLine, InfoDescribesTheModel) {
  expectParts(
      run("info " + modelPath("BVH/01_01.bvh")).output,
      {"BVH Importer", "38 nodes", "meshes      none", "22.9249 s, 120 ticks per second", "31 channels",
       "\n  Hips                                    2752      2752         1\n", "\n    LHipJoint",
       "0 to 22.9249      0 to 2751\n", "\n  RThumb                     1         9      8262\n",
       "\"Motion\" (31 blocks, 1 clip)\n", "materials   none animated\n"});
  expectParts(run("info " + modelPath("FBX/box.fbx")).output, {"animations  none"});
  expectParts(
      run("info " + modelPath("FBX/huesitos.fbx")).errors,
      {"warning: curves are straight lines between samples: the importer drops the tangents of .fbx files"});
}

TEST(CommandLine, ReportsAreJsonForPrograms) {
  std::string const model = modelPath("X/Testwuson.X");
  auto const ask = [&](std::string const& line, char const* pointer) {
    rapidjson::Document document;
    Outcome const outcome = run(line + " --json");
    document.Parse(outcome.output.c_str());
    EXPECT_FALSE(document.HasParseError()) << outcome.output.substr(0, 300);
    auto const* const value = rapidjson::Pointer(pointer).Get(document);
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    if (value != nullptr) value->Accept(writer);
    return std::string(text.GetString());
  };
  EXPECT_EQ(ask("info " + model, "/animations/2/name"), "\"Wuson_Bind\"");
  EXPECT_EQ(ask("info " + model, "/scene/clips/0/curves"), "351");
  EXPECT_EQ(ask("info " + modelPath("FBX/box.fbx"), "/animations"), "[]");
  EXPECT_EQ(ask("channels " + model + " Pelvis --time 0", "/objects/0/channels/3/name"), "\"scale.X\"");
  EXPECT_EQ(ask("play " + model + " --fps 25 --clips", "/lastFrame"), "24");
  EXPECT_EQ(ask("play " + model + " --reverse --rate 10", "/clock/isComplete"), "true");
}

TEST(CommandLine, ShellsAndManualKnowEveryOption) {
  TemporaryFolder const folder;
  std::string const script = run("--print bash").output;
  writeFile(folder.file("bash"),
            script + "COMP_WORDS=(knanim \"$@\"); COMP_CWORD=$#; _knanim; echo ${COMPREPLY[*]}\n");
  auto const complete = [&](std::string const& words) {
    std::FILE* const shell = popen(("bash " + folder.file("bash") + ' ' + words).c_str(), "r");
    char text[4096] = {};
    EXPECT_NE(std::fgets(text, sizeof(text), shell), nullptr);
    EXPECT_EQ(pclose(shell), 0);
    return std::string(text);
  };
  EXPECT_EQ(complete("lo"), "load-onto\n");
  EXPECT_EQ(complete("play a.fbx --strip"), "--strip --strip-frames\n");
  EXPECT_EQ(complete("shoot a.fbx --move t"), "track turntable\n");
  EXPECT_EQ(complete("play a.fbx --tangents a"), "auto\n");
  EXPECT_EQ(complete("play a"), "\n");
  expectParts(run("--print zsh").output,
              {"'*--view=[A viewpoint FROM\\:AT", ":value:(track flight shot turntable)"});
  expectParts(run("--print man").output,
              {"\n.SS \"load\\-onto\"", "\\fB\\-\\-strip\\-frames\\fR \\fINUMBER\\fR", "\n.B 6\n"});
}

}  // namespace knanim::CommandLineTest
