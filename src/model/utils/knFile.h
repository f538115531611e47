#pragma once

#include "model/utils/Export.h"

#include <string>

/// File names, taken apart as text; no file is looked at.
class KNSCENE_API knFile {
 public:
  knFile() = delete;

  /// What follows the last dot of the last path component, its case as it is: "gz" for "dir/x.tar.gz". Empty
  /// when that component has no dot, ends with its only one or merely begins with it ("a.b/c", "name.",
  /// ".hidden").
  static std::string getExtension(std::string const& fileName);
};
