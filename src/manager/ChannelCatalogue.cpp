#include "knAnimManager.h"
#include "model/camera/UberCamera.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/geometry/Geometry.h"
#include "model/light/UberLight.h"
#include "model/scenegraph/ClipPlane.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string_view>
#include <unordered_set>
#include <utility>

using osg::FieldContainerPtr;
using osg::FieldDescription;
using osg::UInt32;

namespace {

using Channel = knOSGChannelData;
using Channels = std::vector<Channel>;

/// The fields that can be keyed, each between two commas, so that a search for ",name," finds whole names only.
constexpr std::string_view KeyableNames =
    // transforms, older materials
    ",translation,,scale,,eulerRotation,,ambienceColor,,diffuseColor,,specularColor,,imageNumber,"
    // cameras
    ",from,,at,,up,,fieldOfView,,skewFactor,,principalPointOffset,,shutterSpeed,,focusDistance,"
    ",sensorSize,,roll,,seeThrough,,choice,,occlusionColor,,incandescenceColor,,active,"
    // lights, and what cameras and lights make of light
    ",ambient,,diffuse,,glossy,,specular,,coneAngle,,penumbraAngle,,intensity,,temperature,,exposure,"
    ",glowParameter,,glareParameter,,eulerRotationOrientation,,glareParameter2,,whitepoint,,whitebalance,"
    ",filmicParameter,,colorCorrection,,vignetteRadius,,vignetteFeather,,vignetteRoundness,,blendAmount,"
    ",candelaRange,,sensitivity,,tonemapperId,,blendMode,,postprocessingFlags,,fov,,frustumSides,,near,,far,"
    // fog by distance, fog by height; two names share the comma where a line ends without one
    ",fogEnableDistance,,fogFalloffDistance,,fogColorDistance,,fogDensityDistance,,fogRangeDistance,"
    ",fogNoiseDistance,,fogNoiseSizeDistance,,fogNoiseOffsetDistance"
    ",fogEnableHeight,,fogFalloffHeight,,fogColorHeight,,fogDensityHeight,,fogRangeHeight,,fogNoiseHeight,"
    ",fogNoiseSizeHeight,,fogNoiseOffsetHeight,,fogBlendHeight,"
    // sound
    ",gain,,minGain,,maxGain,,pitch,,referenceDistance,,maxDistance,,rolloffFactor,,coneInnerAngle,"
    ",coneOuterAngle,,coneOuterGain,,sourceRadius,,play,,stop,,loop,";

/// Fields whose channels go by another name.
constexpr std::pair<std::string_view, char const*> ChannelNames[] = {
    {"eulerRotation", "rotation"}, {"eulerRotationOrientation", "rotationOrientation"},
    {"glowParameter", "glow"},     {"glareParameter", "glare"},
    {"filmicParameter", "filmic"},
};

/// Channels whose components have names of their own. A component without one is listed by its letter, or not at
/// all. The range of the fog by height is among them and that by distance is not: curves are found by these names.
struct ComponentNames {
  std::string_view channelName;
  std::array<char const*, 4> names;
  bool othersByLetter;
};
constexpr ComponentNames NamedComponents[] = {
    {"glow", {"glowSize", "glowIntensity", "glowThreshold", nullptr}, false},
    {"glare", {"glareSize", "glareIntensity", "glareThreshold", "glareRotation"}, false},
    {"filmic", {"filmicShoulder", "filmicToe", nullptr, nullptr}, false},
    {"colorCorrection", {"hueShift", "saturation", "brightness", "contrast"}, false},
    {"glareParameter2", {"glareStreakNum", nullptr, nullptr, nullptr}, false},
    {"candelaRange", {"candelaRangeStart", "candelaRangeEnd", nullptr, nullptr}, true},
    {"fogRangeHeight", {"fogRangeHeightMin", "fogRangeHeightMax", nullptr, nullptr}, true},
};

constexpr char const* VectorLetters[] = {"X", "Y", "Z", "W"};
constexpr char const* ColorLetters[] = {"R", "G", "B", "A"};
constexpr UInt32 AlphaIndex = 3;
constexpr UInt32 FirstBitIndex = 10;  ///< value indices from here on are numbers of bits

/// What a field holds, as far as channels go: Vector is a plain one, Point also a quaternion.
enum class Kind { Other, Color, Vector, Point, Byte, Number };
struct Content {
  UInt32 typeId = 0;  ///< 0 for nothing that a channel could have
  Kind kind = Kind::Other;
  UInt32 size = 0;  ///< how many components can be keyed
};

template <class T>
Content known(Kind kind, UInt32 size) {
  return {osg::SField<T>::getClassType().getId(), kind, size};
}

Content contentOf(UInt32 contentTypeId) {
  // The W of a quaternion cannot be keyed.
  static std::array const table = {
      known<osg::Color3f>(Kind::Color, 3), known<osg::Color4f>(Kind::Color, 4),
      known<osg::Vec2f>(Kind::Vector, 2),  known<osg::Vec3f>(Kind::Vector, 3),
      known<osg::Vec4f>(Kind::Vector, 4),  known<osg::Quaternion>(Kind::Point, 3),
      known<osg::Pnt2f>(Kind::Point, 2),   known<osg::Pnt3f>(Kind::Point, 3),
      known<osg::Pnt4f>(Kind::Point, 4),   known<osg::UInt8>(Kind::Byte, 1),
      known<osg::Real32>(Kind::Number, 1), known<osg::Real64>(Kind::Number, 1),
      known<osg::Int32>(Kind::Number, 1),  known<osg::UInt32>(Kind::Number, 1),
      known<osg::Int64>(Kind::Number, 1),  known<osg::UInt64>(Kind::Number, 1),
      known<bool>(Kind::Number, 1),
  };
  auto const isIt = [contentTypeId](Content const& content) { return content.typeId == contentTypeId; };
  auto const entry = std::find_if(table.begin(), table.end(), isIt);
  return entry != table.end() ? *entry : Content{.typeId = contentTypeId};
}

/// A missing field and a list of values have no channels.
Content contentOf(FieldDescription const* field) {
  if (field == nullptr) return {};
  osg::FieldType const& type = field->getFieldType();
  return type.getCardinality() == osg::FieldType::Cardinality::Single ? contentOf(type.getId()) : Content();
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Whether a field holds a colour: by its content, or three or four plain numbers by the field's name. `names`
/// are the names without "Color" that make three numbers one.
bool isColor(Content const& content, std::string_view name, std::initializer_list<std::string_view> names) {
  if (content.kind != Kind::Vector || content.size < 3) return content.kind == Kind::Color;
  if (contains(name, "Color")) return true;
  return content.size == 3 && std::find(names.begin(), names.end(), name) != names.end();
}

bool isOneOf(std::string_view suffix, std::string_view letters) {
  return suffix.size() == 1 && contains(letters, suffix);
}

std::string shortNameOf(std::string const& fieldName) {
  if (fieldName.empty()) return {};
  return std::string(1, static_cast<char>(std::toupper(static_cast<unsigned char>(fieldName.front()))));
}

void add(Channels& channels, Channel channel, UInt32 index, char const* suffix) {
  channel.valueIndex = index;
  channel.suffix = std::string(suffix);
  channels.push_back(std::move(channel));
}

void addNamed(Channels& channels, Channel channel, UInt32 index, char const* name) {
  channel.channelName = name;
  add(channels, std::move(channel), index, "");
}

void addLetters(Channels& channels, Channel const& channel, char const* const (&letters)[4], UInt32 count) {
  for (UInt32 i = 0; i < count; ++i) add(channels, channel, i, letters[i]);
}

/// Lists the channels of one container. `blank` is a record without names.
class ContainerChannels {
 public:
  ContainerChannels(knAnimManager const& manager, FieldContainerPtr const& container, Channel const& blank,
                    Channels& out)
      : _manager(manager), _type(container->getType()), _blank(blank), _out(out) {
    _declares = container->hasChannelDescriptions();
    // The host's own classes answer by code of their own, which may destroy the container.
    if (_declares && container.isAlive()) container->getChannelDescriptions(_declared);
    _isGone = !container.isAlive();
  }

  void list(std::vector<std::string> const& excludedNames) {
    if (_isGone) return;
    for (FieldDescription const& field : _type.getFieldDescriptions()) {
      std::string const fieldName = field.getName().str();
      if (std::count(excludedNames.begin(), excludedNames.end(), fieldName) != 0) continue;
      if (Content const content = contentOf(&field); content.typeId != 0) listField(fieldName, content);
    }
    listFieldless();
  }

 private:
  template <class Type>
  bool isA() const {
    return _type.isDerivedFrom(Type::_type);
  }

  /// The name that a field's channels go by, null when it cannot be keyed.
  char const* channelNameOf(std::string const& fieldName) const {
    char const* name = fieldName.c_str();
    if (_declares) {
      auto const isIt = [&](auto const& description) { return description.fieldName == fieldName; };
      auto const declared = std::find_if(_declared.begin(), _declared.end(), isIt);
      if (declared == _declared.end()) return nullptr;
      name = declared->channelName.c_str();
    } else if (!_manager.isKeyableAttribute(fieldName)) {
      return nullptr;
    }
    for (auto const& [from, to] : ChannelNames) {
      if (from == name) return to;
    }
    return name;
  }

  void listField(std::string const& fieldName, Content const& content) {
    char const* const channelName = channelNameOf(fieldName);
    if (channelName == nullptr) return;
    Channel channel = _blank;
    channel.fieldName = fieldName;
    channel.channelName = channelName;
    channel.shortName = shortNameOf(fieldName);
    // `isColorField` knows other names, and is meant to.
    if (isColor(content, fieldName, {"glossy", "diffuse", "seeThrough"})) {
      addLetters(_out, channel, ColorLetters, content.kind == Kind::Color ? content.size : 3);
    } else if (content.kind == Kind::Vector || content.kind == Kind::Point) {
      listVector(channel, content.size);
    } else if (content.kind == Kind::Number || content.kind == Kind::Byte) {
      listScalar(std::move(channel));
    } else {
      listLightColor(std::move(channel));
    }
  }

  void listVector(Channel const& channel, UInt32 size) {
    for (ComponentNames const& names : NamedComponents) {
      if (names.channelName == channel.channelName) return listNamed(channel, size, names);
    }
    addLetters(_out, channel, VectorLetters, size);
  }

  void listNamed(Channel const& channel, UInt32 size, ComponentNames const& named) {
    for (UInt32 i = 0; i < size; ++i) {
      if (named.names[i] != nullptr) {
        addNamed(_out, channel, i, named.names[i]);
      } else if (named.othersByLetter) {
        add(_out, channel, i, VectorLetters[i]);
      }
    }
  }

  void listScalar(Channel channel) {
    if (channel.channelName == "postprocessingFlags") {
      addNamed(_out, channel, FirstBitIndex, "glowEnable");
      addNamed(_out, channel, FirstBitIndex + 1, "glareEnable");
      return;
    }
    bool const throughNode = channel.channelName == "intensity" || channel.channelName == "temperature";
    if (throughNode && isA<osg::UberLight>()) channel.containerId = channel.ownerId;
    add(_out, std::move(channel), 0, "");
  }

  /// The colours of a light stand in components, which are written through the light's node.
  void listLightColor(Channel channel) {
    if (channel.channelName != "glossy" && channel.channelName != "diffuse") return;
    if (!isA<osg::UberLight>()) return;
    channel.containerId = channel.ownerId;
    addLetters(_out, channel, ColorLetters, 3);
  }

  /// What can be keyed without being a field.
  void listFieldless() {
    if (isA<osg::Node>()) addFieldless("visible", "V");
    if (!isA<osg::UberCamera>()) return;
    addFieldless("turntableDistance", "D");
    addFieldless("turntableHeight", "H");
    addFieldless("turntableAngle", "T");
    addFieldless("focalLength", "F");
    addFieldless("fStop", "F");
  }

  void addFieldless(char const* name, char const* shortName) {
    _out.emplace_back(_blank.containerId, 0U, _blank.ownerId, name, name, shortName, "", 0U,
                      _blank.objectName);
  }

  knAnimManager const& _manager;
  osg::FieldContainerType const& _type;
  Channel const& _blank;
  Channels& _out;
  bool _declares = false;
  bool _isGone = false;
  std::vector<osg::ChannelDescription> _declared;
};

osg::Transform3DPtr transformOf(osg::NodeCorePtr const& core) {
  if (auto const* const geometry = osg::dcastTo<osg::Geometry>(core)) return geometry->getTransform();
  if (auto const* const plane = osg::dcastTo<osg::ClipPlane>(core)) return plane->getTransform();
  return {};
}

void addIncandescenceIntensity(Channels& channels, Channel channel) {
  channel.shortName = "II";
  addNamed(channels, std::move(channel), AlphaIndex, "incandescenceIntensity");
}

void addMaterialColor(Channels& channels, Channel const& channel, bool hasAlpha) {
  if (channel.fieldName == "incandescenceColor" && channel.channelName == "incandescenceIntensity") {
    if (hasAlpha) addIncandescenceIntensity(channels, channel);
    return;
  }
  addLetters(channels, channel, ColorLetters, 3);
  if (!hasAlpha) return;
  if (channel.channelName == "incandescenceColor") return addIncandescenceIntensity(channels, channel);
  add(channels, channel, AlphaIndex, ColorLetters[AlphaIndex]);
}

/// A material's colour correction keeps its name and is laid out unlike that of a camera.
void addMaterialVector(Channels& channels, Channel const& channel, UInt32 size) {
  if (channel.channelName != "colorCorrection") return addLetters(channels, channel, VectorLetters, size);
  add(channels, channel, 3, "hueShift");
  add(channels, channel, 0, "contrast");
  add(channels, channel, 1, "brightness");
  add(channels, channel, 2, "saturation");
}

}  // namespace

void knAnimManager::appendKeyableNames(std::string& names) { names += KeyableNames; }

namespace {

/// What stands between two commas, and nothing there too.
std::unordered_set<std::string_view> const& singleKeyableNames() {
  static auto const& names = *new auto([] {
    std::unordered_set<std::string_view> found;
    std::string_view rest = KeyableNames.substr(1);
    for (std::size_t end; (end = rest.find(',')) != std::string_view::npos; rest.remove_prefix(end + 1))
      found.insert(rest.substr(0, end));
    return found;
  }());
  return names;
}

}  // namespace

void knAnimManager::getKeyableChannels(osg::NodePtr const& nodeArgument, Channels& channels) {
  osg::NodePtr const node = nodeArgument;
  if (!node.isAlive()) return;
  osg::NodeCorePtr const core = node->getCore();
  UInt32 const nodeId = node.getContainerId();
  std::string const name = nameOf(node);
  auto const list = [&](FieldContainerPtr const& container, UInt32 parentId) {
    getKeyableChannels(container, parentId, nodeId, name, channels, {});
  };
  UInt32 const coreId = core.getContainerId();
  // Each is looked for when its turn comes: those before it may have been asked for their channels, and done anything.
  list(transformOf(core), coreId);
  list(core, coreId);
  if (auto const* const group = osg::dcastTo<osg::MaterialGroup>(core)) {
    getKeyableChannels(group->getMaterial(), channels);
  }
  if (auto const* const camera = osg::dcastTo<osg::UberCamera>(core))
    list(camera->getTonemappingSettings(), coreId);
  if (auto const* const camera = osg::dcastTo<osg::UberCamera>(core)) list(camera->getFogSettings(), coreId);
  if (auto const* const light = osg::dcastTo<osg::UberLight>(core)) list(light->getDiffuse(), coreId);
  if (auto const* const light = osg::dcastTo<osg::UberLight>(core)) list(light->getLensFlareEffect(), coreId);
  list(node, nodeId);
}

void knAnimManager::getKeyableChannels(FieldContainerPtr const& containerArgument, UInt32 parentId,
                                       UInt32 nodeId, std::string const& nodeName, Channels& channels,
                                       std::vector<std::string> const& excludedNames) {
  FieldContainerPtr const container = containerArgument;
  if (!container.isAlive()) return;
  std::vector<std::string> const excluded = excludedNames;
  Channel const blank(container.getContainerId(), parentId, nodeId, "", "", "", "", 0, nodeName);
  ContainerChannels(*this, container, blank, channels).list(excluded);
}

void knAnimManager::getKeyableChannels(osg::MaterialPtr const& materialArgument, Channels& channels) {
  osg::MaterialPtr const material = materialArgument;
  if (!material.isAlive()) return;
  std::vector<osg::ChannelDescription> descriptions;
  material->getChannelDescriptions(descriptions);
  if (!material.isAlive()) return;
  UInt32 const materialId = material.getContainerId();
  std::string const name = nameOf(material);
  for (auto const& [ids, fieldName, channelName] : descriptions) {
    if (ids.empty()) continue;
    FieldContainerPtr const container = osg::FieldContainerFactory::the().getContainer(ids.front());
    if (!container.isAlive()) continue;
    Content const content = contentOf(container->getType().findFieldDescription(fieldName.c_str()));
    Channel const channel(ids.front(), materialId, materialId, fieldName, channelName, shortNameOf(fieldName),
                          "", 0, name);
    if (isColorField(content.typeId, fieldName)) {
      addMaterialColor(channels, channel, content.size == 4);
    } else if (content.kind == Kind::Vector || content.kind == Kind::Point) {
      addMaterialVector(channels, channel, content.size);
    } else if (content.kind == Kind::Number) {
      add(channels, channel, 0, "");
    }
  }
}

bool knAnimManager::isKeyableAttribute(std::string const& name) const {
  if (name.find(',') == std::string::npos) return singleKeyableNames().contains(name);
  return contains(_keyableAttributes, std::string(1, ',').append(name).append(1, ','));
}

bool knAnimManager::isColorField(UInt32 contentTypeId, std::string const& name) const {
  return isColor(contentOf(contentTypeId), name, {"color", "seeThrough"});
}

osg::Color3f knAnimManager::getDefaultColor(std::string const& suffix) {
  if (isOneOf(suffix, "RX")) return {0.898F, 0.298F, 0.298F};
  if (isOneOf(suffix, "GY")) return {0.298F, 0.898F, 0.298F};
  if (isOneOf(suffix, "BZ")) return {0.4F, 0.624F, 0.816F};
  if (isOneOf(suffix, "AWI")) return {0.898F, 0.827F, 0.298F};
  return {0.953F, 0.557F, 0.271F};
}

UInt32 knAnimManager::getValueIndexFromSuffix(std::string const& suffix) {
  if (isOneOf(suffix, "AW")) return 3;
  if (isOneOf(suffix, "BZ")) return 2;
  return isOneOf(suffix, "GY") ? 1 : 0;
}

bool knAnimManager::ignoreChannel(std::string const& name) const {
  return name == "visible" || name == "focalLength" || name == "turntableAngle" ||
         name == "turntableHeight" || name == "turntableDistance";
}

std::vector<std::string> const& knRenderPassNames() {
  static std::vector<std::string> const names = [] {
    std::istringstream text(
        "beauty diffuse_ibl diffuse_light glossy_ibl glossy_light specular_reflection translucency "
        "incandescence diffuse_indirect glossy_indirect diffuse_color glossy_color specular_color "
        "translucency_color transparency_color background_color diffuse_ibl_illumination "
        "glossy_ibl_illumination translucency_ibl_illumination diffuse_light_illumination "
        "glossy_light_illumination translucency_light_illumination diffuse_indirect_illumination "
        "glossy_indirect_illumination specular_indirect_illumination translucency_indirect_illumination fog "
        "lens_flare backplates frontplates occlusion albedo normal depth cryptoObject00 cryptoObject01 "
        "cryptoObject02 cryptoMaterial00 cryptoMaterial01 cryptoMaterial02 materialID mask position view "
        "camera_normal motion_vector gpu_depth");
    return std::vector<std::string>(std::istream_iterator<std::string>(text), {});
  }();
  return names;
}
