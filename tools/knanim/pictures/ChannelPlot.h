#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/pictures/PlotPicture.h"
#include "knanim/playing/FrameRange.h"

#include <span>
#include <vector>

namespace knanim {

class AnimatedScene;

/// A picture of some curves of a model over a range of frames, evaluated by the library at the frames and at the
/// keys. Few curves stand in one panel for each kind of channel; many stand in one panel for each node and kind.
/// `omitted`, when given, gets the number of curves for which there was no room.
PlotPicture plotChannels(ImportedModel const& model, AnimatedScene const& scene,
                         std::span<std::size_t const> curves, FrameRange const& frames,
                         std::string const& title, std::size_t* omitted = nullptr);

}  // namespace knanim
