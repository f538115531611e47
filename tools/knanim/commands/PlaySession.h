#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/import/ModelContent.h"
#include "knanim/import/ModelImport.h"
#include "knanim/pictures/FilmRoll.h"
#include "knanim/playing/ClockedRun.h"
#include "knanim/playing/FrameRange.h"
#include "knanim/playing/Playback.h"
#include "knanim/scene/AnimatedScene.h"
#include "knanim/scene/ClipArrangement.h"
#include "knanim/support/Console.h"

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
  std::optional<RunPlan> plan;            ///< for playing on a clock
  std::vector<std::size_t> chosen = {};   ///< curves to plot, or to look at in clips
  std::vector<std::size_t> columns = {};  ///< curves in the table
  FilmTargets film = {};                  ///< for all frames
  std::vector<WrittenFile> written = {};  ///< what was written, for the report
  PlaybackRecord playback = {};
  RunRecord run = {};       ///< of the plan, if there is one
  ShapeCounts shapes = {};  ///< of the scene's caches
};

/// Whether an image is all that is asked for: that takes no animation.
bool wantsOnlyImage(PlayOptions const& options);

/// Reads the model, and checks all options. Prints warnings.
std::variant<PlaySession, Failure> preparePlay(PlayOptions const& options, Terminal terminal);

/// Writes an output as a whole, and notes it for the report with `what` it is.
std::optional<Failure> writeOutput(PlaySession& session, std::string const& path, std::string const& bytes,
                                   std::string const& what);

/// Draws the film strip, the single image and the film that the options ask for.
std::optional<Failure> drawFilms(PlaySession& session, AnimatedScene const& scene, Playback& playback,
                                 Terminal terminal);

/// The clips of a model on a timeline, and what became of a channel.
struct ClipReport {
  std::vector<PlacedClip> clips;
  std::string channel;
  std::vector<ClipSample> samples;
};

/// Arranges the model's animations as clips, reports what becomes of a channel, and draws it when asked to.
std::optional<Failure> showClips(PlaySession& session, AnimatedScene& scene, ClipReport& report,
                                 Terminal terminal);

/// The nodes that the played animation moves.
std::size_t countAnimatedNodes(ImportedModel const& model);

/// Prints what was played. `clips` is null where none were arranged.
void printPlayReport(PlaySession const& session, ClipReport const* clips, std::FILE* output);
void printPlayJson(PlaySession const& session, ClipReport const* clips, std::FILE* output);
void printClipReport(ClipReport const& report, std::FILE* output);

}  // namespace knanim
