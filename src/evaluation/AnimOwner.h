#pragma once

#include "model/materials/Material.h"
#include "model/sceneext/AnimCurve.h"

/// A node or material that animations hang on, sorted once by what decides where its curves write to. For use
/// within one gathering: it points at what the owner holds.
class AnimOwner {
 public:
  /// A null or dead handle, or another kind of container, gives an owner whose curves write to nothing.
  explicit AnimOwner(osg::FieldContainerPtr const& owner);

  /// Whether findAim merely reads fields of the scene, so that it can run on any thread: an owner with a core that
  /// takes its channels itself. Others ask operations of the host's classes.
  bool isPlain() const { return _kind == Kind::PlainCore || _kind == Kind::NoCore; }

  /// Its core, null where it has none or is no node.
  osg::NodeCorePtr const& getCore() const { return _core; }

  /// The container that a curve of this owner writes to; `aim` is left alone where there is none to be found. What
  /// must hear of it is appended to `parents`.
  void findAim(osg::AnimCurve const& curve, osg::FieldContainerPtr& aim,
               std::vector<osg::FieldContainerPtr>& parents) const;

 private:
  enum class Kind : osg::UInt8 {
    Nothing,
    NoCore,
    PlainCore,
    Geometry,
    ClipPlane,
    MaterialGroup,
    Camera,
    Light,
    Material
  };
  static Kind kindOf(osg::NodeCorePtr const& core);

  void findAimOfMaterial(osg::AnimCurve const& curve, osg::FieldContainerPtr& aim,
                         std::vector<osg::FieldContainerPtr>& parents) const;
  void findAimOfCamera(osg::AnimCurve const& curve, osg::FieldContainerPtr& aim,
                       std::vector<osg::FieldContainerPtr>& parents) const;
  void findAimOfLight(osg::AnimCurve const& curve, osg::FieldContainerPtr& aim,
                      std::vector<osg::FieldContainerPtr>& parents) const;

  Kind _kind = Kind::Nothing;
  osg::FieldContainerPtr _owner;
  osg::NodeCorePtr _core;
  mutable std::vector<osg::ChannelDescription> _descriptions;  ///< of a material, once it was asked
  mutable bool _hasDescriptions = false;
};
