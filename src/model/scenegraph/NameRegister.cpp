#include "model/scenegraph/NameRegister.h"

#include "model/scenegraph/Node.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace osg {
inline namespace knscene {

NameRegister& NameRegister::the() {
  static auto* const names = new NameRegister;
  return *names;
}

void NameRegister::update(Name& name, bool isWanted) {
  if (name._placeInRegister != Name::NotRegistered) {
    Entry& entry = _entries[name._placeInRegister];
    bool const isSame = isWanted && entry.counted->first == std::as_const(name).getName();
    if (isSame) return;
    discount(entry);
    if (!isWanted) {
      entry = _entries.back();
      entry.name->_placeInRegister = std::exchange(name._placeInRegister, Name::NotRegistered);
      if (entry.name == &name) name._placeInRegister = Name::NotRegistered;
      _entries.pop_back();
      return;
    }
    count(entry);
    return;
  }
  if (!isWanted) return;
  name._placeInRegister = _entries.size();
  _entries.push_back({&name, nullptr});
  count(_entries.back());
}

void NameRegister::count(Entry& entry) {
  auto const [place, isNew] = _counts.try_emplace(std::as_const(*entry.name).getName(), 0);
  if (!isNew && place->second == 0) --_unused;
  entry.counted = &*place;
  ++entry.counted->second;
}

void NameRegister::discount(Entry const& entry) {
  if (--entry.counted->second > 0) return;
  if (!_numbers.empty()) giveBack(entry.counted->first);
  // What is made again and again, as flights are, gets the same names each time: they stay for a while.
  if (++_unused <= _counts.size() / 2 + MostUnused) return;
  std::erase_if(_counts, [](auto const& one) { return one.second == 0; });
  _unused = 0;
}

bool NameRegister::isTaken(std::string const& text) const {
  auto const place = _counts.find(text);
  return place != _counts.end() && place->second > 0;
}

/// Nobody has this name any more: it may be a number behind another one.
void NameRegister::giveBack(std::string const& text) {
  _numbers.erase(text);
  std::size_t const line = text.rfind('_');
  if (line == std::string::npos) return;
  auto const numbers = _numbers.find(text.substr(0, line));
  if (numbers == _numbers.end()) return;
  unsigned int number = 0;
  auto const [end, error] = std::from_chars(text.data() + line + 1, text.data() + text.size(), number);
  bool const isNumber = error == std::errc() && end == text.data() + text.size() && text[line + 1] != '0';
  if (isNumber && number >= 2 && number < numbers->second.next) numbers->second.free.insert(number);
}

void NameRegister::handOut(Name& name) {
  if (std::exchange(name._isHandedOut, true)) return;
  if (_handedOut.size() >= _roomForHandedOut) {
    dropSettled();
    // A name that was set and handed out again stands here twice.
    std::sort(_handedOut.begin(), _handedOut.end());
    _handedOut.erase(std::unique(_handedOut.begin(), _handedOut.end()), _handedOut.end());
    _roomForHandedOut = 2 * _handedOut.size() + 64;
  }
  _handedOut.push_back(NamePtr(&name));
}

void NameRegister::dropSettled() {
  std::erase_if(_handedOut, [](NamePtr const& name) { return !name.isAlive() || !name->_isHandedOut; });
}

void NameRegister::readAgain() {
  dropSettled();
  for (NamePtr const& name : _handedOut) {
    if (name->_placeInRegister != Name::NotRegistered) update(*name, true);
  }
}

bool NameRegister::contains(std::string const& text) {
  readAgain();
  return isTaken(text);
}

std::string NameRegister::findFree(std::string const& name) {
  readAgain();
  if (!isTaken(name)) return name;
  Numbers& numbers = _numbers[name];
  auto const numbered = [&](unsigned int number) { return name + '_' + std::to_string(number); };
  while (!numbers.free.empty()) {
    std::string candidate = numbered(*numbers.free.begin());
    if (!isTaken(candidate)) return candidate;
    numbers.free.erase(numbers.free.begin());
  }
  std::string candidate = numbered(numbers.next);
  while (isTaken(candidate)) candidate = numbered(++numbers.next);
  return candidate;
}

std::vector<std::string> NameRegister::getNames() {
  readAgain();
  std::vector<std::pair<UInt32, std::string const*>> named;
  for (Entry const& entry : _entries) {
    for (AttachmentContainerPtr const& parent : entry.name->getParents()) {
      if (entry.name->isNameOf(parent)) named.emplace_back(parent.getContainerId(), &entry.counted->first);
    }
  }
  std::ranges::sort(named);
  // A name can hang on its node at several bindings.
  named.erase(std::unique(named.begin(), named.end()), named.end());
  std::vector<std::string> names;
  names.reserve(named.size());
  for (auto const& [id, name] : named) names.push_back(*name);
  return names;
}

}  // namespace knscene
}  // namespace osg
