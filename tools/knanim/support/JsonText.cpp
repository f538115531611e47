#include "knanim/support/JsonText.h"

#include "knanim/support/Text.h"

#include <cmath>

namespace knanim {

JsonText& JsonText::add(std::string_view text) {
  std::string const shown = printable(text);
  _writer.String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
  return *this;
}

JsonText& JsonText::add(double number) { return addNumber(shortest(number), std::isfinite(number)); }
JsonText& JsonText::add(float number) { return addNumber(shortest(number), std::isfinite(number)); }

JsonText& JsonText::addNumber(std::string const& digits, bool isFinite) {
  if (isFinite)
    _writer.RawValue(digits.data(), digits.size(), rapidjson::kNumberType);
  else
    _writer.Null();
  return *this;
}

JsonText& JsonText::add(char const* name, std::vector<std::string> const& texts) {
  this->name(name).beginList();
  for (std::string const& text : texts) add(text);
  return endList();
}

}  // namespace knanim
