#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/playing/CadenceRecord.h"
#include "knanim/playing/FrameRange.h"
#include "knanim/playing/Playback.h"
#include "knanim/support/HostClock.h"
#include "knanim/support/Options.h"

#include <functional>
#include <optional>
#include <variant>

namespace knanim {

/// What is played on a clock, from where to where, and when it ends.
struct RunPlan {
  FrameRange frames;  ///< first and last are sorted, whichever way they are played
  bool loop = false;
  bool reverse = false;
  bool subframes = false;
  double rate = 60;  ///< passes per second; 0 without waiting
  std::optional<long long> rounds = 1;
  std::optional<double> seconds = std::nullopt;  ///< the run ends no later

  double startFrame() const { return static_cast<double>(reverse ? frames.last : frames.first); }
  double endFrame() const { return static_cast<double>(reverse ? frames.first : frames.last); }
  /// Frames of all rounds; without an end in frames infinite.
  double length() const;
  /// The longest it can take, in seconds.
  double duration() const;
};

/// Fails with `Usage` for what is wrong with any animation: a loop that is not two whole numbers, a rate or duration that
/// cannot be kept.
std::optional<Failure> checkClock(ClockOptions const& options);

/// What the options ask for, where `frames` is what is played without a loop. Fails as `checkClock` does, and
/// for frame numbers beyond 32 bits, and on a simulated clock for more than ten million passes.
std::variant<RunPlan, Failure> planRun(ClockOptions const& options, FrameRange const& frames);

enum class RunEnd : std::uint8_t { Complete, Interrupted, Refused };

struct RunRecord {
  RunEnd end = RunEnd::Complete;
  double seconds = 0;  ///< from the first pass to the end
  CadenceRecord cadence;
  std::uint64_t missedSlots = 0;
  double worstLateness = 0;  ///< in seconds
};

/// Told of every frame that is shown, with the time since the first pass; false ends the run as refused.
using FrameShown = std::function<bool(double frame, double seconds)>;

/// Plays the library's scene by its frame player, which is driven by a host loop on `clock`; `playback` keeps account of
/// what was evaluated. The last frame is shown whenever the run gets to its end, however slow the passes were. Main
/// thread, one run at a time; the player is stopped and the library's clock put back at the end.
RunRecord runOnClock(RunPlan const& plan, HostClock& clock, Playback& playback, FrameShown const& frameShown);

}  // namespace knanim
