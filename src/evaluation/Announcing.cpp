// What is marked while fields are written, and how that is announced.
#include "knAnimEvaluator.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/scenegraph/ClipPlane.h"

#include <array>

using osg::FieldContainerPtr;

namespace {

/// The type is known by name alone, and may be unknown.
osg::FieldContainerType const* colorComponentType() {
  static osg::FieldContainerType const* const type =
      osg::FieldContainerFactory::the().findType("ColorComponentSettings");
  return type;
}

bool isColorComponent(osg::FieldContainerType const& type) {
  return colorComponentType() != nullptr && type.isDerivedFrom(*colorComponentType());
}

/// Which field of a parent is marked when something of it was written.
struct ParentMark {
  osg::FieldContainerType const* type = nullptr;
  osg::BitVector mask;
  bool forTransformsOnly = false;
};

ParentMark makeParentMark(osg::FieldContainerType const& type) {
  ParentMark mark{&type, {}, false};
  char const* name = nullptr;
  if (type.isDerivedFrom(osg::GeometryBase::_type) || type.isDerivedFrom(osg::ClipPlaneBase::_type)) {
    name = "transform";
  } else if (type.isDerivedFrom(osg::MaterialBase::_type)) {
    name = "colorComponentData";
  } else if (type.isDerivedFrom(osg::UberCameraBase::_type)) {
    name = "tonemappingSettings";
  } else if (isColorComponent(type)) {
    name = "planarProjection";
    mark.forTransformsOnly = true;
  }
  osg::FieldDescription const* const field = name != nullptr ? type.findFieldDescription(name) : nullptr;
  if (field != nullptr) mark.mask = field->getFieldMask();
  return mark;
}

ParentMark const& findParentMark(osg::FieldContainerType const& type) {
  static std::array<ParentMark, 64> table;
  ParentMark& entry = table[type.getId() % table.size()];
  if (entry.type != &type) entry = makeParentMark(type);
  return entry;
}

/// Plain containers are announced first, then what depends on them.
int changeOrderRank(osg::FieldContainerType const& type) {
  if (type.isDerivedFrom(osg::MaterialBase::_type)) return 2;
  if (isColorComponent(type)) return 1;
  return type.isDerivedFrom(osg::Transform3DBase::_type) ? 0 : -1;
}

}  // namespace

void knAnimEvaluator::markParents(knContainerSet const& parents, knContainerSet const& aims) {
  for (FieldContainerPtr const& parent : parents) {
    osg::FieldContainerType const* const type = parent.findType();
    if (type == nullptr) continue;
    ParentMark const& mark = findParentMark(*type);
    if (mark.mask.none()) continue;
    if (mark.forTransformsOnly &&
        (aims.size() != 1 || osg::dcastTo<osg::Transform3D>(*aims.begin()) == nullptr)) {
      continue;
    }
    markFieldChanged(parent, mark.mask);
  }
}

void knAnimEvaluator::markFieldChanged(FieldContainerPtr const& container, osg::BitVector const& mask) {
  if (!container.isAlive()) return;
  FieldMark& mark = _changedFields.insert(container.getContainerId(), {container, {}}).first;
  if (mark.container != container) mark = {container, {}};
  mark.mask |= mask;
}

void knAnimEvaluator::commitChangedFields() {
  // By rank, from -1 up. Whoever hears of a change may write and commit: nothing here is looked at after that.
  std::array<std::vector<FieldMark>, 4> changes;
  for (auto const& [id, mark] : _changedFields.entries()) {
    if (!mark.container.isAlive()) continue;
    changes[static_cast<std::size_t>(changeOrderRank(*mark.container.findType()) + 1)].push_back(mark);
  }
  for (auto const& ofRank : changes) {
    for (FieldMark const& change : ofRank) announce(change.container, change.mask);
  }
}
