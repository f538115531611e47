#include "model/scenegraph/Cloning.h"

#include "model/fields/FieldContainerFactory.h"

#include <unordered_map>

namespace osg {
inline namespace knscene {

namespace {

std::vector<FieldContainerType const*> typesNamedIn(std::string_view list) {
  std::vector<FieldContainerType const*> types;
  while (!list.empty()) {
    list.remove_prefix(std::min(list.find_first_not_of(" ,"), list.size()));
    std::size_t const end = std::min(list.find_first_of(" ,"), list.size());
    FieldContainerType const* const type =
        FieldContainerFactory::the().findType(std::string(list.substr(0, end)).c_str());
    if (type != nullptr) types.push_back(type);
    list.remove_prefix(end);
  }
  return types;
}

class Copier {
 public:
  explicit Copier(std::string const& shareTypes) : _shared(typesNamedIn(shareTypes)) {}

  FieldContainerPtr copy(FieldContainerPtr const& root) {
    FieldContainerPtr const result = copyOf(root);
    // The list grows while it is worked through.
    for (std::size_t i = 0; i < _pairs.size(); ++i) copyFields(Pair(_pairs[i]), FieldRole::Owned);
    for (Pair const& pair : _pairs) copyFields(pair, FieldRole::Plain);
    // Overrides may do anything, so each copy is asked whether it still lives.
    for (Pair const& pair : _pairs) {
      if (pair.copy.isAlive()) linkAssignedFields(*pair.copy);
    }
    // What the copies made for themselves was counted once at their making, and again where it stayed.
    for (FieldContainerPtr const& made : _ownMakings) made.subRef();
    return result;
  }

 private:
  struct Pair {
    FieldContainerPtr source;
    FieldContainerPtr copy;
  };

  bool isShared(FieldContainerType const& type) const {
    for (FieldContainerType const* const shared : _shared) {
      if (type.isDerivedFrom(*shared)) return true;
    }
    return false;
  }

  /// The copy that stands for an owned container, made at the first request; the container itself if shared.
  FieldContainerPtr copyOf(FieldContainerPtr const source) {
    if (!source.isAlive()) return {};
    if (isShared(source->getType())) return source;
    auto const [place, isNew] = _copies.try_emplace(source);
    if (isNew) {
      place->second = source->getType().createFieldContainer();
      _pairs.push_back({source, place->second});
      if (place->second.isAlive()) noteOwnMakings(*place->second);
    }
    return place->second;
  }

  void noteOwnMakings(FieldContainer& copy) {
    for (FieldDescription const& description : copy.getType().getFieldDescriptions()) {
      if (description.getRole() != FieldRole::Owned) continue;
      description.getField(copy)->visitHandles([this](FieldContainerPtr const& handle) {
        if (handle) _ownMakings.push_back(handle);
        return handle;
      });
    }
  }

  FieldContainerPtr counterpartOf(FieldContainerPtr const& source) const {
    auto const found = _copies.find(source);
    return found != _copies.end() ? found->second : source;
  }

  void copyFields(Pair const& pair, FieldRole role) {
    if (!pair.source.isAlive()) return;
    for (FieldDescription const& description : pair.source->getType().getFieldDescriptions()) {
      // Containers of the host's own kinds are made by its code, at any of the fields.
      if (!pair.source.isAlive() || !pair.copy.isAlive()) return;
      if (description.getRole() != role) continue;
      Field& target = *description.getField(*pair.copy);
      target.copyFrom(*description.getField(*pair.source));
      target.visitHandles([&](FieldContainerPtr const& handle) {
        return role == FieldRole::Owned ? copyOf(handle) : counterpartOf(handle);
      });
    }
  }

  std::vector<FieldContainerType const*> _shared;
  std::unordered_map<FieldContainerPtr, FieldContainerPtr> _copies;
  std::vector<Pair> _pairs;
  std::vector<FieldContainerPtr> _ownMakings;
};

}  // namespace

FieldContainerPtr deepCopyContainer(FieldContainerPtr const& source, std::string const& shareTypes) {
  return Copier(shareTypes).copy(source);
}

}  // namespace knscene
}  // namespace osg
