#pragma once

#include "knanim/import/ImportedModel.h"

namespace knanim {

/// Reads the curves of the model's animation once more from the file itself, where the importer of its format turns them
/// into samples and one of the readers here does better: glTF, Collada and LightWave scenes. They take the place of the
/// model's curves with all they have, keys, tangents and what is outside. Where that does not succeed, and for other
/// formats whose importer drops what is between the keys, the model gets a warning. Throws `std::bad_alloc`.
void readFileCurves(std::string const& path, ImportedModel& model);

}  // namespace knanim
