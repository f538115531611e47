#include "model/fields/FieldDataTraits.h"

#include <array>
#include <cassert>

namespace osg {
inline namespace knscene {
namespace detail {

void putNumbers(std::span<Real32 const> values, std::string& text) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) text += ' ';
    FieldDataTraits<Real32>::putToString(values[i], text);
  }
}

bool getNumbers(std::span<Real32> values, std::string_view text) {
  std::array<Real32, 16> parsed{};
  assert(values.size() <= parsed.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t,"), text.size()));
    std::size_t const end = std::min(text.find_first_of(" \t,"), text.size());
    if (!FieldDataTraits<Real32>::getFromString(parsed[i], text.substr(0, end))) return false;
    text.remove_prefix(end);
  }
  if (text.find_first_not_of(" \t") != std::string_view::npos) return false;
  std::copy_n(parsed.begin(), values.size(), values.begin());
  return true;
}

}  // namespace detail
}  // namespace knscene
}  // namespace osg
