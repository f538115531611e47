#pragma once

#include "knanim/support/Options.h"
#include "knanim/support/ProgressBar.h"
#include "model/scenefiles/SceneFileProgress.h"

#include <optional>
#include <string>

namespace knanim {

/// While one lives, the library's reading and writing of scene files draws a progress bar for each of its steps, and is ended
/// by an interruption.
class FileProgress {
 public:
  explicit FileProgress(std::FILE* terminal = stderr);

 private:
  bool show(std::string const& step, std::uint64_t done, std::uint64_t total);

  std::FILE* _terminal;
  std::string _step;
  std::optional<ProgressBar> _bar;
  osg::SceneFileProgress _progress;
};

}  // namespace knanim
