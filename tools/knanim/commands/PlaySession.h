#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/import/ModelImport.h"
#include "knanim/playing/ClockedRun.h"
#include "knanim/playing/FrameRange.h"
#include "knanim/playing/Playback.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/support/Options.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace knanim {

/// What playing needs, once all of it is known to be possible, and what came of it.
struct PlaySession {
  PlayOptions options;
  ModelFile file;
  ImportedModel model;
  ModelContent content;
  FrameRange frames;
  std::optional<RunPlan> plan;       ///< for playing on a clock
  std::vector<std::size_t> chosen;   ///< curves to plot, or to look at in clips
  std::vector<std::string> written;  ///< what was written, for the report
  PlaybackRecord playback;
  RunRecord run;            ///< of the plan, if there is one
  ShapeCounts shapes = {};  ///< of the scene's caches
};

/// Reads the model, and checks all options. Prints warnings.
std::variant<PlaySession, Failure> preparePlay(PlayOptions const& options, Terminal terminal);

/// Writes an output as a whole, and notes it for the report with `what` it is.
std::optional<Failure> writeOutput(PlaySession& session, std::string const& path, std::string const& bytes,
                                   std::string const& what);

/// Draws the film strip and the single image that the options ask for.
std::optional<Failure> drawFilms(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                                 Terminal terminal);

/// Arranges the model's animations as clips, tells in `report` what becomes of a channel, and draws it when asked
/// to.
std::optional<Failure> showClips(PlaySession& session, AnimatedScene& scene, std::string& report,
                                 Terminal terminal);

void printPlayReport(PlaySession const& session, std::FILE* output);

}  // namespace knanim
