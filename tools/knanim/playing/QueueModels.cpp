#include "knanim/playing/QueueModels.h"

#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <filesystem>
#include <iterator>
#include <utility>

namespace knanim {
namespace {

template <typename Element>
void append(std::vector<Element>& all, std::vector<Element>& more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

void addContent(ModelContent& all, ModelContent& part, std::size_t firstNode) {
  std::size_t const firstMaterial = all.materials.size();
  std::size_t const firstMesh = all.meshes.size();
  for (ImportedMesh& mesh : part.meshes) {
    mesh.material += firstMaterial;
    for (ImportedBone& bone : mesh.bones) bone.node += firstNode;
  }
  for (auto& meshes : part.meshesOfNodes) {
    for (std::size_t& mesh : meshes) mesh += firstMesh;
  }
  for (ImportedCamera& camera : part.cameras) camera.node += firstNode;
  for (ImportedLight& light : part.lights) light.node += firstNode;
  // The list may be shorter than that of the nodes.
  all.meshesOfNodes.resize(firstNode);
  append(all.materials, part.materials);
  append(all.meshes, part.meshes);
  append(all.meshesOfNodes, part.meshesOfNodes);
  append(all.cameras, part.cameras);
  append(all.lights, part.lights);
}

std::optional<Failure> load(ModelFile const& file, std::size_t number, std::string const& name,
                            QueueModels& models, Terminal terminal) {
  auto loaded = file.loadChosen({});
  auto const* const failure = std::get_if<Failure>(&loaded);
  auto const& warnings = (failure != nullptr ? file.model() : std::get<ImportedModel>(loaded)).warnings;
  for (std::string const& warning : warnings) warn(name + ": " + warning, terminal);
  if (failure != nullptr) return *failure;
  auto content = file.loadContent();
  if (auto const* noContent = std::get_if<Failure>(&content)) return *noContent;
  auto& model = std::get<ImportedModel>(loaded);
  std::size_t const animation = model.animation;
  models.add(number, name, std::move(model), std::move(std::get<ModelContent>(content)));
  if (file.stored() != nullptr) models.parts.back().stored = file.stored()->take(animation);
  return std::nullopt;
}

}  // namespace

void QueueModels::add(std::size_t number, std::string const& name, ImportedModel part,
                      ModelContent partContent) {
  std::size_t const group = model.nodes.size();
  std::size_t const firstNode = group + 1;
  model.nodes.emplace_back().name = name;
  for (ImportedNode& node : part.nodes) {
    node.parent = node.parent == ImportedNode::NoParent ? group : node.parent + firstNode;
    ++node.depth;
  }
  for (ImportedCurve& curve : part.curves) curve.node += firstNode;
  std::size_t const firstMesh = content.meshes.size();
  for (ImportedMorph& morph : part.morphs) {
    morph.node += firstNode;
    morph.mesh += firstMesh;
  }
  append(model.nodes, part.nodes);
  append(model.curves, part.curves);
  append(model.morphs, part.morphs);
  addContent(content, partContent, firstNode);
  parts.push_back({number, name, {group, model.nodes.size()}, {firstMesh, content.meshes.size()}});
}

std::vector<AdoptedModel> QueueModels::adopted() const {
  std::vector<AdoptedModel> adopted;
  for (QueueModel const& part : parts) {
    if (!part.stored.top.isAlive()) continue;
    AdoptedModel& each = adopted.emplace_back();
    each.group = part.nodes.begin;
    each.nodes = part.nodes.end - part.nodes.begin - 1;
    each.firstMesh = part.meshes.begin;
    each.top = part.stored.top;
    each.materials.assign(part.stored.materials.begin(), part.stored.materials.end());
  }
  return adopted;
}

std::variant<QueueModels, Failure> loadQueueModels(std::span<std::string const> paths, Terminal terminal) {
  QueueModels models;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    auto const opened = ModelFile::open(paths[i]);
    if (auto const* failure = std::get_if<Failure>(&opened)) return *failure;
    std::string const name = printable(std::filesystem::path(paths[i]).filename().string());
    auto const failure = load(std::get<ModelFile>(opened), i + 1, name, models, terminal);
    if (!failure) continue;
    if (failure->code != ExitCode::NoAnimation) return *failure;
    warn(name + " is left out: " + failure->message, terminal);
  }
  if (models.parts.empty())
    return Failure{ExitCode::NoAnimation,
                   paths.size() == 1 ? "there is nothing to play" : "none of the models can be played"};
  return models;
}

}  // namespace knanim
