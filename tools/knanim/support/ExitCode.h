#pragma once

namespace knanim {

/// What the program returns to its caller.
enum class ExitCode : int {
  Ok = 0,
  Failed = 1,            ///< anything that has no code of its own, an interruption among it
  Usage = 2,             ///< the command line cannot be carried out as it stands
  FileUnreadable = 3,    ///< the model is missing, or may not be read
  NotAModel = 4,         ///< the file is no model that the importers understand
  NoAnimation = 5,       ///< the model has nothing that can be played
  OutputUnwritable = 6,  ///< an output, standard output among them, cannot be written whole
};

}  // namespace knanim
