#pragma once

#include "knanim/import/ImportedModel.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace knanim {

/// Whether the whole of `text` fits a pattern in which * stands for any characters and ? for one. Letters of the
/// Latin alphabet fit in either case.
bool fits(std::string_view pattern, std::string_view text);

/// The curves whose "node.channel.suffix" fits a pattern. A pattern that fits the whole of "node" or of
/// "node.channel" takes all curves below that.
struct ChosenChannels {
  std::vector<std::size_t> curves;     ///< indices in the order of the model, each once
  std::vector<std::string> unmatched;  ///< patterns that fit nothing
};
ChosenChannels chooseChannels(ImportedModel const& model, std::span<std::string const> patterns);

/// That no channel of a model fits a pattern, and which names of nodes and channels are near to it.
std::string noChannel(ImportedModel const& model, std::string const& pattern);

/// A few curves that tell most about an animation: of the nodes that turn most the component that turns most, and
/// the way of the node that moves most. Scales are taken when nothing else moves, and the first curves when nothing
/// moves at all.
std::vector<std::size_t> mostMovingChannels(ImportedModel const& model);

}  // namespace knanim
