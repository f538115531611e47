#include "model/fields/FieldContainerFactory.h"
#include "model/scenefiles/OwnershipGraph.h"
#include "model/scenefiles/SceneFileContents.h"
#include "model/scenefiles/SceneFileProgress.h"

#include <algorithm>
#include <unordered_map>

namespace osg {
inline namespace knscene {

namespace {

/// Names to be told in one line, no more than a line can take.
class NameList {
 public:
  void add(std::string const& name) {
    if (_names.size() < MaxNames) {
      _names.push_back(name);
    } else {
      ++_further;
    }
  }
  bool empty() const { return _names.empty(); }
  std::string text() const {
    std::string result;
    for (std::string const& name : _names) result += (result.empty() ? "" : ", ") + name;
    return _further > 0 ? result + " and " + std::to_string(_further) + " more" : result;
  }

 private:
  static constexpr std::size_t MaxNames = 8;
  std::vector<std::string> _names;
  std::size_t _further = 0;
};

template <class Visit>
void visitHandlesOf(FieldContainer& container, FieldRole role, Visit visit) {
  for (FieldDescription const& field : container.getType().getFieldDescriptions()) {
    if (field.getRole() == role) field.getField(container)->visitHandles(visit);
  }
}

class ContentsReader {
 public:
  ContentsReader(SceneContents const& contents, SceneFileProblem& problem)
      : _contents(contents.bytes),
        _objectMemory(contents.objectMemory),
        _in(contents.bytes, nullptr),
        _problem(problem) {}
  ~ContentsReader() {
    // Whatever was not handed over to the caller.
    for (FieldContainerPtr const& container : _containers) discard(container);
    for (FieldContainerPtr const& made : _ownMakings) made.subRef();
  }
  ContentsReader(ContentsReader const&) = delete;
  ContentsReader& operator=(ContentsReader const&) = delete;

  NodePtr read() {
    if (!readTypes() || !readContainers() || !readValues() || !checkOwnership()) return {};
    dropUnreached();
    return link();
  }

  void putWarnings(std::vector<std::string>& warnings) const {
    if (!_unknownTypes.empty()) {
      warnings.push_back("holds objects of unknown types, which were passed over: " + _unknownTypes.text());
    }
    if (!_changedFields.empty()) {
      warnings.push_back("holds fields whose content is of another type now, which were passed over: " +
                         _changedFields.text());
    }
  }

 private:
  struct StoredType {
    std::string name;
    FieldContainerType const* type = nullptr;     ///< null when unknown
    std::vector<FieldDescription const*> fields;  ///< in the order of the file, null for those to pass over
  };

  bool fail(std::string what, std::size_t offset) {
    _problem = {std::move(what), offset, true};
    return false;
  }
  bool endsEarly() { return fail("the table of types or objects is damaged", _in.position()); }

  bool readTypes() {
    constexpr std::size_t LeastTypeSize = 2 * sizeof(UInt32);
    _types.resize(_in.getCount(LeastTypeSize));
    for (StoredType& stored : _types) {
      if (!readType(stored)) return endsEarly();
    }
    return !_in.failed() || endsEarly();
  }

  bool readType(StoredType& stored) {
    constexpr std::size_t LeastFieldSize = 2 * sizeof(UInt32) + sizeof(UInt8);
    stored.name = _in.getText();
    FieldContainerType const* const type = FieldContainerFactory::the().findType(stored.name.c_str());
    if (type != nullptr && !type->isAbstract()) stored.type = type;
    stored.fields.resize(_in.getCount(LeastFieldSize));
    for (FieldDescription const*& field : stored.fields) field = readField(stored.type);
    if (_in.failed()) return false;
    if (stored.type == nullptr) _unknownTypes.add(printable(stored.name));
    return true;
  }

  FieldDescription const* readField(FieldContainerType const* type) {
    std::string const name = _in.getText();
    std::string const contentName = _in.getText();
    UInt8 const cardinality = _in.get<UInt8>();
    FieldDescription const* const field =
        type != nullptr ? type->findFieldDescription(name.c_str()) : nullptr;
    if (field == nullptr || field->getRole() == FieldRole::Derived) return nullptr;
    FieldType const& present = field->getFieldType();
    if (present.getContentType().getName() == contentName &&
        static_cast<UInt8>(present.getCardinality()) == cardinality) {
      return field;
    }
    _changedFields.add(type->getName().str() + '.' + field->getName().str());
    return nullptr;
  }

  bool readContainers() {
    std::size_t const count = _in.getCount(sizeof(UInt32));
    if (_in.failed()) return endsEarly();
    if (count == 0) return fail("it holds no object", _in.position());
    if (!readTypeNumbers(count)) return false;
    _containers.reserve(count);
    _numbers.reserve(count);
    for (UInt32 const typeNumber : _typeNumbers) create(_types[typeNumber].type);
    if (dcast<NodePtr>(_containers.front())) return true;
    std::string const& rootType = _types[_typeNumbers.front()].name;
    return fail("its root is no node of a known type but '" + printable(rootType) + "'", _in.position());
  }

  /// Nothing is made before it is known that all of it may be.
  bool readTypeNumbers(std::size_t count) {
    UInt64 memory = 0;
    _typeNumbers.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      std::size_t const offset = _in.position();
      UInt32 const typeNumber = _in.get<UInt32>();
      if (typeNumber >= _types.size()) return fail("an object has a type that is not in the table", offset);
      memory += objectMemory(_types[typeNumber].type);
      if (memory > _objectMemory) return fail("it declares more objects than it has room for", offset);
      _typeNumbers.push_back(typeNumber);
    }
    return true;
  }

  void create(FieldContainerType const* type) {
    FieldContainerPtr const container = type != nullptr ? type->createFieldContainer() : FieldContainerPtr();
    _containers.push_back(container);
    if (!container) return;
    _numbers.emplace(container, static_cast<UInt32>(_containers.size()));
    // What a container made for itself is already counted once, and will be a second time where it stays. In
    // the end the first is dropped.
    visitHandlesOf(*container, FieldRole::Owned, [this](FieldContainerPtr const& handle) {
      if (handle) _ownMakings.push_back(handle);
      return handle;
    });
  }

  bool readValues() {
    std::size_t offset = _in.position();
    for (std::size_t i = 0; i < _containers.size(); ++i) {
      if (!SceneFileProgress::tell("building", offset, _contents.size()))
        return fail(SceneFileProgress::WhenInterrupted, offset);
      _recordOffsets.push_back(offset);
      if (!readRecord(_types[_typeNumbers[i]], _containers[i], offset)) return false;
    }
    return offset == _contents.size() || fail("more follows than it says", offset);
  }

  bool readRecord(StoredType const& stored, FieldContainerPtr const& container, std::size_t& offset) {
    std::size_t const tableSize = stored.fields.size() * sizeof(UInt32);
    if (tableSize > _contents.size() - offset) return fail("an object is cut short", offset);
    FieldReader lengths(_contents.substr(offset, tableSize), nullptr);
    std::size_t valueOffset = offset + tableSize;
    for (FieldDescription const* const field : stored.fields) {
      std::size_t const length = lengths.get<UInt32>();
      if (length > _contents.size() - valueOffset) return fail("an object is cut short", offset);
      if (field != nullptr && !readValue(*field->getField(*container), valueOffset, length)) {
        return fail("field '" + field->getName().str() + "' of an object of type '" +
                        container->getType().getName().str() + "' is damaged",
                    valueOffset);
      }
      valueOffset += length;
    }
    offset = valueOffset;
    return true;
  }

  bool readValue(Field& field, std::size_t offset, std::size_t length) {
    bool knownNumbers = true;
    FieldReader value(_contents.substr(offset, length), [this, &knownNumbers](UInt32 number) {
      if (number <= _containers.size()) return number > 0 ? _containers[number - 1] : FieldContainerPtr();
      knownNumbers = false;
      return FieldContainerPtr();
    });
    field.read(value);
    return knownNumbers && !value.failed() && value.atEnd();
  }

  /// References in a circle would never be dropped, and a node has one parent.
  bool checkOwnership() {
    OwnershipGraph graph;
    for (FieldContainerPtr const& container : _containers) {
      graph.addContainer();
      if (!container) continue;
      visitHandlesOf(*container, FieldRole::Owned, [&](FieldContainerPtr const& handle) {
        auto const found = _numbers.find(handle);
        if (found != _numbers.end()) graph.addOwned(found->second - 1);
        return handle;
      });
    }
    OwnershipGraph::Order order = graph.order();
    if (order.hasCircle) return fail("objects hold each other in a circle", _recordOffsets[order.inCircle]);
    _order = std::move(order.ownersFirst);
    return checkChildren();
  }

  bool checkChildren() {
    std::vector<bool> isChild(_containers.size() + 1, false);
    for (UInt32 const owner : _order) {
      Node const* const node = dcastTo<Node>(_containers[owner]);
      if (node == nullptr) continue;
      for (NodePtr const& child : node->getChildren()) {
        auto const found = _numbers.find(child);
        if (found == _numbers.end()) continue;
        if (isChild[found->second]) return fail("a node is the child of two", _recordOffsets[owner]);
        isChild[found->second] = true;
      }
    }
    return true;
  }

  /// Objects that only objects of unknown types hold go the same way as these.
  void dropUnreached() {
    if (_order.size() == _containers.size()) return;
    std::vector<bool> isReached(_containers.size(), false);
    for (UInt32 const number : _order) isReached[number] = true;
    for (std::size_t i = 0; i < _containers.size(); ++i) {
      if (!isReached[i]) discard(_containers[i]);
    }
    for (UInt32 const number : _order) {
      visitHandlesOf(*_containers[number], FieldRole::Plain, [](FieldContainerPtr const& handle) {
        return handle.isAlive() ? handle : FieldContainerPtr();
      });
    }
  }

  NodePtr link() {
    NodePtr const root = dcast<NodePtr>(_containers.front());
    for (UInt32 const number : _order) linkAssignedFields(*_containers[number]);
    _containers.clear();
    return root;
  }

  /// Destroys a container that is not linked: its fields count no references, and nobody counts one to it.
  static void discard(FieldContainerPtr const& container) {
    if (!container.isAlive()) return;
    for (FieldDescription const& description : container->getType().getFieldDescriptions()) {
      if (description.getRole() != FieldRole::Derived) empty(*description.getField(*container));
    }
    container.subRef();
  }

  static void empty(Field& field) {
    if (field.getCardinality() == FieldType::Cardinality::Multi) {
      constexpr std::string_view NoElements("\0\0\0\0", sizeof(UInt32));
      FieldReader reader(NoElements, nullptr);
      field.read(reader);
    } else {
      field.visitHandles([](FieldContainerPtr const&) { return FieldContainerPtr(); });
    }
  }

  std::string_view _contents;
  UInt64 _objectMemory;  ///< what its objects may take
  FieldReader _in;       ///< the tables; never asked for a handle
  SceneFileProblem& _problem;
  NameList _unknownTypes;
  NameList _changedFields;
  std::vector<StoredType> _types;
  std::vector<UInt32> _typeNumbers;                        ///< by container
  std::vector<FieldContainerPtr> _containers;              ///< null for those of unknown types
  std::unordered_map<FieldContainerPtr, UInt32> _numbers;  ///< from 1 up
  std::vector<FieldContainerPtr> _ownMakings;
  std::vector<std::size_t> _recordOffsets;  ///< by container
  std::vector<UInt32> _order;               ///< indices of what the root holds, owners first
};

}  // namespace

UInt64 objectMemory(FieldContainerType const* type) {
  constexpr UInt64 ForEach = 64;
  constexpr UInt64 LargestCounted = 2048;
  return ForEach + (type != nullptr ? std::min<UInt64>(type->getContainerSize(), LargestCounted) : 0);
}

NodePtr getSceneContents(SceneContents const& contents, SceneFileProblem& problem,
                         std::vector<std::string>& warnings) {
  ContentsReader reader(contents, problem);
  NodePtr const root = reader.read();
  if (root) reader.putWarnings(warnings);
  return root;
}

std::string printable(std::string_view text) {
  constexpr std::size_t MaxLength = 80;
  std::string result(text.substr(0, MaxLength));
  for (char& c : result) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return text.size() > MaxLength ? result + "..." : result;
}

}  // namespace knscene
}  // namespace osg
