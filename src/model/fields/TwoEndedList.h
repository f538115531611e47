#pragma once

#include "model/fields/FieldContainerPtr.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <initializer_list>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

namespace osg {
inline namespace knscene {
namespace detail {

/// Runs `close(list)` while no other thread is in here.
KNSCENE_API void closeGapsAlone(void (*close)(void*), void* list);

}  // namespace detail

/// A list that is contiguous in memory, like std::vector, and grows and shrinks at both ends in constant time. An
/// insertion moves the shorter side.
///
/// A list of handles can also drop one from its middle in constant time: that leaves a gap, and the next access closes
/// all gaps. Only code that asks for places sees them. Reading is safe from any thread while nobody writes.
template <class T>
class TwoEndedList {
 public:
  /// The types of a std::vector.
  using value_type = T;
  using reference = T&;
  using const_reference = T const&;
  using iterator = T*;
  using const_iterator = T const*;
  using reverse_iterator = std::reverse_iterator<iterator>;
  using const_reverse_iterator = std::reverse_iterator<const_iterator>;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;

  /// Made, copied, moved and converted as a std::vector.
  TwoEndedList() = default;
  TwoEndedList(std::initializer_list<T> values) { append(values.begin(), values.end()); }
  TwoEndedList(std::vector<T> const& values) { append(values.begin(), values.end()); }
  TwoEndedList(TwoEndedList const& other) { append(other.begin(), other.end()); }
  TwoEndedList(TwoEndedList&& other) noexcept { swap(other); }
  TwoEndedList& operator=(TwoEndedList other) noexcept {
    swap(other);
    return *this;
  }
  ~TwoEndedList() { release(); }
  operator std::vector<T>() const { return {begin(), end()}; }

  /// Exchanges the values and their memory.
  void swap(TwoEndedList& other) noexcept {
    std::swap(_first, other._first);
    std::swap(_size, other._size);
    other._places.store(_places.exchange(other.getPlaceCount(), std::memory_order_relaxed),
                        std::memory_order_relaxed);
    std::swap(_before, other._before);
    std::swap(_after, other._after);
  }

  /// As in std::vector.
  std::size_t size() const { return _size; }
  bool empty() const { return _size == 0; }
  std::size_t capacity() const { return _size + _after; }
  T* data() { return settled(); }
  T const* data() const { return settled(); }
  iterator begin() { return settled(); }
  iterator end() { return settled() + _size; }
  const_iterator begin() const { return settled(); }
  const_iterator end() const { return settled() + _size; }
  const_iterator cbegin() const { return begin(); }
  const_iterator cend() const { return end(); }
  reverse_iterator rbegin() { return reverse_iterator(end()); }
  reverse_iterator rend() { return reverse_iterator(begin()); }
  const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
  const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }
  T& operator[](std::size_t index) { return assert(index < _size), settled()[index]; }
  T const& operator[](std::size_t index) const { return assert(index < _size), settled()[index]; }
  T& front() { return (*this)[0]; }
  T const& front() const { return (*this)[0]; }
  T& back() { return (*this)[_size - 1]; }
  T const& back() const { return (*this)[_size - 1]; }
  friend bool operator==(TwoEndedList const& a, TwoEndedList const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

  /// As in std::vector.
  void push_back(T value) {
    if (_after == 0) growBehind(1);
    new (_first + getPlaceCount()) T(std::move(value));
    --_after;
    setCounts(_size + 1, getPlaceCount() + 1);
  }
  template <class... Arguments>
  T& emplace_back(Arguments&&... arguments) {
    push_back(T(std::forward<Arguments>(arguments)...));
    return back();
  }
  template <std::input_iterator From>
  void assign(From first, From last) {
    TwoEndedList fresh;
    for (; first != last; ++first) fresh.push_back(*first);
    swap(fresh);
  }
  void assign(std::initializer_list<T> values) { assign(values.begin(), values.end()); }
  void assign(std::size_t count, T const& value) {
    TwoEndedList fresh;
    fresh.resize(count, value);
    swap(fresh);
  }
  void pop_back() { erase(end() - 1); }
  iterator insert(const_iterator place, T value) { return insert(place, &value, &value + 1); }
  template <std::forward_iterator From>
  iterator insert(const_iterator place, From first, From last) {
    auto const index = static_cast<UInt32>(place - begin());
    auto const count = static_cast<UInt32>(std::distance(first, last));
    T* to = openAt(index, count);
    for (; first != last; ++first) new (to++) T(*first);
    return _first + index;
  }
  iterator erase(const_iterator place) { return erase(place, place + 1); }
  iterator erase(const_iterator first, const_iterator last);
  void clear() { erase(begin(), end()); }
  void resize(std::size_t size, T const& value = T()) {
    if (size < _size) erase(begin() + size, end());
    T const kept = value;
    reserve(size);
    while (_size < size) push_back(kept);
  }
  /// Room for so many values without moving any, as long as they are put at the end.
  void reserve(std::size_t size) {
    if (size > capacity()) relocate(_before, static_cast<UInt32>(size) - _size);
  }
  /// Gives back the room that is not used, at both ends.
  void shrink_to_fit() { relocate(0, 0); }

  // --- Gaps -----------------------------------------------------------------------------------------------------

  /// How many places there are, gaps included: as many as values, where there is no gap.
  UInt32 getPlaceCount() const { return _places.load(std::memory_order_relaxed); }
  /// Whether a value was taken out of the midst since the last access.
  bool hasGaps() const { return getPlaceCount() != _size; }
  /// The value at a place, which is null in a gap. Closes nothing.
  T const& atPlace(UInt32 place) const requires ContainerHandle<T> { return _first[place]; }
  /// Takes the value at a place away and leaves a gap, except at the ends. Returns how many places went at the front.
  UInt32 takeAtPlace(UInt32 place) requires ContainerHandle<T> {
    _first[place] = T();
    UInt32 count = getPlaceCount();
    UInt32 gone = 0;
    for (; count > 0 && !_first[count - 1]; --count) ++_after;
    for (; count > 0 && !*_first; --count, ++gone) ++_first;
    _before += gone;
    setCounts(_size - 1, count);
    return gone;
  }

 private:
  static constexpr bool CanHaveGaps = ContainerHandle<T>;

  T* settled() const {
    if constexpr (CanHaveGaps) {
      if (_places.load(std::memory_order_acquire) != _size) [[unlikely]]
        detail::closeGapsAlone(&closeGaps, const_cast<TwoEndedList*>(this));
    }
    return _first;
  }
  static void closeGaps(void* argument) {
    auto& list = *static_cast<TwoEndedList*>(argument);
    if (!list.hasGaps()) return;
    T* const end = list._first + list.getPlaceCount();
    T* const kept = std::remove(list._first, end, T());
    list._after += static_cast<UInt32>(end - kept);
    list._places.store(list._size, std::memory_order_release);
  }

  void setCounts(UInt32 size, UInt32 places) {
    _size = size;
    _places.store(places, std::memory_order_relaxed);
  }
  template <class From>
  void append(From first, From last) {
    reserve(_size + static_cast<std::size_t>(std::distance(first, last)));
    for (; first != last; ++first) push_back(*first);
  }
  T* openAt(UInt32 index, UInt32 count);
  void growBehind(UInt32 count);
  void relocate(UInt32 before, UInt32 after);
  static void move(T* from, T* to) {
    new (to) T(std::move(*from));
    from->~T();
  }
  static void destroy(T* first, T const* end) {
    for (; first != end; ++first) first->~T();
  }
  void moveTo(T* to);
  void release();

  T* _first = nullptr;
  UInt32 _size = 0;
  std::atomic<UInt32> _places = 0;
  UInt32 _before = 0;  ///< room before the first place
  UInt32 _after = 0;   ///< room behind the last place
};

/// Moves all values to where `to` is, within this room or in another one.
template <class T>
void TwoEndedList<T>::moveTo(T* to) {
  bool const isUpwards = _first < to;
  for (UInt32 i = 0; i < _size; ++i) {
    UInt32 const each = isUpwards ? _size - 1 - i : i;
    move(_first + each, to + each);
  }
}

template <class T>
void TwoEndedList<T>::relocate(UInt32 before, UInt32 after) {
  settled();
  T* const former = _first - (_first != nullptr ? _before : 0);
  std::size_t const room = std::size_t{before} + _size + after;
  T* const memory = room > 0 ? static_cast<T*>(::operator new(room * sizeof(T))) : nullptr;
  if (memory != nullptr) moveTo(memory + before);
  ::operator delete(former);
  _first = memory != nullptr ? memory + before : nullptr;
  _before = before;
  _after = after;
}

/// What was taken from the front long enough leaves room for as many at the end.
template <class T>
void TwoEndedList<T>::growBehind(UInt32 count) {
  settled();
  if (_after >= count) return;
  if (_before > _size && _before >= count) {
    moveTo(_first - _before);
    _first -= _before;
    _after += std::exchange(_before, 0);
    return;
  }
  relocate(std::min(_before, _size), std::max(count, _size));
}

/// Makes raw room for `count` values before the one at `index`.
template <class T>
T* TwoEndedList<T>::openAt(UInt32 index, UInt32 count) {
  settled();
  // Nothing is to be moved onto itself.
  if (count == 0) return _first + index;
  bool const isInFront = index < _size - index;
  if (isInFront && _before < count) relocate(std::max(count, _size), std::min(_after, _size));
  if (!isInFront && _after < count) growBehind(count);
  if (isInFront) {
    for (UInt32 i = 0; i < index; ++i) move(_first + i, _first + i - count);
    _first -= count;
    _before -= count;
  } else {
    for (UInt32 i = _size; i > index; --i) move(_first + i - 1, _first + i - 1 + count);
    _after -= count;
  }
  setCounts(_size + count, _size + count);
  return _first + index;
}

template <class T>
T* TwoEndedList<T>::erase(const_iterator first, const_iterator last) {
  auto const index = static_cast<UInt32>(first - begin());
  auto const count = static_cast<UInt32>(last - first);
  if (count == 0) return _first + index;
  UInt32 const behind = _size - index - count;
  if (index < behind) {
    std::move_backward(_first, _first + index, _first + index + count);
    destroy(_first, _first + count);
    _first += count;
    _before += count;
  } else {
    std::move(_first + index + count, _first + _size, _first + index);
    destroy(_first + index + behind, _first + _size);
    _after += count;
  }
  setCounts(_size - count, _size - count);
  return _first + index;
}

template <class T>
void TwoEndedList<T>::release() {
  if (_first == nullptr) return;
  destroy(_first, _first + getPlaceCount());
  ::operator delete(_first - _before);
}

/// What a list field keeps its values in.
template <class T>
struct ListOf {
  /// The list.
  using Type = std::vector<T>;
};
template <>
struct ListOf<NodePtr> {
  using Type = TwoEndedList<NodePtr>;
};

}  // namespace knscene
}  // namespace osg
