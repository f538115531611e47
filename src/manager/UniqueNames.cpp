#include "manager/UniqueNames.h"

#include "knAnimManager.h"
#include "model/scenegraph/NameRegister.h"

#include <string_view>
#include <unordered_set>

std::string UniqueNames::make(std::string const& name) {
  auto const& callback = knAnimManager::_getUniqueNameCB;
  if (!callback) return name;
  if (callback.target<NumberedName>() != nullptr) return osg::NameRegister::the().findFree(name);
  _made.push_back(askHost(name));
  return _made.back();
}

std::string UniqueNames::askHost(std::string const& nameArgument) {
  // The host may change its callback, and destroy what the name belongs to.
  auto const callback = knAnimManager::_getUniqueNameCB;
  std::string const name = nameArgument;
  // It may also change the list.
  if (_names.empty() || _names.size() != _namesLeft) {
    _names = osg::NameRegister::the().getNames();
    _names.insert(_names.end(), _made.begin(), _made.end());
  }
  std::size_t const before = _names.size();
  std::string result = callback(name, _names);
  _names.push_back(result);
  _namesLeft = before + 1;
  return result;
}

std::string NumberedName::operator()(std::string const& name, std::vector<std::string>& names) const {
  std::unordered_set<std::string_view> const taken(names.begin(), names.end());
  if (!taken.contains(name)) return name;
  for (unsigned int counter = 2;; ++counter) {
    std::string candidate = name + '_' + std::to_string(counter);
    if (!taken.contains(candidate)) return candidate;
  }
}
