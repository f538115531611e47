#pragma once

#include "model/fields/FieldContainerPtr.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <set>
#include <utility>
#include <vector>

/// A set of container handles in handle order, used like a `std::set` and converted from and to one. Nearly every
/// curve writes to one container: a set of one handle is 24 bytes and needs no memory of its own. Iterators are good
/// until the set changes.
class knContainerSet {
 public:
  using value_type = osg::FieldContainerPtr;
  using const_iterator = value_type const*;
  using iterator = const_iterator;

  knContainerSet() = default;
  knContainerSet(std::initializer_list<value_type> handles) { insert(handles.begin(), handles.end()); }
  knContainerSet(std::set<value_type> const& handles) { insert(handles.begin(), handles.end()); }
  knContainerSet(knContainerSet const& other) { *this = other; }
  knContainerSet(knContainerSet&&) noexcept = default;
  knContainerSet& operator=(knContainerSet const& other) {
    if (this == &other) return *this;
    _one = other._one;
    _many = other._many != nullptr ? std::make_unique<std::vector<value_type>>(*other._many) : nullptr;
    return *this;
  }
  knContainerSet& operator=(knContainerSet&&) noexcept = default;
  ~knContainerSet() = default;
  operator std::set<value_type>() const { return {begin(), end()}; }

  const_iterator begin() const { return _many != nullptr ? _many->data() : &_one; }
  const_iterator end() const { return begin() + size(); }
  std::size_t size() const { return _many != nullptr ? _many->size() : std::size_t{_one ? 1U : 0U}; }
  bool empty() const { return size() == 0; }

  const_iterator find(value_type const& handle) const { return std::find(begin(), end(), handle); }
  bool contains(value_type const& handle) const { return find(handle) != end(); }
  std::size_t count(value_type const& handle) const { return contains(handle) ? 1 : 0; }

  std::pair<const_iterator, bool> insert(value_type const& handle) {
    if (handle && empty() && _many == nullptr) {
      _one = handle;
      return {begin(), true};
    }
    const_iterator const place = std::lower_bound(begin(), end(), handle);
    auto const index = place - begin();
    if (place != end() && *place == handle) return {place, false};
    if (_many == nullptr) _many = std::make_unique<std::vector<value_type>>(begin(), end());
    _many->insert(_many->begin() + index, handle);
    return {begin() + index, true};
  }
  template <class Iterator>
  void insert(Iterator first, Iterator last) {
    for (; first != last; ++first) insert(*first);
  }
  std::size_t erase(value_type const& handle) {
    const_iterator const place = find(handle);
    if (place == end()) return 0;
    if (_many != nullptr) {
      _many->erase(_many->begin() + (place - begin()));
    } else {
      _one = nullptr;
    }
    return 1;
  }
  void clear() { *this = knContainerSet(); }

  friend bool operator==(knContainerSet const& a, knContainerSet const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  value_type _one;                                 ///< the only handle, null for none, until there is `_many`
  std::unique_ptr<std::vector<value_type>> _many;  ///< all handles, in order, once there were two
};
