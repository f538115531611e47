#include "manager/UniqueNames.h"

#include "knAnimManager.h"
#include "model/fields/FieldContainerFactory.h"

namespace {

/// The first free name: `name`, or the name with a number behind it, from `counter` on, which is moved past it.
template <class IsTaken>
std::string firstFree(std::string const& name, unsigned int& counter, IsTaken isTaken) {
  if (!isTaken(name)) return name;
  std::string candidate;
  do {
    candidate = name + '_' + std::to_string(counter++);
  } while (isTaken(candidate));
  return candidate;
}

std::vector<std::string> namesOfAnimations() {
  std::vector<std::string> names;
  for (osg::FieldContainerPtr const& container :
       *osg::FieldContainerFactory::the().getFieldContainerStore()) {
    if (!container.isAlive() || osg::dcastTo<osg::AnimNode>(container) == nullptr) continue;
    char const* const name = osg::NodeUtils::getName(osg::dcast<osg::NodePtr>(container));
    if (name != nullptr) names.emplace_back(name);
  }
  return names;
}

}  // namespace

std::string UniqueNames::make(std::string const& name) {
  auto const& callback = knAnimManager::_getUniqueNameCB;
  if (!callback) return name;
  _made.push_back(callback.target<NumberedName>() != nullptr ? number(name) : askHost(name));
  return _made.back();
}

std::string UniqueNames::number(std::string const& name) {
  if (_taken.empty()) {
    for (std::string& one : namesOfAnimations()) _taken.insert(std::move(one));
    _taken.insert(_made.begin(), _made.end());
  }
  unsigned int& counter = _counters.try_emplace(name, 2).first->second;
  std::string result = firstFree(name, counter, [&](std::string const& one) { return _taken.contains(one); });
  _taken.insert(result);
  return result;
}

std::string UniqueNames::askHost(std::string const& nameArgument) {
  // The host may change its callback, and destroy what the name belongs to.
  auto const callback = knAnimManager::_getUniqueNameCB;
  std::string const name = nameArgument;
  // It may also change the list.
  if (_names.empty() || _names.size() != _namesLeft) {
    _names = namesOfAnimations();
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
  unsigned int counter = 2;
  return firstFree(name, counter, [&](std::string_view one) { return taken.contains(one); });
}
