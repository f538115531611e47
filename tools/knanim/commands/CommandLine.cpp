#include "knanim/commands/CommandList.h"
#include "knanim/commands/CommandPages.h"
#include "knanim/commands/Commands.h"
#include "knanim/commands/HelpFormatter.h"
#include "knanim/commands/UsageErrors.h"
#include "knanim/support/Console.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/LogCapture.h"
#include "knanim/support/OutputFile.h"

#include <cerrno>
#include <cstring>

namespace knanim {
namespace {

char const* const kFooter =
    "Exit codes:\n"
    "  0  all went well\n"
    "  1  any other failure, or interrupted; with diff: there are differences\n"
    "  2  the command line is wrong, or names something that the model does not have\n"
    "  3  the model is missing or cannot be read\n"
    "  4  the file is not a model of a known format\n"
    "  5  the model has no animation that can be played\n"
    "  6  an output cannot be written completely\n"
    "\n"
    "If an output cannot be written completely, the old file stays as it was.\n"
    "\n"
    "Channels have names like Hips.rotation.X: node, channel (translation, rotation\n"
    "or scale) and component. Rotations are angles in degrees, applied in the order\n"
    "x, y, z.";

void addJson(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "Print JSON for other programs: everything, in seconds and bytes");
}

/// Frames and film, which playing and moving cameras have in common.
template <class Options>
void addFilm(CLI::App& command, Options& options, std::string const& group) {
  addOutput(command, "--frames", options.frames, "Write every frame as a .png file into a folder")
      ->type_name("FOLDER")
      ->group(group);
  addOutput(command, "--film", options.film,
            "Make a film: an animated .png, or, with ffmpeg installed, a .gif, .mp4 or other video")
      ->group(group);
  command.add_option("--size", options.size, "Width and height of frames and film in pixels")
      ->type_name("WxH")
      ->capture_default_str()
      ->group(group);
}

void definePictures(CLI::App& command, PlayOptions& options) {
  char const* const group = "Pictures";
  addOutput(command, "--plot", options.plot, "Draw curves to a .png or .svg file")->group(group);
  command
      .add_option("--channel", options.channels,
                  "Channels for the table and the plot: a name pattern with * and ?, upper and lower case "
                  "alike; a node's "
                  "name selects all its channels. May be repeated; --clips uses only the first [table: all; "
                  "plot: those "
                  "that move most]")
      ->type_name("PATTERN")
      ->allow_extra_args(false)
      ->group(group);
  CLI::Option* const strip =
      addOutput(command, "--strip", options.strip, "Draw frames side by side to a .png or .svg file");
  strip->group(group);
  command.add_option("--strip-frames", options.stripFrames, "Number of frames in the strip")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->needs(strip)
      ->group(group);
  CLI::Option* const image =
      addOutput(command, "--image", options.image, "Draw one frame to a .png or .svg file");
  image->group(group);
  command.add_option("--frame", options.frame, "Number of the frame in the image [the first]")
      ->needs(image)
      ->group(group);
  addFilm(command, options, group);
  command
      .add_option(
          "--camera", options.camera,
          "Camera of the model to draw with; fit shows the whole figure from the side [the model's first "
          "camera; fit where that crops the figure]")
      ->type_name("NAME")
      ->group(group);
}

void defineClock(CLI::App& command, ClockOptions& options) {
  char const* const group = "Clock (any of these uses the frame player; simulated without --realtime)";
  command
      .add_flag("--realtime", options.realtime,
                "Play in real time: each pass waits until it is due, and frames that are late are dropped")
      ->group(group);
  command
      .add_option("--rate", options.rate,
                  "Passes per second (a pass is one turn of the host's loop); 0 with --realtime runs without "
                  "waiting [60]")
      ->group(group);
  command
      .add_option("--seconds", options.seconds,
                  "Stop after this many seconds, unless the last frame comes first [stop at the last frame]")
      ->group(group);
  CLI::Option* const loop =
      command.add_option("--loop", options.loop, "Play the frames of a range, such as 10:50, over and over")
          ->type_name("A/B");
  loop->group(group);
  command
      .add_option("--loops", options.rounds,
                  "How many times to play the range [3; with --seconds, until the time is up]")
      ->check(CLI::Range(1, 1'000'000))
      ->needs(loop)
      ->group(group);
  command.add_flag("--reverse", options.reverse, "Play backwards, from the last frame to the first")
      ->group(group);
  command.add_flag("--subframes", options.subframes, "Also play fractional frames")->group(group);
}

void definePlay(CLI::App& command, PlayOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  command
      .add_option("--animation", options.animation, "Number (from 1) or name of the animation [the first]")
      ->type_name("NAME");
  command.add_option("--fps", options.framesPerSecond, "Frames per second")->capture_default_str();
  command.add_option("--from", options.from, "Start time in seconds [start of the animation]");
  command.add_option("--to", options.to, "End time in seconds [end of the animation]");
  addOutput(command, "--csv", options.csv, "Write all values of all frames as a table; - is standard output");
  command.add_flag("--bake-skins", options.bakeSkins,
                   "Replace meshes with bones by shape caches, one stored shape per frame, and play those");
  command.add_flag(
      "--clips", options.clips,
      "Arrange the animations as overlapping clips on one timeline, and show which clip wins where");
  addOutput(command, "--clips-plot", options.clipsPlot, "Draw the clips to a .png or .svg file")
      ->group("Pictures");
  addJson(command, options.json);
  addTangents(command, options.tangents);
  defineClock(command, options.clock);
  definePictures(command, options);
}

void defineInfo(CLI::App& command, InfoOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  command
      .add_option("--animation", options.animation,
                  "Number (from 1) or name of the animation whose nodes are listed [the first]")
      ->type_name("NAME");
  command.add_flag("--all", options.allNodes, "List all animated nodes, however many");
  addJson(command, options.json);
}

void defineQueue(CLI::App& command, QueueOptions& options) {
  command.add_option("MODEL", options.models, "The models")->required();
  command.add_option("--stagger", options.stagger, "Seconds from the start of one model to that of the next")
      ->capture_default_str();
  command
      .add_option("--pause", options.pauses,
                  "Pause all models: TIME:SECONDS, or NUMBER@TIME:SECONDS for the NUMBER-th model on the "
                  "command line. May be repeated")
      ->type_name("TIME/SECONDS")
      ->allow_extra_args(false);
  command
      .add_option("--cycles", options.cycles,
                  "Repetitions after the first run; -1 repeats for ever (requires --seconds)")
      ->check(CLI::Range(-1, 1'000'000))
      ->capture_default_str();
  command
      .add_option("--range", options.range,
                  "The part to play, BEGIN:END in seconds of each model's own time: that of its animation, "
                  "repetitions "
                  "included, which stands still in a pause [all]")
      ->type_name("BEGIN/END");
  command.add_option("--seconds", options.seconds,
                     "Stop after this many seconds, unless all models end first");
  command.add_flag("--reset-at-end", options.resetAtEnd, "Show the first frame of all models at the end");
  command.add_option("--rate", options.rate, "Passes per second")->capture_default_str();
  command.add_flag("--realtime", options.realtime, "Play in real time instead of on a simulated clock");
  CLI::Option* const strip =
      addOutput(command, "--strip", options.strip, "Draw moments of the run to a .png or .svg file");
  strip->group("Pictures");
  command.add_option("--strip-frames", options.stripFrames, "Number of moments in the strip")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->needs(strip)
      ->group("Pictures");
}

void defineScene(CLI::App& command, SceneOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  command
      .add_option("--animation", options.animation, "Number (from 1) or name of the animation [the first]")
      ->type_name("NAME");
  CLI::Option* const time = command.add_option(
      "--time", options.time, "Evaluate the scene at this time first, in seconds [no evaluation]");
  CLI::Option* const frame =
      command.add_option("--frame", options.frame, "Evaluate the scene at this frame first");
  frame->excludes(time);
  command.add_option("--fps", options.framesPerSecond, "Frames per second")
      ->capture_default_str()
      ->needs(frame);
  addTangents(command, options.tangents);
}

void defineChannels(CLI::App& command, ChannelsOptions& options) {
  defineScene(command, options.scene);
  command.add_option("NODE", options.node,
                     "A node or material, by its name or the end of its path [a table of all]");
  command.add_flag("--all", options.all, "List all nodes and materials, however many");
  addOutput(command, "--csv", options.csv,
            "Write the channels with their values as a table; - is standard output. Long paths lose their "
            "beginning, which is shown as ...");
  addJson(command, options.json);
}

constexpr char const* kPathHelp =
    "The channel: node or material, field and component, such as Hips.translation.Y";

void defineGet(CLI::App& command, GetOptions& options) {
  defineScene(command, options.scene);
  command.add_option("PATH", options.path, kPathHelp)->required();
}

void defineSet(CLI::App& command, SetOptions& options) {
  defineScene(command, options.scene);
  command.add_option("PATH", options.path, kPathHelp)->required();
  command.add_option("VALUE", options.value, "The number to write, such as 12 or -0.5")->required();
  addOutput(command, "--image", options.image, "Draw the scene afterwards to a .png or .svg file");
  addOut(command, options.out);
}

void defineWhy(CLI::App& command, WhyOptions& options) {
  defineScene(command, options.scene);
  command.add_option("CHANNEL", options.path, std::string(kPathHelp) + " [everything that is animated]");
  command.add_flag("--all", options.all, "List all reasons, however many");
}

void defineReduce(CLI::App& command, ReduceOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  command
      .add_option("--animation", options.animation, "Number (from 1) or name of the animation [the first]")
      ->type_name("NAME");
  CLI::Option* const tolerance = command.add_option(
      "--tolerance", options.tolerances,
      "Largest allowed error: VALUE for all curves, or PATTERN=VALUE for those that match, such as "
      "rotation=0.05 or Hips*=0.1, in the unit of the channel; for translations also a percentage of the "
      "figure's size (translation=0.1%). May be repeated; the last match is used [0.1 degree, 0.1 % of the "
      "size, 0.001 for scales]");
  tolerance->type_name("[PATTERN=]VALUE")->allow_extra_args(false);
  command
      .add_flag("--points", options.points,
                "Remove points by their distance instead (Douglas-Peucker, tolerance 0.0001); this gives no "
                "bound on the values")
      ->excludes(tolerance);
  command.add_flag("--all", options.all, "List all curves, however many");
  addOut(command, options.out);
  CLI::Option* const plot =
      addOutput(command, "--plot", options.plot, "Draw old and new curves to a .png or .svg file");
  plot->group("Pictures");
  command
      .add_option("--channel", options.channels,
                  "Draw the channels whose name matches, six at most [two of those that move most]")
      ->type_name("PATTERN")
      ->allow_extra_args(false)
      ->needs(plot)
      ->group("Pictures");
}

/// An option that adds a step, in the order of the command line.
void addStep(CLI::App& command, EditOptions& options, std::string const& name, EditVerb verb,
             std::string const& type, std::string const& help) {
  auto const add = [&options, verb](std::string const& text) {
    options.steps.push_back({verb, text});
    if (verb == EditVerb::Paste) options.paste.source = text;
  };
  command.add_option_function<std::string>(name, add, help)
      ->trigger_on_parse()
      ->type_name(type)
      ->group("Steps (performed in the order given; each may be repeated)");
}

void defineEdit(CLI::App& command, EditOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  command
      .add_option("--animation", options.animation, "Number (from 1) or name of the animation [the first]")
      ->type_name("NAME");
  command.add_flag("--all", options.all, "Print all details of each step");
  command.add_option("--fps", options.framesPerSecond, "Frames per second of the strip")
      ->capture_default_str();
  addPasteOptions(command, options.paste);
  addOut(command, options.out);
  CLI::Option* const strip =
      addOutput(command, "--strip", options.strip, "Draw frames of before and after to a .png or .svg file");
  strip->group("Pictures");
  command.add_option("--strip-frames", options.stripFrames, "Number of frames of each")
      ->capture_default_str()
      ->check(CLI::Range(1, 32))
      ->needs(strip)
      ->group("Pictures");
  addStep(command, options, "--paste", EditVerb::Paste, "SOURCE",
          "Copy the animation of the model SOURCE onto nodes with the same names; may be given once");
  addStep(command, options, "--copy", EditVerb::Copy, "FROM=TO",
          "Copy the animations of the node FROM to the node TO");
  addStep(command, options, "--share", EditVerb::Share, "FROM=TO",
          "Let the node TO use the same curves as FROM: an edit of one shows in the other");
  addStep(command, options, "--cut", EditVerb::Cut, "NODES",
          "Remove the animations of nodes whose name matches, with the shape caches of their meshes");
  addStep(command, options, "--unshare", EditVerb::Unshare, "NODES",
          "Give curves of their own to nodes whose name matches");
  addStep(command, options, "--rename", EditVerb::Rename, "FILE",
          "Rename curves as listed in a file, with lines such as \"color = ambienceColor\" or \"rotationX = "
          "eulerRotation.X\"");
  addStep(command, options, "--scale", EditVerb::Scale, "[PATTERN=]FACTOR",
          "Multiply the values of the curves that match, or of all; tangents are scaled with them");
  addStep(command, options, "--offset", EditVerb::Offset, "[PATTERN=]VALUE",
          "Add to the values of the curves that match, or of all");
  addStep(command, options, "--shift", EditVerb::Shift, "[PATTERN=]SECONDS",
          "Move all animations in time, or only the curves that match");
}

void defineShootPictures(CLI::App& command, ShootOptions& options) {
  char const* const group = "Pictures";
  addOutput(command, "--strip", options.strip, "Draw frames side by side to a .png or .svg file")
      ->group(group);
  command.add_option("--strip-frames", options.stripFrames, "Number of frames in the strip")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->group(group);
  addOutput(command, "--plan", options.plan,
            "Draw the camera path, viewpoints and view frusta, seen from above, to a .png or .svg file")
      ->group(group);
  addFilm(command, options, group);
  command
      .add_option("--motion-blur", options.motionBlur,
                  "Samples per frame, spread over the time that the shutter is open")
      ->capture_default_str()
      ->check(CLI::Range(1, 256))
      ->group(group);
  command.add_option("--shutter", options.shutter, "How long the shutter is open, in seconds")
      ->capture_default_str()
      ->group(group);
}

void defineShoot(CLI::App& command, ShootOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  command.add_option("--move", options.move, "How the camera moves")
      ->capture_default_str()
      ->check(oneOf({"track", "flight", "shot", "turntable"}));
  command.add_flag("--even", options.even,
                   "Turn the turntable at constant speed, for films that repeat; otherwise the turn starts "
                   "and ends slowly");
  command.add_option("--camera", options.cameras, "A camera of the model as a viewpoint. May be repeated")
      ->type_name("NAME")
      ->allow_extra_args(false);
  command
      .add_option("--view", options.views,
                  "A viewpoint FROM:AT or FROM:AT:UP, such as 4,2,5:0,1,0. May be repeated [all cameras of "
                  "the model; four places around it if there are fewer than two, or none for a turntable]")
      ->type_name("FROM/AT")
      ->allow_extra_args(false);
  command
      .add_option("--animation", options.animation,
                  "Number (from 1) or name of the animation that plays during the move [the first]")
      ->type_name("NAME");
  command
      .add_option(
          "--seconds", options.seconds,
          "Duration in seconds of the move from one viewpoint to the next, or of one turn of the turntable")
      ->capture_default_str();
  command.add_option("--pause", options.pause, "Seconds at each viewpoint between the first and the last")
      ->capture_default_str();
  command
      .add_option("--fade", options.fade,
                  "Seconds to fade in: at each viewpoint of a track, or at the start of each shot")
      ->capture_default_str();
  command
      .add_option("--exposure", options.exposures,
                  "The exposure at each viewpoint, such as 1,0.3,2; the last one is used for the rest [1]")
      ->type_name("E,E,...");
  command.add_option("--fov", options.fov, "Vertical angle of view in degrees [the cameras', or 40]");
  command.add_option("--near", options.near,
                     "Near plane; anything closer is not drawn [close enough to cut nothing]");
  command.add_option("--far", options.far,
                     "Far plane; anything beyond is not drawn [far enough to cut nothing]");
  command.add_option("--fps", options.framesPerSecond, "Frames per second")->capture_default_str();
  defineShootPictures(command, options);
}

/// Standard output is an output like any other: what got lost on the way must not pass for success.
ExitCode checkPrinted(ExitCode code, Terminal terminal) {
  errno = 0;
  bool const good = std::fflush(terminal.output) == 0 && std::ferror(terminal.output) == 0;
  if (good || code != ExitCode::Ok) return code;
  std::string const reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
  return report({ExitCode::OutputUnwritable, "cannot write to standard output" + reason}, terminal);
}

ExitCode playAsAsked(PlayOptions const& given, Terminal terminal) {
  PlayOptions options = given;
  options.clips = options.clips || !options.clipsPlot.empty();
  return play(options, terminal);
}

void addCommands(CommandList& commands) {
  commands.add<PlayOptions>("play", "Evaluate an animation frame by frame", &definePlay, &playAsAsked);
  commands.add<InfoOptions>("info", "Describe what is in a model", &defineInfo, &info);
  commands.add<QueueOptions>("queue", "Play several models at once, each on its own clock", &defineQueue,
                             &queue);
  commands.add<ChannelsOptions>("channels", "List what can be keyed, with its values", &defineChannels,
                                &channels);
  commands.add<GetOptions>("get", "Print the value of one channel", &defineGet, &get);
  commands.add<SetOptions>("set", "Write a value to one channel, and show what changes", &defineSet, &set);
  commands.add<WhyOptions>("why", "Explain why a channel does not move", &defineWhy, &why);
  commands.add<ReduceOptions>("reduce", "Find few keys that give the same curves within a tolerance",
                              &defineReduce, &reduce);
  commands.add<ShootOptions>("shoot", "Move a camera through viewpoints, and draw what it sees", &defineShoot,
                             &shoot);
  commands.add<EditOptions>("edit",
                            "Copy, paste, share, cut, rename, scale and move animations, and show the result",
                            &defineEdit, &edit);
  addFileCommands(commands);
}

}  // namespace

CLI::Option* addOutput(CLI::App& command, std::string const& name, std::string& path,
                       std::string const& help) {
  return command.add_option(name, path, help)->type_name("FILE")->check([](std::string const& given) {
    return given.empty() ? std::string("needs the name of a file") : std::string();
  });
}

void addOut(CLI::App& command, std::string& path) {
  addOutput(command, "--out", path, "Write the scene afterwards: .osb, .json, .gltf or .glb");
}

void addTangents(CLI::App& command, Tangents& tangents) {
  auto const set = [&tangents](std::string const& word) {
    tangents = word == "auto" ? Tangents::Auto : word == "clamped" ? Tangents::Clamped : Tangents::Linear;
  };
  command
      .add_option_function<std::string>("--tangents", set,
                                        "Tangents for curves that have none in the file: linear (straight "
                                        "lines), auto (smooth through each "
                                        "key) or clamped (smooth, without overshooting the keys) [linear]")
      ->check(oneOf({"linear", "auto", "clamped"}));
}

void addPasteOptions(CLI::App& command, PasteOptions& options) {
  char const* const group = "Pasting";
  command
      .add_option("--source-animation", options.animation,
                  "Number (from 1) or name of the animation that is pasted [the first]")
      ->type_name("NAME")
      ->group(group);
  command
      .add_option(
          "--map", options.map,
          "A file with \"source = target\" lines for nodes that are named differently; a * stands for "
          "the same text on both sides")
      ->type_name("FILE")
      ->group(group);
  command
      .add_option("--only", options.only,
                  "Paste only nodes of the source whose name matches. May be repeated [all]")
      ->type_name("NODES")
      ->allow_extra_args(false)
      ->group(group);
  command
      .add_flag("--retarget", options.retarget,
                "Adapt the animation to the target's node positions, bone lengths and rest pose")
      ->group(group);
  command
      .add_flag("--replace", options.replace,
                "Remove the nodes' former animations; otherwise they stay, but are switched off")
      ->group(group);
}

ExitCode runCommandLine(int count, char const* const* arguments, Terminal terminal) {
  CLI::App app("Imports animated models, plays them and shows what is in them.", "knanim");
  app.set_version_flag("--version", std::string("knanim ") + KNANIM_VERSION);
  app.footer(kFooter);
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(1);
  CommandList commands(app);
  addCommands(commands);
  std::string page;
  addPageOption(app, page);
  // "help" is what many programs call it.
  std::vector<char const*> words(arguments, arguments + count);
  if (count > 1 && std::strcmp(words[1], "help") == 0) {
    words.erase(words.begin() + 1);
    auto const isAsked = [&words](CLI::App const* each) { return each->get_name() == words[1]; };
    if (words.size() > 1 && app.get_subcommands(isAsked).empty())
      return report({ExitCode::Usage, noCommand(app, words[1])}, terminal);
    words.push_back("--help");
  }
  try {
    app.parse(static_cast<int>(words.size()), words.data());
  } catch (CLI::Success const& request) {
    std::string text = page.empty() ? app.help() : page;
    if (dynamic_cast<CLI::CallForVersion const*>(&request) != nullptr)
      text = std::string(request.what()) + '\n';
    std::fputs(text.c_str(), terminal.output);
    return checkPrinted(ExitCode::Ok, terminal);
  } catch (CLI::ParseError const& error) {
    return report({ExitCode::Usage, explain(app, error)}, terminal);
  }
  forgetOutputs();
  InterruptionGuard const guard;
  LogToTerminal const log(terminal);
  ExitCode const code = commands.run(terminal);
  return checkPrinted(code, terminal);
}

}  // namespace knanim
