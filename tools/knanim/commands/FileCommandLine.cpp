#include "knanim/commands/CommandList.h"
#include "knanim/commands/Commands.h"

namespace knanim {
namespace {

void defineConvert(CLI::App& command, ConvertOptions& options) {
  command.add_option("MODEL", options.model, "The model")->required();
  addOutput(command, "OUT", options.out,
            "The file to write: .osb or .json for a scene of the library, .gltf or .glb for glTF 2.0")
      ->required();
  command
      .add_option("--animation", options.animation,
                  "Number (from 1) or name of the animation that is switched on [the first]")
      ->type_name("NAME");
  command
      .add_option("--object", options.object,
                  "Write only the animations of this node or material, without the scene")
      ->type_name("NAME");
  CLI::Option* const bakes = command.add_flag(
      "--bake-skins", options.bakeSkins, "Turn meshes with bones into caches of one shape for every frame");
  command.add_option("--fps", options.framesPerSecond, "Frames per second of baked skins")
      ->capture_default_str()
      ->needs(bakes);
  addTangents(command, options.tangents);
  char const* const group = "glTF";
  command
      .add_option("--rotation-error", options.exporting.degrees,
                  "How far sampled rotations may stray, in degrees")
      ->capture_default_str()
      ->group(group);
  command
      .add_option("--value-error", options.exporting.share,
                  "How far sampled translations and scales may stray, as a part of their largest value")
      ->capture_default_str()
      ->group(group);
}

void defineLoadOnto(CLI::App& command, LoadOntoOptions& options) {
  command.add_option("TARGET", options.model, "The model that takes the animations")->required();
  command
      .add_option(
          "FILE", options.file,
          "A model or scene whose animation goes to the nodes of its names, or the animations of one object")
      ->required();
  command
      .add_option(
          "--object", options.objects,
          "The nodes and materials that take the animations of one object: names, with * and ?; may be "
          "given again")
      ->type_name("NAMES")
      ->allow_extra_args(false);
  command.add_flag("--all", options.all, "List all that does not fit");
  addPasteOptions(command, options.paste);
  addOut(command, options.out);
}

void defineDiff(CLI::App& command, DiffOptions& options) {
  command.add_option("A", options.first, "A model")->required();
  command.add_option("B", options.second, "Another one")->required();
  command
      .add_option("--tolerance", options.tolerance,
                  "Curves whose values differ by no more count as equal, however their keys differ")
      ->capture_default_str();
  command.add_flag("--all", options.all, "List all differences");
  command.footer("The exit code is 0 when the animations are equal and 1 when they are not.");
}

void defineConvertXml(CLI::App& command, ConvertXmlOptions& options) {
  command.add_option("SCENE", options.model, "The scene whose nodes name the animations")->required();
  command.add_option("XML", options.xml, "The text in which an older release kept them")->required();
  command.add_option("--fps", options.framesPerSecond, "Frames per second of the text [those of the scene]");
  addOut(command, options.out);
}

}  // namespace

void addFileCommands(CommandList& commands) {
  commands.add<ConvertOptions>("convert", "Write a model as a scene of the library, or as glTF",
                               &defineConvert, &convert);
  commands.add<LoadOntoOptions>("load-onto", "Add the animations of a file to the nodes of a model",
                                &defineLoadOnto, &loadOnto);
  commands.add<DiffOptions>("diff", "List the differences between the animations of two models", &defineDiff,
                            &diff);
  commands.add<ConvertXmlOptions>("convert-xml", "Build the animations of an old XML text on a scene",
                                  &defineConvertXml, &convertXml);
}

}  // namespace knanim
