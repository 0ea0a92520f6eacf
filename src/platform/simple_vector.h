// SimpleVector: the engine's growable array of values or pointers.
//
// Index access, push_back, resize and removal by index. Growth is explicit:
// when full, the capacity grows by the vector's increment, or by its current
// capacity when the increment is 0 (doubling), and never by fewer than 16
// elements. RemoveAt gives memory back once fewer than half of the places are
// in use. A SimpleVector of raw pointers does not own what they point to;
// owners delete the pointees themselves (see DeleteAll).
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>
#include <vector>

namespace parvex {

template <typename T>
class SimpleVector {
 public:
  explicit SimpleVector(size_t increment = 0) : mIncrement(increment) {}

  size_t size() const { return mItems.size(); }
  bool empty() const { return mItems.empty(); }
  size_t capacity() const { return mItems.capacity(); }

  T& operator[](size_t i) {
    assert(i < mItems.size());
    return mItems[i];
  }
  const T& operator[](size_t i) const {
    assert(i < mItems.size());
    return mItems[i];
  }
  T& back() { return mItems.back(); }
  const T& back() const { return mItems.back(); }

  void push_back(const T& item) {
    Grow(mItems.size() + 1);
    mItems.push_back(item);
  }
  void push_back(T&& item) {
    Grow(mItems.size() + 1);
    mItems.push_back(std::move(item));
  }
  void resize(size_t n) {
    Grow(n);
    mItems.resize(n);
  }
  void resize(size_t n, const T& fill) {
    Grow(n);
    mItems.resize(n, fill);
  }
  void reserve(size_t n) { mItems.reserve(n); }
  void clear() { mItems.clear(); }
  // Empties the vector and gives its memory back.
  void Release() { std::vector<T>().swap(mItems); }

  // Removes element i; later elements move down one place.
  void RemoveAt(size_t i) {
    assert(i < mItems.size());
    mItems.erase(mItems.begin() + static_cast<std::ptrdiff_t>(i));
    if (mItems.capacity() > 32 && mItems.size() < mItems.capacity() / 2) mItems.shrink_to_fit();
  }
  void insert(size_t i, const T& item) {
    assert(i <= mItems.size());
    Grow(mItems.size() + 1);
    mItems.insert(mItems.begin() + static_cast<std::ptrdiff_t>(i), item);
  }

  auto begin() { return mItems.begin(); }
  auto end() { return mItems.end(); }
  auto begin() const { return mItems.begin(); }
  auto end() const { return mItems.end(); }
  T* data() { return mItems.data(); }
  const T* data() const { return mItems.data(); }

 private:
  // Applies the growth rule before the vector would reallocate by itself.
  void Grow(size_t needed) {
    size_t cap = mItems.capacity();
    if (needed <= cap) return;
    while (cap < needed) {
      const size_t step = mIncrement ? mIncrement : cap;
      cap += std::max<size_t>(step, 16);
    }
    mItems.reserve(cap);
  }

  std::vector<T> mItems;
  size_t mIncrement;
};

// Deletes every pointee of a vector of owned pointers and empties it.
template <typename T>
void DeleteAll(SimpleVector<T*>& items) {
  for (T* item : items) delete item;
  items.clear();
}

}  // namespace parvex
