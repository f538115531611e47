#include "knanim/support/CsvTable.h"

#include "knanim/support/Text.h"

namespace knanim {

void CsvTable::separate() {
  if (!_isFirst) _row += ',';
  _isFirst = false;
}

CsvTable& CsvTable::add(std::string_view field) {
  separate();
  if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
    _row += field;
    return *this;
  }
  _row += '"';
  for (char const character : field) {
    if (character == '"') _row += '"';
    _row += character;
  }
  _row += '"';
  return *this;
}

CsvTable& CsvTable::add(float value) {
  separate();
  _row += shortest(value);
  return *this;
}

CsvTable& CsvTable::add(double value) {
  separate();
  _row += shortest(value);
  return *this;
}

CsvTable& CsvTable::add(long long value) {
  separate();
  _row += std::to_string(value);
  return *this;
}

bool CsvTable::endRow() {
  _row += '\n';
  bool const written = _output.write(_row);
  _row.clear();
  _isFirst = true;
  return written;
}

}  // namespace knanim
