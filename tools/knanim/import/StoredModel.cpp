#include "knanim/import/StoredModel.h"

#include "knDiagnosis.h"
#include "knSceneFile.h"
#include "knanim/import/ModelReader.h"
#include "knanim/import/StoredAnimations.h"
#include "knanim/import/StoredContent.h"
#include "knanim/scene/BlockSwitch.h"
#include "knanim/scene/HungCurves.h"
#include "knanim/scene/SceneParts.h"
#include "knanim/support/FileProgress.h"
#include "knanim/support/Interruption.h"
#include "knanim/support/LogCapture.h"
#include "knanim/support/NameBook.h"
#include "knanim/support/Text.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/materials/Material.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/TagAttachment.h"
#include "model/sceneext/ValuePair.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "model/scenegraph/Group.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>

namespace knanim {
namespace {

constexpr std::array<char const*, 5> kExtensions = {".osb", ".json", ".kdb", ".kdp", ".kdt"};
/// What hangs on the root of a file, by what it holds.
constexpr char const* kSceneRecord = "SavedScene";
constexpr char const* kAnimationMark = "AnimationExportRoot";

std::array<double, 3> toArray(osg::Vec3f const& v) { return {v.x(), v.y(), v.z()}; }

osg::FieldContainerPtr handleIn(osg::FieldContainer& container, char const* field) {
  osg::FieldContainerPtr found;
  auto const* const description = container.getType().findFieldDescription(field);
  if (description == nullptr) return found;
  description->getField(container)->visitHandles([&found](osg::FieldContainerPtr const& held) {
    found = held;
    return held;
  });
  return found;
}

osg::AttachmentPtr recordOf(osg::NodePtr const& file) {
  auto const* const type = osg::FieldContainerFactory::the().findType(kSceneRecord);
  return type != nullptr ? file->findAttachment(type->getGroupId()) : osg::AttachmentPtr();
}

bool holdsAnimations(osg::NodePtr const& file) {
  auto const mark =
      osg::dcast<osg::ValuePairPtr>(file->findAttachment(osg::ValuePairBase::_type.getGroupId()));
  return osg::dcastTo<osg::AnimNode>(file) != nullptr && mark != nullptr && mark->findKey(kAnimationMark);
}

/// A node that stands in for the object whose animations a file holds, and takes them.
osg::NodePtr ownerOf(osg::NodePtr const& file) {
  osg::NodePtr const node = osg::Node::create();
  node->setCore(file->getCore());
  osg::NodeUtils::setName(node, osg::NodeUtils::getName(file), true);
  std::vector<osg::NodePtr> const trees(file->getChildren().begin(), file->getChildren().end());
  for (osg::NodePtr const& tree : trees) {
    if (auto const each = osg::dcast<osg::AnimNodePtr>(tree); each != nullptr)
      knAnimManager::the()->addAnimation(node, each);
  }
  return node;
}

/// A group above what a file without a whole scene brings. That it stands in no scene is meant so.
osg::NodePtr groupAround(osg::NodePtr const& file) {
  osg::NodePtr const group = osg::Node::create();
  group->setCore(osg::GroupBase::create());
  knDiagnosis::setWarnings(false);
  group->addChild(holdsAnimations(file) ? ownerOf(file) : file);
  knDiagnosis::setWarnings(true);
  return group;
}

ImportedNode describeNode(osg::NodePtr const& node, NameBook& names) {
  ImportedNode result;
  char const* const name = osg::NodeUtils::getName(node);
  result.name = names.makeUnique(printable(name != nullptr ? name : ""));
  if (auto const* const transform = osg::dcastTo<osg::Transform3D>(node->getCore())) {
    result.translation = toArray(transform->getTranslation());
    result.rotation = toArray(transform->getEulerRotation());
    result.scale = toArray(transform->getScale());
    result.orientation = toArray(transform->getEulerRotationOrientation());
    result.pivot = toArray(transform->getRotatePivot());
  }
  auto const tags =
      osg::dcast<osg::TagAttachmentPtr>(node->findAttachment(osg::TagAttachmentBase::_type.getGroupId()));
  if (tags == nullptr) return result;
  for (std::string const& tag : tags->getTags().getValues()) result.tags.push_back(printable(tag));
  return result;
}

/// The active curves that have keys, in the order of a model.
std::vector<ImportedCurve> activeCurves(SceneParts const& parts, std::size_t& others) {
  HungCurves found = findCurves(parts.nodes);
  others = found.others;
  std::erase_if(found.curves, [](HungCurve const& each) { return !each.isActive; });
  std::stable_sort(found.curves.begin(), found.curves.end(), standsBefore);
  std::vector<ImportedCurve> curves;
  for (HungCurve const& each : found.curves) {
    if (ImportedCurve curve = describe(each); !curve.keys.empty()) curves.push_back(std::move(curve));
  }
  return curves;
}

/// The library's reason begins with the name of the file, which the message has already.
std::string reasonOf(LogCapture const& log) {
  std::string const reason = log.reason("there is no scene in it");
  std::string const head = "cannot be read: ";
  std::size_t const at = reason.find(head);
  return at == std::string::npos ? reason : reason.substr(at + head.size());
}

}  // namespace

bool isStoredModel(std::string const& path) {
  std::string const extension = std::filesystem::path(path).extension().string();
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

std::variant<StoredModel, Failure> StoredModel::open(std::string const& path) {
  auto const size = checkModelFile(path);
  if (auto const* failure = std::get_if<Failure>(&size)) return *failure;
  LogCapture const log;
  FileProgress const progress;
  StoredModel model;
  model._file = osg::loadSceneFile(path);
  if (!model._file.isAlive() && InterruptionGuard::isInterrupted())
    return Failure{ExitCode::Failed, "interrupted"};
  if (!model._file.isAlive()) return notAModel(path, reasonOf(log));
  if (osg::AttachmentPtr const record = recordOf(model._file.get()); record.isAlive()) {
    model._top = osg::dcast<osg::NodePtr>(handleIn(*record, "root"));
    auto const material = osg::dcast<osg::NodePtr>(handleIn(*record, "materialRoot"));
    if (auto* const pool =
            material.isAlive() ? osg::dcastTo<osg::MaterialPool>(material->getCore()) : nullptr) {
      std::vector<osg::MaterialPtr> materials;
      pool->get(materials);
      model._pool.assign(materials.begin(), materials.end());
    }
  } else {
    model._top = groupAround(model._file.get());
  }
  if (!model._top.isAlive()) return notAModel(path, "it has no objects");
  model.describe(path);
  model._model.summary.fileBytes = std::get<std::uintmax_t>(size);
  model._model.warnings.insert(model._model.warnings.end(), log.warnings().begin(), log.warnings().end());
  if (std::string const empty = emptinessOf(model._model); !empty.empty() && model.objectKind().empty())
    model._model.warnings.push_back(empty);
  return model;
}

void StoredModel::describe(std::string const& path) {
  SceneParts const parts = findParts(_top.get());
  NameBook names;
  for (std::size_t i = 0; i < parts.nodes.size(); ++i) {
    ImportedNode& node = _model.nodes.emplace_back(describeNode(parts.nodes[i], names));
    node.parent = parts.parents[i];
    node.depth = node.parent == ImportedNode::NoParent ? 0 : _model.nodes[node.parent].depth + 1;
  }
  _model.stored = path;
  ModelSummary& summary = _model.summary;
  bool const isText = std::ifstream(path).peek() == '{';
  summary.importer = isText ? "knOpenSGAnim scene, as text" : "knOpenSGAnim scene";
  describeContent(parts, summary);
  summary.materials = _pool.size();
  double rate = 0;
  if (osg::AttachmentPtr const record = recordOf(_file.get()); record.isAlive()) {
    std::string text;
    if (auto const* const field = record->getType().findFieldDescription("fps"))
      field->getField(*record)->putToString(text);
    std::from_chars(text.data(), text.data() + text.size(), rate);
  }
  summary.animations = summarizeAnimations(parts, rate > 0 ? rate : 30);
}

std::variant<ImportedModel, Failure> StoredModel::load(std::size_t animation) const {
  if (animation >= _model.summary.animations.size()) return Failure{ExitCode::Usage, "no such animation"};
  SceneParts const parts = findParts(_top.get());
  std::string const& name = _model.summary.animations[animation].name;
  std::vector<FormerMask> former;
  if (name != kAllActive) former = switchTo(name, parts.all);
  ImportedModel model = _model;
  model.animation = animation;
  std::size_t others = 0;
  model.curves = activeCurves(parts, others);
  switchBack(former);
  describeCaches(parts, model);
  if (others > 0)
    model.warnings.push_back(counted(others, "curve") +
                             " of channels that are not transforms: played, but not listed");
  if (!timeSpan(model)) return Failure{ExitCode::NoAnimation, nothingMoves({}, "this animation")};
  return model;
}

ModelContent StoredModel::loadContent() const { return readStoredContent(findParts(_top.get()), _pool); }

StoredScene StoredModel::take(std::size_t animation) const {
  std::string const& name = _model.summary.animations[animation].name;
  if (name != kAllActive) switchTo(name, findParts(_top.get()).all);
  StoredScene scene;
  scene.top = _top;
  for (osg::FieldContainerPtr const& each : _pool)
    scene.materials.emplace_back(osg::dcast<osg::MaterialPtr>(each));
  return scene;
}

std::string StoredModel::objectKind() const {
  osg::NodePtr const file = _file.get();
  if (!holdsAnimations(file) || !file->getCore().isAlive()) return "";
  auto const* const group = osg::dcastTo<osg::MaterialGroup>(file->getCore());
  bool const isMaterial = group != nullptr && group->getMaterial().isAlive();
  return isMaterial ? group->getMaterial().findType()->getCName() : file->getCore().findType()->getCName();
}

osg::NodePtr StoredModel::makeCurrent(std::string const& path, std::string& reason) {
  FileProgress const progress;
  {
    LogCapture const quiet;
    if (knSceneFile::load(path)) return knSceneDataManager::getSceneData(0)->getRoot();
  }
  LogCapture const log;
  osg::Ref<osg::Node> const file = osg::loadSceneFile(path);
  if (!file.isAlive()) {
    reason = log.reason("there is no scene in it");
    return {};
  }
  knSceneDataManager::beginScene();
  osg::NodePtr const root = knSceneDataManager::getSceneData(0)->getRoot();
  root->addChild(holdsAnimations(file.get()) ? ownerOf(file.get()) : file.get());
  return root;
}

}  // namespace knanim
