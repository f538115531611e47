#include "model/sceneext/ValuePair.h"

#include <algorithm>

namespace osg {
inline namespace knscene {

KN_CONTAINER_TYPE(ValuePairBase, ValuePair, "ValuePair")

namespace {

std::size_t placeOf(MField<std::string> const& keys, std::string const& key) {
  return static_cast<std::size_t>(std::find(keys.begin(), keys.end(), key) - keys.begin());
}

}  // namespace

void ValuePair::add(std::string const& key, std::string const& value) {
  std::size_t const place = placeOf(_fKeys, key);
  if (place == _fKeys.size()) _fKeys.push_back(key);
  // The lists are open to writing, so their lengths need not agree.
  _fValues.getValues().resize(std::max(_fValues.size(), _fKeys.size()));
  _fValues[place] = value;
}

bool ValuePair::findKey(std::string const& key) const { return placeOf(_fKeys, key) < _fKeys.size(); }

std::string ValuePair::getValue(std::string const& key) const {
  std::size_t const place = placeOf(_fKeys, key);
  return place < _fKeys.size() && place < _fValues.size() ? _fValues[place] : std::string();
}

}  // namespace knscene
}  // namespace osg
