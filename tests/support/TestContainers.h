#pragma once

#include "model/fields/ChangeList.h"
#include "model/fields/FieldContainerFactory.h"
#include "model/scenegraph/Group.h"
#include "model/scenegraph/Transform3D.h"
#include "support/Testing.h"

namespace kntest {

using namespace osg;  // in all tests

class Singles;
class Multis;
class Mark;
class BrightMark;
class BoxCore;

/// A container of the kind that a host declares: one value of every content type that can be animated or stored,
/// and what `changed` was told last.
class SinglesBase : public osg::FieldContainer {
  KN_CONTAINER(SinglesBase, Singles, osg::FieldContainer)
 public:
  KN_SFIELD(bool, Bool, bool, true)
  KN_SFIELD(osg::Int32, Int32, int32, -7)
  KN_SFIELD(osg::UInt32, UInt32, uint32, 7U)
  KN_SFIELD(osg::Int64, Int64, int64)
  KN_SFIELD(osg::UInt64, UInt64, uint64)
  KN_SFIELD(osg::UInt8, UInt8, uint8)
  KN_SFIELD(osg::Real32, Real32, real32, 0.5F)
  KN_SFIELD(osg::Real64, Real64, real64)
  KN_SFIELD(osg::Color3f, Color3f, color3f)
  KN_SFIELD(osg::Color4f, Color4f, color4f, osg::Color4f(0, 0, 0, 1))
  KN_SFIELD(osg::Vec2f, Vec2f, vec2f)
  KN_SFIELD(osg::Vec3f, Vec3f, vec3f)
  KN_SFIELD(osg::Vec4f, Vec4f, vec4f)
  KN_SFIELD(osg::Pnt2f, Pnt2f, pnt2f)
  KN_SFIELD(osg::Pnt3f, Pnt3f, pnt3f)
  KN_SFIELD(osg::Pnt4f, Pnt4f, pnt4f)
  KN_SFIELD(osg::Quaternion, Quaternion, quaternion)
  KN_SFIELD(osg::Matrix, Matrix, matrix)
  KN_SFIELD(std::string, Text, text)
  KN_SFIELD(osg::NodePtr, Link, link)
  KN_SFIELD_OWNED(osg::NodePtr, Owned, owned)
  KN_SFIELD_READ(osg::UInt32, Kept, kept, Derived)
  KN_CONTAINER_END
};

class Singles : public SinglesBase {
 public:
  struct Change {
    osg::BitVector mask;
    osg::UInt32 origin;
  };
  std::vector<Change> changes;

  void changed(osg::BitVector const& mask, osg::UInt32 origin) override {
    Inherited::changed(mask, origin);
    changes.push_back({mask, origin});
  }
};

/// Adds to the single values a list of every content type.
class MultisBase : public Singles {
  KN_CONTAINER(MultisBase, Multis, Singles)
 public:
  KN_MFIELD(osg::Int32, Int32s, int32s)
  KN_MFIELD(osg::UInt32, UInt32s, uint32s)
  KN_MFIELD(osg::Int64, Int64s, int64s)
  KN_MFIELD(osg::UInt64, UInt64s, uint64s)
  KN_MFIELD(osg::UInt8, UInt8s, uint8s)
  KN_MFIELD(osg::Real32, Real32s, real32s)
  KN_MFIELD(osg::Real64, Real64s, real64s)
  KN_MFIELD(osg::Color3f, Color3fs, color3fs)
  KN_MFIELD(osg::Color4f, Color4fs, color4fs)
  KN_MFIELD(osg::Vec2f, Vec2fs, vec2fs)
  KN_MFIELD(osg::Vec3f, Vec3fs, vec3fs)
  KN_MFIELD(osg::Vec4f, Vec4fs, vec4fs)
  KN_MFIELD(osg::Pnt2f, Pnt2fs, pnt2fs)
  KN_MFIELD(osg::Pnt3f, Pnt3fs, pnt3fs)
  KN_MFIELD(osg::Pnt4f, Pnt4fs, pnt4fs)
  KN_MFIELD(osg::Quaternion, Quaternions, quaternions)
  KN_MFIELD(osg::Matrix, Matrices, matrices)
  KN_MFIELD(std::string, Texts, texts)
  KN_MFIELD(osg::NodePtr, Links, links)
  KN_MFIELD_READ(osg::NodePtr, OwnedNodes, ownedNodes, Owned)
  KN_CONTAINER_END
};

class Multis : public MultisBase {};

/// An attachment that says of itself whether it holds animations.
class MarkBase : public osg::Attachment {
  KN_CONTAINER(MarkBase, Mark, osg::Attachment)
 public:
  KN_SFIELD(bool, Marks, marks, true)
  KN_CONTAINER_END
};

class Mark : public MarkBase {
 public:
  bool marksAnimation() const override { return getMarks(); }
};

/// A kind of mark that a further library adds.
class BrightMarkBase : public Mark {
  KN_CONTAINER(BrightMarkBase, BrightMark, Mark)
 public:
  KN_SFIELD(osg::Color3f, Color, color)
  KN_CONTAINER_END
};

class BrightMark : public BrightMarkBase {};

/// A core that occupies a box.
class BoxCoreBase : public osg::NodeCore {
  KN_CONTAINER(BoxCoreBase, BoxCore, osg::NodeCore)
 public:
  KN_SFIELD(osg::Pnt3f, Min, min, osg::Pnt3f(-1, -1, -1))
  KN_SFIELD(osg::Pnt3f, Max, max, osg::Pnt3f(1, 1, 1))
  KN_CONTAINER_END
};

class BoxCore : public BoxCoreBase {
 public:
  void extendVolume(osg::BoxVolume& volume) const override {
    volume.extendBy(osg::BoxVolume(getMin(), getMax()));
  }
};

/// Holds a reference to a container while it lives.
template <osg::ContainerHandle Handle>
class Held {
 public:
  explicit Held(Handle const& handle) : _handle(handle) { _handle.addRef(); }
  ~Held() { _handle.subRef(); }
  Held(Held const&) = delete;
  Held& operator=(Held const&) = delete;

  auto* operator->() const { return _handle.operator->(); }
  Handle const& operator*() const { return _handle; }
  operator Handle const&() const { return _handle; }

 private:
  Handle _handle;
};

/// Hangs a chain of so many new nodes below one, and returns the last.
template <class Handle, class Make>
Handle growChain(Handle bottom, int levels, Make make) {
  for (; levels > 0; --levels) {
    Handle const next = make();
    bottom->addChild(next);
    bottom = next;
  }
  return bottom;
}

/// The type of what the handles of such content lead to, null where there are none.
inline osg::FieldContainerType const* heldType(osg::DataType const& content) {
  std::string name = content.getName().str();
  if (name == "AttachmentSlot") name = "AttachmentPtr";
  if (!name.ends_with("Ptr")) return nullptr;
  return osg::FieldContainerFactory::the().findType(name.substr(0, name.size() - 3).c_str());
}

/// Drops what an owning field holds.
inline void letGo(osg::Field& field) {
  field.visitHandles([](osg::FieldContainerPtr const& handle) {
    handle.subRef();
    return osg::FieldContainerPtr();
  });
}

/// Has a list of its own note what this thread announces, while it lives.
struct Announced {
  Announced() { osg::WinThreadBase::setCurrentChangeList(&list); }
  ~Announced() { osg::WinThreadBase::setCurrentChangeList(_former); }
  Announced(Announced const&) = delete;
  Announced& operator=(Announced const&) = delete;

  /// All fields of the container that were announced.
  osg::BitVector maskOf(osg::FieldContainerPtr const& container) const {
    for (auto const& entry : list.getEntries())
      if (entry.container == container) return entry.mask;
    return {};
  }

  osg::ChangeList list;

 private:
  osg::ChangeList* const _former = osg::WinThreadBase::getCurrentChangeList();
};

/// A test that ends with as many living containers as it began with, when the members of its class are gone too.
class SceneTest : public testing::Test {
 protected:
  ~SceneTest() override {
    EXPECT_EQ(osg::FieldContainerFactory::the().getLivingCount(), _livingBefore)
        << "containers were leaked, the youngest is of type " << youngestType();
  }

 private:
  static char const* youngestType() {
    auto const& store = *osg::FieldContainerFactory::the().getFieldContainerStore();
    for (std::size_t id = store.size(); id-- > 0;) {
      if (store[id].isAlive()) return store[id]->getType().getCName();
    }
    return "none";
  }

  std::size_t const _livingBefore = osg::FieldContainerFactory::the().getLivingCount();
};

}  // namespace kntest
