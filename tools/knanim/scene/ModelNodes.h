#pragma once

#include "knAnimManager.h"
#include "knanim/import/ImportedModel.h"
#include "model/scenegraph/Transform3D.h"

#include <span>
#include <vector>

namespace knanim {

/// A curve in the scene, and what it moves.
struct SceneCurve {
  osg::AnimNodePtr node;
  osg::AnimCurvePtr curve;
  osg::Transform3DPtr target;
  ChannelKind kind = ChannelKind::Translation;
  osg::UInt32 component = 0;

  /// The value that the target's field holds now.
  float fieldValue() const;
  /// Puts a value into the target's field, and announces it.
  void setFieldValue(float value) const;
};

/// A curve of a form below a node that hangs on nothing.
osg::AnimNodePtr makeCurveNode(CurveForm const& form);
/// A curve of a model, the same way.
osg::AnimNodePtr makeCurveNode(ImportedCurve const& source, Tangents tangents);

/// Nodes with transforms for the nodes of a model, in their order, the first ones below `parent`; null for those that are
/// not to be made. All are made where `isMade` is empty.
std::vector<osg::NodePtr> makeNodes(ImportedModel const& model, osg::NodePtr const& parent,
                                    std::vector<bool> const& isMade = {});

/// Hangs a block with the animation's name and curves on each animated node; blocks that are not active are switched
/// off. In the order of the model's curves; those of a null node are empty. Inactive ones of nodes outside the tree are left out: such nodes belong to
/// the animation that they were made for.
std::vector<SceneCurve> hangCurves(ImportedModel const& model, std::span<osg::NodePtr const> nodes,
                                   bool active);

}  // namespace knanim
