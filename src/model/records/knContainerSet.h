#pragma once

#include "model/fields/FieldContainerPtr.h"

#include <algorithm>
#include <compare>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

/// A set of container handles in handle order, used like a `std::set` and converted from and to one. Nearly every
/// curve writes to one container: a set of one handle is 24 bytes and needs no memory of its own. Iterators are good
/// until the set changes.
///
/// Insertion, removal and search take logarithmic time, and move at most a few hundred handles; handles that come in
/// order are appended.
class knContainerSet {
 public:
  /// The types of a std::set.
  using value_type = osg::FieldContainerPtr;
  using key_type = value_type;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using reference = value_type const&;
  using const_reference = value_type const&;

 private:
  using Chunk = std::vector<value_type>;

 public:
  /// Walks over the handles in order. A set is not changed through its iterators.
  class const_iterator {
   public:
    /// The types of an iterator.
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = osg::FieldContainerPtr;
    using difference_type = std::ptrdiff_t;
    using pointer = value_type const*;
    using reference = value_type const&;

    /// The operations of a bidirectional iterator.
    const_iterator() = default;
    reference operator*() const { return *_at; }
    pointer operator->() const { return _at; }
    const_iterator& operator++() {
      ++_at;
      if (_chunk != nullptr && _at == endOf(*_chunk)) _at = (++_chunk)->data();
      return *this;
    }
    const_iterator& operator--() {
      if (_chunk != nullptr && _at == _chunk->data()) _at = endOf(*--_chunk);
      --_at;
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator const before = *this;
      ++*this;
      return before;
    }
    const_iterator operator--(int) {
      const_iterator const before = *this;
      --*this;
      return before;
    }
    friend bool operator==(const_iterator const& a, const_iterator const& b) { return a._at == b._at; }

   private:
    friend class knContainerSet;
    explicit const_iterator(pointer at, Chunk const* chunk = nullptr) : _at(at), _chunk(chunk) {}
    static pointer endOf(Chunk const& chunk) { return chunk.data() + chunk.size(); }

    pointer _at = nullptr;
    Chunk const* _chunk = nullptr;  ///< null while the handles stand in one piece
  };
  /// The types of a std::set.
  using iterator = const_iterator;
  using reverse_iterator = std::reverse_iterator<const_iterator>;
  using const_reverse_iterator = reverse_iterator;

  /// Made, copied, moved and converted as a std::set.
  knContainerSet() = default;
  knContainerSet(std::initializer_list<value_type> handles) { insert(handles); }
  knContainerSet(std::set<value_type> const& handles) { insert(handles.begin(), handles.end()); }
  template <std::input_iterator Iterator>
  knContainerSet(Iterator first, Iterator last) {
    insert(first, last);
  }
  knContainerSet(knContainerSet const& other) { *this = other; }
  knContainerSet(knContainerSet&& other) noexcept { swap(other); }
  knContainerSet& operator=(knContainerSet const& other) {
    if (this == &other) return *this;
    _one = other._one;
    Many* const copy = other._many != nullptr ? new Many(*other._many) : nullptr;
    delete std::exchange(_many, copy);
    return *this;
  }
  knContainerSet& operator=(knContainerSet&& other) noexcept {
    knContainerSet former;
    former.swap(*this);
    swap(other);
    return *this;
  }
  ~knContainerSet() { delete _many; }
  operator std::set<value_type>() const { return {begin(), end()}; }

  /// As in std::set.
  const_iterator begin() const {
    if (_many == nullptr) return const_iterator(&_one);
    return placeIn(_many->isSplit() ? _many->chunks.data() : nullptr, 0);
  }
  const_iterator end() const {
    if (_many == nullptr) return const_iterator(&_one + (_one ? 1 : 0));
    if (_many->isSplit()) return placeIn(&_many->chunks.back(), 0);
    return placeIn(nullptr, _many->flat.size());
  }
  const_iterator cbegin() const { return begin(); }
  const_iterator cend() const { return end(); }
  reverse_iterator rbegin() const { return reverse_iterator(end()); }
  reverse_iterator rend() const { return reverse_iterator(begin()); }
  reverse_iterator crbegin() const { return rbegin(); }
  reverse_iterator crend() const { return rend(); }
  std::size_t size() const { return _many != nullptr ? _many->size : std::size_t{_one ? 1U : 0U}; }
  bool empty() const { return size() == 0; }

  /// As in std::set.
  const_iterator lower_bound(value_type const& handle) const {
    if (_many == nullptr) return const_iterator(&_one + (_one && _one < handle ? 1 : 0));
    auto const [chunk, index] = findPlace(handle);
    if (chunk != nullptr && index == chunk->size()) return placeIn(chunk + 1, 0);
    return placeIn(chunk, index);
  }
  const_iterator upper_bound(value_type const& handle) const {
    const_iterator const place = lower_bound(handle);
    return place != end() && *place == handle ? std::next(place) : place;
  }
  std::pair<const_iterator, const_iterator> equal_range(value_type const& handle) const {
    return {lower_bound(handle), upper_bound(handle)};
  }
  const_iterator find(value_type const& handle) const {
    const_iterator const place = lower_bound(handle);
    return place != end() && *place == handle ? place : end();
  }
  bool contains(value_type const& handle) const { return find(handle) != end(); }
  std::size_t count(value_type const& handle) const { return contains(handle) ? 1 : 0; }

  /// As in std::set.
  std::pair<const_iterator, bool> insert(value_type const& handle) {
    if (_many != nullptr || _one || !handle) return insertAmongMany(handle);
    _one = handle;
    return {const_iterator(&_one), true};
  }
  const_iterator insert(const_iterator, value_type const& handle) { return insert(handle).first; }
  template <std::input_iterator Iterator>
  void insert(Iterator first, Iterator last) {
    for (; first != last; ++first) insert(*first);
  }
  void insert(std::initializer_list<value_type> handles) { insert(handles.begin(), handles.end()); }
  template <class... Arguments>
  std::pair<const_iterator, bool> emplace(Arguments&&... arguments) {
    return insert(value_type(std::forward<Arguments>(arguments)...));
  }
  template <class... Arguments>
  const_iterator emplace_hint(const_iterator, Arguments&&... arguments) {
    return emplace(std::forward<Arguments>(arguments)...).first;
  }

  /// The place must hold a handle. Returns the one that follows it.
  const_iterator erase(const_iterator place) {
    if (_many == nullptr) {
      _one = nullptr;
      return end();
    }
    bool const isSplit = place._chunk != nullptr;
    auto const number = isSplit ? static_cast<std::size_t>(place._chunk - _many->chunks.data()) : 0;
    Chunk& chunk = isSplit ? _many->chunks[number] : _many->flat;
    auto const index = static_cast<std::size_t>(place._at - chunk.data());
    chunk.erase(chunk.begin() + static_cast<std::ptrdiff_t>(index));
    --_many->size;
    if (!isSplit) return placeIn(nullptr, index);
    bool const isAtEnd = index == chunk.size();
    if (!chunk.empty()) return placeIn(&chunk + (isAtEnd ? 1 : 0), isAtEnd ? 0 : index);
    _many->chunks.erase(_many->chunks.begin() + static_cast<std::ptrdiff_t>(number));
    if (_many->chunks.size() == 1) _many->chunks.clear();  // only the end is left
    return _many->isSplit() ? placeIn(&_many->chunks[number], 0) : end();
  }
  /// As in std::set.
  const_iterator erase(const_iterator first, const_iterator last) {
    auto count = std::distance(first, last);
    while (count-- > 0) first = erase(first);
    return first;
  }
  std::size_t erase(value_type handle) {
    const_iterator const place = find(handle);
    if (place == end()) return 0;
    erase(place);
    return 1;
  }
  template <class Predicate>
  friend std::size_t erase_if(knContainerSet& set, Predicate predicate) {
    std::size_t const before = set.size();
    for (const_iterator place = set.begin(); place != set.end();) {
      place = predicate(*place) ? set.erase(place) : std::next(place);
    }
    return before - set.size();
  }
  void clear() { *this = knContainerSet(); }
  void swap(knContainerSet& other) noexcept {
    std::swap(_one, other._one);
    std::swap(_many, other._many);
  }
  friend void swap(knContainerSet& a, knContainerSet& b) noexcept { a.swap(b); }

  /// Compared handle by handle, in order.
  friend bool operator==(knContainerSet const& a, knContainerSet const& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
  }
  friend std::strong_ordering operator<=>(knContainerSet const& a, knContainerSet const& b) {
    return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  static constexpr std::size_t MaxChunk = 512;

  /// All handles in order: in `flat` while they are few, and else in chunks, none of which is empty but the last,
  /// which stands for the end and owns no memory.
  struct Many {
    bool isSplit() const { return !chunks.empty(); }

    Chunk flat;
    std::vector<Chunk> chunks;
    std::size_t size = 0;
  };

  const_iterator placeIn(Chunk const* chunk, std::size_t index) const {
    return const_iterator((chunk != nullptr ? *chunk : _many->flat).data() + index, chunk);
  }

  /// Where the handle stands or belongs: the chunk, null for `flat`, and the place in it, which may be its end.
  std::pair<Chunk const*, std::size_t> findPlace(value_type const& handle) const {
    Chunk const* chunk = nullptr;
    if (_many->isSplit()) {
      auto const next =
          std::upper_bound(_many->chunks.begin() + 1, _many->chunks.end() - 1, handle,
                           [](value_type const& wanted, Chunk const& each) { return wanted < each.front(); });
      chunk = &*std::prev(next);
    }
    Chunk const& target = chunk != nullptr ? *chunk : _many->flat;
    if (!target.empty() && target.back() < handle) return {chunk, target.size()};
    auto const place = std::lower_bound(target.begin(), target.end(), handle);
    return {chunk, static_cast<std::size_t>(place - target.begin())};
  }

  /// Apart from `insert`, so that the set of one handle stays small code wherever it is filled.
  [[gnu::noinline]] std::pair<const_iterator, bool> insertAmongMany(value_type handle) {
    if (_many == nullptr) {
      if (_one && handle == _one) return {begin(), false};
      _many = new Many;
      if (_one) _many->flat.push_back(_one);
      _many->size = _many->flat.size();
    }
    auto [chunk, index] = findPlace(handle);
    Chunk& target = chunk != nullptr ? _many->chunks[static_cast<std::size_t>(chunk - _many->chunks.data())]
                                     : _many->flat;
    if (index < target.size() && target[index] == handle) return {placeIn(chunk, index), false};
    target.insert(target.begin() + static_cast<std::ptrdiff_t>(index), handle);
    ++_many->size;
    if (target.size() <= MaxChunk) return {placeIn(chunk, index), true};
    split(chunk);
    return {lower_bound(handle), true};
  }

  /// Parts a full chunk in two. What grows at its end is left nearly full.
  void split(Chunk const* chunk) {
    if (chunk == nullptr) {
      _many->chunks.resize(2);
      _many->chunks[0].swap(_many->flat);
      chunk = _many->chunks.data();
    }
    auto const number = chunk - _many->chunks.data();
    bool const isLast = number + 2 == std::ssize(_many->chunks);
    Chunk& low = _many->chunks[static_cast<std::size_t>(number)];
    auto const middle = low.begin() + static_cast<std::ptrdiff_t>(isLast ? MaxChunk * 7 / 8 : MaxChunk / 2);
    Chunk high;
    high.reserve(MaxChunk + 1);
    high.assign(middle, low.end());
    low.erase(middle, low.end());
    _many->chunks.insert(_many->chunks.begin() + number + 1, std::move(high));
  }

  value_type _one;        ///< the only handle, null for none, until there is `_many`
  Many* _many = nullptr;  ///< all handles, once there were two; a bare pointer, for light headers
};
