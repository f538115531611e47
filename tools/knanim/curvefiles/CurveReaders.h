#pragma once

#include "knanim/curvefiles/CurveReplacement.h"

#include <optional>

namespace knanim {

// Each reads the curves of the model's animation from a file. The result is why that is not possible, if so.

std::optional<std::string> readLightWaveCurves(std::string const& path, ImportedModel const& model,
                                               CurveReplacement& replacement);

std::optional<std::string> readGltfCurves(std::string const& path, ImportedModel const& model,
                                          CurveReplacement& replacement);

std::optional<std::string> readColladaCurves(std::string const& path, ImportedModel const& model,
                                             CurveReplacement& replacement);

}  // namespace knanim
