#include "knanim/import/CameraRepairs.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

namespace knanim {
namespace {

std::string extensionOf(std::string const& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

/// The chunks of a .3ds file: a number, the length of all of it, and what it holds.
class Chunks {
 public:
  explicit Chunks(std::string bytes) : _bytes(std::move(bytes)) {}

  /// The directions in which cameras look, by their names.
  std::map<std::string, osg::Vec3f> findDirections() const;

 private:
  std::uint32_t number(std::size_t at, std::size_t bytes) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes && at + i < _bytes.size(); ++i)
      value |= static_cast<std::uint32_t>(static_cast<unsigned char>(_bytes[at + i])) << (8 * i);
    return value;
  }
  osg::Vec3f vector(std::size_t at) const {
    return {std::bit_cast<float>(number(at, 4)), std::bit_cast<float>(number(at + 4, 4)),
            std::bit_cast<float>(number(at + 8, 4))};
  }

  std::string _bytes;
};

std::map<std::string, osg::Vec3f> Chunks::findDirections() const {
  constexpr std::size_t kHead = 6;
  enum : std::uint32_t { Main = 0x4D4D, Editor = 0x3D3D, Object = 0x4000, Camera = 0x4700 };
  std::map<std::string, osg::Vec3f> found;
  std::string object;
  for (std::size_t at = 0; at + kHead <= _bytes.size();) {
    std::uint32_t const kind = number(at, 2);
    std::size_t const length = std::max<std::size_t>(number(at + 2, 4), kHead);
    std::size_t const inside = at + kHead;
    if (kind == Main || kind == Editor) {
      at = inside;
    } else if (kind == Object) {
      std::size_t const end = std::min(_bytes.find('\0', inside), _bytes.size());
      object = _bytes.substr(inside, end - inside);
      at = end + 1;
    } else {
      if (kind == Camera && inside + 24 <= _bytes.size())
        found.try_emplace(object, vector(inside + 12) - vector(inside));
      at += length;
    }
  }
  return found;
}

void aim(ImportedCamera& camera, osg::Vec3f const& direction, osg::Vec3f const& up) {
  osg::Vec3f const unit = osg::normalized(direction);
  if (!(osg::length(unit) > 0) || !std::isfinite(osg::length(unit))) return;
  camera.at = camera.from + unit;
  // Who looks straight up or down has no up there.
  camera.up = osg::length(osg::cross(unit, up)) > 1e-4F ? up : osg::Vec3f(0, 1, 0);
}

/// The importer gives the place twice, with the node and with the camera, and a direction that means nothing. Up is z.
void repairFromChunks(std::string const& path, ImportedModel const& model, ModelContent& content) {
  std::ifstream stream(path, std::ios::binary);
  Chunks const chunks(std::string(std::istreambuf_iterator<char>(stream), {}));
  std::map<std::string, osg::Vec3f> const directions = chunks.findDirections();
  for (ImportedCamera& camera : content.cameras) {
    auto const& place = model.nodes[camera.node].translation;
    bool const hasPlace = std::ranges::any_of(place, [](double each) { return each != 0; });
    osg::Vec3f const sight = camera.at - camera.from;
    if (hasPlace) camera.from = {0, 0, 0};
    auto const direction = directions.find(camera.name);
    aim(camera, direction != directions.end() ? direction->second : sight, {0, 0, 1});
  }
}

}  // namespace

void repairCameras(std::string const& path, ImportedModel const& model, ModelContent& content) {
  if (content.cameras.empty()) return;
  std::string const extension = extensionOf(path);
  if (extension == ".3ds") repairFromChunks(path, model, content);
  if (extension != ".ase" && extension != ".lws") return;
  for (ImportedCamera& camera : content.cameras) aim(camera, {0, 0, -1}, {0, 1, 0});
}

std::string lostOfCameras(std::string const& path, std::size_t cameras) {
  if (cameras == 0 || extensionOf(path) != ".3ds") return {};
  return "cameras keep their first direction: the importer drops roll and moving targets of "
         ".3ds files";
}

}  // namespace knanim
