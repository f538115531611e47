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
  CLI::Option* const bakes =
      command.add_flag("--bake-skins", options.bakeSkins,
                       "Replace meshes with bones by shape caches, one stored shape per frame");
  command.add_option("--fps", options.framesPerSecond, "Frames per second of baked skins")
      ->capture_default_str()
      ->needs(bakes);
  addTangents(command, options.tangents);
  char const* const group = "glTF";
  command
      .add_option("--rotation-error", options.exporting.degrees,
                  "Largest error of sampled rotations, in degrees")
      ->capture_default_str()
      ->group(group);
  command
      .add_option("--value-error", options.exporting.share,
                  "Largest error of sampled translations and scales, as a fraction of their largest value")
      ->capture_default_str()
      ->group(group);
}

void defineLoadOnto(CLI::App& command, LoadOntoOptions& options) {
  command.add_option("TARGET", options.model, "The model that takes the animations")->required();
  command
      .add_option("FILE", options.file,
                  "A model or scene, whose animation goes to nodes with the same names; or a file with the "
                  "animations "
                  "of one object")
      ->required();
  command
      .add_option(
          "--object", options.objects,
          "The nodes and materials that take the animations of one object: names, with * and ?. May be "
          "repeated")
      ->type_name("NAMES")
      ->allow_extra_args(false);
  command.add_flag("--all", options.all, "List everything that does not match");
  addPasteOptions(command, options.paste);
  addOut(command, options.out);
}

void defineDiff(CLI::App& command, DiffOptions& options) {
  command.add_option("A", options.first, "A model")->required();
  command.add_option("B", options.second, "The model to compare with it")->required();
  command
      .add_option("--tolerance", options.tolerance,
                  "Curves that nowhere differ by more than this count as equal, even if their keys differ")
      ->capture_default_str();
  command.add_flag("--all", options.all, "List all differences");
  command.footer("The exit code is 0 when the animations are equal and 1 when they are not.");
}

void defineConvertXml(CLI::App& command, ConvertXmlOptions& options) {
  command.add_option("SCENE", options.model, "The scene, whose nodes refer to the animations")->required();
  command.add_option("XML", options.xml, "The XML file with the animations")->required();
  command.add_option("--fps", options.framesPerSecond,
                     "Frames per second of the XML file [those of the scene]");
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
  commands.add<ConvertXmlOptions>("convert-xml",
                                  "Add the animations of an older release's XML file to a scene",
                                  &defineConvertXml, &convertXml);
}

}  // namespace knanim
