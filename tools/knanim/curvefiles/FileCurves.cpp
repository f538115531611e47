#include "knanim/curvefiles/FileCurves.h"

#include "knanim/curvefiles/CurveReaders.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <new>

namespace knanim {
namespace {

using Reader = std::optional<std::string> (*)(std::string const&, ImportedModel const&, CurveReplacement&);

struct Format {
  std::string_view extension;
  Reader read;
};

/// Formats with readers of their own, and those whose files have more between the keys than their importer gives.
constexpr std::array kFormats = {Format{".lws", readLightWaveCurves},
                                 Format{".gltf", readGltfCurves},
                                 Format{".glb", readGltfCurves},
                                 Format{".dae", readColladaCurves},
                                 Format{".zae", nullptr},
                                 Format{".fbx", nullptr},
                                 Format{".3ds", nullptr},
                                 Format{".ase", nullptr},
                                 Format{".ask", nullptr},
                                 Format{".irr", nullptr},
                                 Format{".mot", nullptr}};

bool hasMotion(ImportedModel const& model) {
  return std::any_of(model.curves.begin(), model.curves.end(),
                     [](ImportedCurve const& curve) { return curve.keys.size() > 1; });
}

}  // namespace

void readFileCurves(std::string const& path, ImportedModel& model) {
  std::string const extension = lowerEnding(path);
  auto const format = std::find_if(kFormats.begin(), kFormats.end(),
                                   [&](Format const& each) { return each.extension == extension; });
  if (format == kFormats.end()) return;
  std::string const lost = "curves are straight lines between samples";
  if (format->read == nullptr) {
    if (hasMotion(model))
      model.warnings.push_back(lost + ": the importer drops the tangents of " + extension + " files");
    return;
  }
  CurveReplacement replacement(model);
  std::optional<std::string> failure;
  try {
    failure = format->read(path, model, replacement);
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const& exception) {
    failure = exception.what();
  }
  if (failure)
    model.warnings.push_back(lost + ": the curves of " + printable(path) + " cannot be read, " +
                             printable(*failure));
  else
    replacement.finish();
}

}  // namespace knanim
