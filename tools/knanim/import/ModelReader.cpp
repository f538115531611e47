#include "knanim/import/ModelReader.h"

#include "knanim/curvefiles/FileCurves.h"
#include "knanim/import/AssimpAccess.h"
#include "knanim/import/CameraRepairs.h"
#include "knanim/import/SceneConversion.h"
#include "knanim/import/ShapeCaches.h"
#include "knanim/support/MemoryLimit.h"
#include "knanim/support/NearNames.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <assimp/DefaultIOSystem.h>
#include <assimp/Importer.hpp>
#include <assimp/commonMetaData.h>
#include <assimp/config.h>
#include <assimp/importerdesc.h>
#include <assimp/scene.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <sys/stat.h>

namespace knanim {
namespace {

constexpr std::uint64_t kMemoryForAnyModel = std::uint64_t{2} << 30U;
constexpr std::uint64_t kMemoryForEachByte = 64;

Failure unreadable(std::string const& path, char const* reason) {
  return {ExitCode::FileUnreadable, "cannot read " + printable(path) + ": " + reason};
}

/// Notes what is read: models are made of several files.
class NotingFiles : public Assimp::DefaultIOSystem {
 public:
  explicit NotingFiles(std::vector<std::string>& files) : _files(files) {}

  Assimp::IOStream* Open(char const* path, char const* mode) override {
    Assimp::IOStream* const stream = DefaultIOSystem::Open(path, mode);
    if (stream != nullptr && std::ranges::count(_files, path) == 0) _files.emplace_back(path);
    return stream;
  }

 private:
  std::vector<std::string>& _files;
};

/// An importer reads by this while it lives, and does not keep it: otherwise it would be its owner.
class HandlerGuard {
 public:
  HandlerGuard(Assimp::Importer& importer, Assimp::IOSystem& files) : _importer(importer) {
    _importer.SetIOHandler(&files);
  }
  ~HandlerGuard() { _importer.SetIOHandler(nullptr); }
  HandlerGuard(HandlerGuard const&) = delete;
  HandlerGuard& operator=(HandlerGuard const&) = delete;

 private:
  Assimp::Importer& _importer;
};

std::unique_ptr<Assimp::Importer> makeImporter() {
  auto importer = std::make_unique<Assimp::Importer>();
  // Otherwise the channels of an FBX file move helper nodes that stand in for the pivots.
  importer->SetPropertyBool(AI_CONFIG_IMPORT_FBX_PRESERVE_PIVOTS, false);
  importer->SetPropertyBool(AI_CONFIG_IMPORT_NO_SKELETON_MESHES, true);
  return importer;
}

/// Counts in a damaged file can ask for all the memory of the machine, and importers go along with that.
aiScene const* read(Assimp::Importer& importer, std::string const& path, std::uintmax_t fileBytes,
                    std::vector<std::string>& files) {
  MemoryLimit const limit(kMemoryForAnyModel + kMemoryForEachByte * fileBytes);
  NotingFiles noting(files);
  HandlerGuard const guard(importer, noting);
  return importer.ReadFile(path, 0);
}

std::string importerName(Assimp::Importer const& importer) {
  int const index = importer.GetPropertyInteger("importerIndex", -1);
  if (index < 0) return {};
  aiImporterDesc const* const description = importer.GetImporterInfo(static_cast<std::size_t>(index));
  return description == nullptr || description->mName == nullptr ? "" : description->mName;
}

std::string formatVersion(aiScene const& scene) {
  aiString version;
  if (scene.mMetaData == nullptr || !scene.mMetaData->Get(AI_METADATA_SOURCE_FORMAT_VERSION, version))
    return {};
  return printable(version.C_Str());
}

/// Refuses morphs whose shapes would not fit into memory.
std::optional<Failure> checkShapes(ImportedModel const& model, aiScene const& scene) {
  double bytes = 0;
  for (ImportedMorph const& morph : model.morphs)
    bytes += shapeBytes(morph.keys.size(), scene.mMeshes[morph.mesh]->mNumVertices);
  if (bytes <= kMostShapeBytes) return std::nullopt;
  return Failure{ExitCode::Failed, "the shapes of the morph targets would take " + mebibytes(bytes) +
                                       ", more than " + mebibytes(kMostShapeBytes)};
}

std::string lostVertices(aiScene const& scene) {
  std::size_t count = 0;
  forEach(scene.mMeshes, scene.mNumMeshes, [&count](aiMesh const& mesh) {
    for (aiVector3D const& vertex : elementsOf(mesh.mVertices, mesh.mNumVertices))
      count += isFinite(vertex) ? 0U : 1U;
  });
  return count == 0 ? ""
                    : counted(count, "vertex is", "vertices are") +
                          " not finite and drawn at the origin of the mesh";
}

/// The importer of the first version passes over animations.
std::string lostOfOldGltf(ModelSummary const& summary) {
  bool const isOld = summary.importer.starts_with("glTF") && summary.formatVersion.starts_with('1');
  return isOld && summary.animations.empty() ? "animations of glTF 1 files are not read" : "";
}

}  // namespace

Failure notAModel(std::string const& path, std::string const& reason) {
  bool const greedy = reason.find("bad_alloc") != std::string::npos;
  return {ExitCode::NotAModel, "cannot read " + printable(path) + " as a model: " +
                                   (greedy ? "it needs too much memory" : printable(reason))};
}

/// Looks at the file itself, so that a missing file is not taken for a broken model.
std::variant<std::uintmax_t, Failure> checkModelFile(std::string const& path) {
  if (path == "-") return unreadable(path, "models are not read from standard input");
  if (path.empty()) return Failure{ExitCode::FileUnreadable, "the name of the model is empty"};
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    Failure failure = unreadable(path, std::strerror(errno));
    failure.message += nearClause(nearFiles(path));
    return failure;
  }
  if (S_ISDIR(status.st_mode)) return unreadable(path, std::strerror(EISDIR));
  if (!S_ISREG(status.st_mode)) return unreadable(path, "not a regular file");
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return unreadable(path, std::strerror(errno));
  std::fclose(file);
  return static_cast<std::uintmax_t>(status.st_size);
}

std::string nothingMoves(std::span<AnimationSummary const> animations, char const* where) {
  std::size_t meshes = 0;
  for (AnimationSummary const& animation : animations) meshes += animation.meshChannels;
  std::string message = std::string("no animation of nodes or morph targets in ") + where;
  if (meshes != 0) message += "; " + counted(meshes, "mesh animation") + " cannot be played yet";
  return message;
}

std::string emptinessOf(ImportedModel const& model) {
  ModelSummary const& summary = model.summary;
  bool const plays = std::ranges::any_of(summary.animations, [](AnimationSummary const& each) {
    return each.keys.total() + each.morphKeys + each.meshChannels > 0;
  });
  if (plays || summary.faces > 0) return {};
  if (summary.vertices > 0)
    return counted(summary.vertices, "vertex", "vertices") + " without faces: points are not drawn";
  if (summary.cameras + summary.lights > 0) return {};
  return "there is nothing to see or play in this file: " + counted(model.nodes.size(), "node") +
         ", no meshes, animations, cameras or lights";
}

ModelReader::ModelReader(std::unique_ptr<Assimp::Importer> importer, aiScene const* scene)
    : _importer(std::move(importer)), _scene(scene), _model(describeScene(*scene)) {
  _model.summary.importer = importerName(*_importer);
  _model.summary.formatVersion = formatVersion(*scene);
}

ModelReader::ModelReader(ModelReader&& other) noexcept = default;
ModelReader& ModelReader::operator=(ModelReader&& other) noexcept = default;
ModelReader::~ModelReader() = default;

std::variant<ModelReader, Failure> ModelReader::open(std::string const& path) {
  auto const size = checkModelFile(path);
  if (auto const* failure = std::get_if<Failure>(&size)) return *failure;
  try {
    std::unique_ptr<Assimp::Importer> importer = makeImporter();
    std::vector<std::string> files;
    aiScene const* const scene = read(*importer, path, std::get<std::uintmax_t>(size), files);
    if (scene == nullptr) return notAModel(path, importer->GetErrorString());
    ModelReader file(std::move(importer), scene);
    file._path = path;
    file._model.files = std::move(files);
    file._model.summary.fileBytes = std::get<std::uintmax_t>(size);
    for (std::string const& lost :
         {lostVertices(*scene), lostOfOldGltf(file._model.summary),
          lostOfCameras(path, file._model.summary.cameras), emptinessOf(file._model)}) {
      if (!lost.empty()) file._model.warnings.push_back(lost);
    }
    return file;
  } catch (std::exception const& exception) {
    return notAModel(path, exception.what());
  } catch (...) {
    return notAModel(path, "the importer failed");
  }
}

std::variant<ImportedModel, Failure> ModelReader::load(std::size_t animation) const {
  if (animation >= _model.summary.animations.size()) return Failure{ExitCode::Usage, "no such animation"};
  try {
    ImportedModel model = _model;
    bool const isConverted = convertAnimation(*_scene, animation, model);
    if (isConverted) {
      MemoryLimit const limit(kMemoryForAnyModel + kMemoryForEachByte * model.summary.fileBytes);
      readFileCurves(_path, model);
    }
    if (isConverted && timeSpan(model)) {
      if (auto failure = checkShapes(model, *_scene)) return std::move(*failure);
      return model;
    }
    std::string reason = nothingMoves({&_model.summary.animations[animation], 1}, "this animation");
    for (std::string const& warning : model.warnings) reason += "\n  " + warning;
    return Failure{ExitCode::NoAnimation, reason};
  } catch (std::exception const& exception) {
    return Failure{ExitCode::Failed, exception.what()};
  }
}

std::variant<ModelContent, Failure> ModelReader::loadContent() const {
  try {
    ModelContent content = readContent(*_scene, _model);
    repairCameras(_path, _model, content);
    return content;
  } catch (std::exception const& exception) {
    return Failure{ExitCode::Failed, exception.what()};
  }
}

}  // namespace knanim
