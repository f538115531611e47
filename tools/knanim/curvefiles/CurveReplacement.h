#pragma once

#include "knanim/curvefiles/RotationFitting.h"

#include <set>
#include <string>

namespace knanim {

/// Curves that were read from a file directly, in place of those that the importer of a model made of them.
class CurveReplacement {
 public:
  explicit CurveReplacement(ImportedModel& model) : _model(model) {}

  /// A curve of a translation or scale, or of an angle in degrees.
  void add(std::size_t node, ChannelKind kind, std::uint8_t component, SourceCurve const& curve);
  void addRotation(std::size_t node, SourceRotation const& rotation, Outside before = Outside::Constant,
                   Outside after = Outside::Constant);
  void add(std::size_t node, ChannelKind kind, std::uint8_t component, SourceFunction const& function);
  /// Only what is added moves the node, whatever the importer made.
  void takeNode(std::size_t node) { _nodes.insert(node); }
  /// Something to be told of a channel, or of the file.
  void warn(std::size_t node, ChannelKind kind, std::string const& text);
  void warn(std::string const& text) { _warnings.push_back(text); }

  /// Puts the curves into the model, all of a channel at once, and tells how near they are where they are not exact.
  void finish();

 private:
  void addFitted(std::size_t node, ChannelKind kind, std::uint8_t component, FittedCurve fitted);
  void addForm(std::size_t node, ChannelKind kind, std::uint8_t component, std::vector<Key> keys,
               CurveForm form);
  std::string channelOf(std::size_t node, ChannelKind kind) const;

  struct Worst {
    std::size_t channels = 0;
    double deviation = 0;
    std::string name;
  };

  ImportedModel& _model;
  std::vector<ImportedCurve> _curves;
  std::set<std::size_t> _nodes;
  std::vector<std::string> _warnings;
  Worst _rotations;
};

}  // namespace knanim
