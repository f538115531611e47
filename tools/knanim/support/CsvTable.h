#pragma once

#include "knanim/support/OutputFile.h"

#include <string>
#include <string_view>

namespace knanim {

/// Writes rows of comma-separated values. Fields that hold a comma, a quote or an end of line are put in quotes,
/// quotes within them are doubled. Numbers are as short as reading them back exactly allows. Rows end with a
/// single line feed.
class CsvTable {
 public:
  explicit CsvTable(OutputFile& output) : _output(output) {}

  CsvTable& add(std::string_view field);
  CsvTable& add(float value);
  CsvTable& add(double value);
  CsvTable& add(long long value);
  /// Ends the row. False when the output failed, now or earlier.
  bool endRow();

 private:
  void separate();

  OutputFile& _output;
  std::string _row;
  bool _isFirst = true;
};

}  // namespace knanim
