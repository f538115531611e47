#include "model/scenefiles/ContentLayout.h"
#include "model/scenefiles/OwnershipGraph.h"
#include "model/scenefiles/SceneFileContents.h"
#include "model/scenefiles/SceneFileProgress.h"

#include <limits>
#include <unordered_map>

namespace osg {
inline namespace knscene {

namespace {

class ContentsWriter {
 public:
  explicit ContentsWriter(SceneFileProblem& problem) : _problem(problem) {}

  SceneContents write(NodePtr const& root) {
    collect(root);
    if (_graph.order().hasCircle) {
      _problem.what = "containers hold each other in a circle";
      return {};
    }
    FieldWriter out = makeWriter();
    putTypes(out);
    putContainers(out);
    for (std::size_t i = 0; i < _containers.size(); ++i) {
      if (!SceneFileProgress::tell("collecting", i, _containers.size())) {
        _problem.what = SceneFileProgress::WhenInterrupted;
        return {};
      }
      if (!putValues(_containers[i], out)) return {};
    }
    return {out.takeBytes(), _objectMemory, _hiddenHandles};
  }

 private:
  struct StoredType {
    FieldContainerType const* type;
    std::vector<FieldDescription const*> fields;
  };
  struct Stored {
    FieldContainerPtr container;
    UInt32 typeNumber;
  };

  FieldWriter makeWriter() {
    return FieldWriter([this](FieldContainerPtr const& handle) {
      _wroteHandle = true;
      UInt32 const number = numberOf(handle);
      if (_isOwnedField && number == 0 && handle.isAlive()) _isEdited = true;
      return number;
    });
  }

  /// From 1 up; 0 for null and for what is not part of the file.
  UInt32 numberOf(FieldContainerPtr const& handle) const {
    auto const found = _numbers.find(handle);
    return found != _numbers.end() ? found->second : 0;
  }

  void collect(FieldContainerPtr const& root) {
    add(root);
    // The list grows while it is worked through.
    for (std::size_t i = 0; i < _containers.size(); ++i) {
      _graph.addContainer();
      Stored const stored = _containers[i];
      for (std::size_t f = 0; f < _types[stored.typeNumber].fields.size(); ++f) {
        FieldDescription const& field = *_types[stored.typeNumber].fields[f];
        if (field.getRole() != FieldRole::Owned) continue;
        field.getField(*stored.container)->visitHandles([this](FieldContainerPtr const& handle) {
          if (handle.isAlive()) _graph.addOwned(add(handle) - 1);
          return handle;
        });
      }
    }
  }

  UInt32 add(FieldContainerPtr const& container) {
    auto const [place, isNew] = _numbers.try_emplace(container, static_cast<UInt32>(_containers.size() + 1));
    if (!isNew) return place->second;
    _containers.push_back({container, addType(container->getType())});
    _objectMemory += objectMemory(&container->getType());
    return place->second;
  }

  UInt32 addType(FieldContainerType const& type) {
    auto const [place, isNew] = _typeNumbers.try_emplace(&type, static_cast<UInt32>(_types.size()));
    if (isNew) {
      StoredType stored{&type, {}};
      for (FieldDescription const& field : type.getFieldDescriptions()) {
        if (field.getRole() != FieldRole::Derived) stored.fields.push_back(&field);
      }
      _types.push_back(std::move(stored));
    }
    return place->second;
  }

  void putTypes(FieldWriter& out) const {
    out.put(static_cast<UInt32>(_types.size()));
    for (StoredType const& stored : _types) {
      out.putText(stored.type->getName());
      out.put(static_cast<UInt32>(stored.fields.size()));
      for (FieldDescription const* const field : stored.fields) {
        out.putText(field->getName());
        out.putText(field->getFieldType().getContentType().getName());
        out.put(static_cast<UInt8>(field->getFieldType().getCardinality()));
      }
    }
  }

  void putContainers(FieldWriter& out) const {
    out.put(static_cast<UInt32>(_containers.size()));
    for (Stored const& stored : _containers) out.put(stored.typeNumber);
  }

  bool endByEdit() {
    _problem.what = "its structure was changed meanwhile";
    return false;
  }

  bool putValues(Stored const& stored, FieldWriter& out) {
    // Who is told of the progress may edit what was collected.
    if (!stored.container.isAlive()) return endByEdit();
    FieldWriter values = makeWriter();
    for (FieldDescription const* const field : _types[stored.typeNumber].fields) {
      std::size_t const before = values.bytes().size();
      _wroteHandle = false;
      _isOwnedField = field->getRole() == FieldRole::Owned;
      field->getField(*stored.container)->write(values);
      if (_isEdited) return endByEdit();
      if (_wroteHandle && layoutOf(field->getFieldType().getContentType().getName()).empty()) {
        _hiddenHandles = field->getName().str();
      }
      std::size_t const length = values.bytes().size() - before;
      if (length > std::numeric_limits<UInt32>::max()) {
        _problem.what = "field '" + field->getName().str() + "' is too large";
        return false;
      }
      out.put(static_cast<UInt32>(length));
    }
    out.putBytes(values.bytes().data(), values.bytes().size());
    return true;
  }

  SceneFileProblem& _problem;
  std::vector<StoredType> _types;
  std::unordered_map<FieldContainerType const*, UInt32> _typeNumbers;
  std::vector<Stored> _containers;
  std::unordered_map<FieldContainerPtr, UInt32> _numbers;
  OwnershipGraph _graph;
  UInt64 _objectMemory = 0;
  bool _wroteHandle = false;
  bool _isOwnedField = false;
  bool _isEdited = false;  ///< an owned container is none of those that were collected
  std::string _hiddenHandles;
};

}  // namespace

SceneContents putSceneContents(NodePtr const& root, SceneFileProblem& problem) {
  return ContentsWriter(problem).write(root);
}

}  // namespace knscene
}  // namespace osg
