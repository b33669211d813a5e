#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "foundation/Assert.h"
#include "foundation/Memory.h"

/// A growable array of values of class `T`, passed in as `ArgT`. It grows in steps of `G` elements and never
/// gives room back before it is emptied. Without memory an operation throws `std::bad_alloc` and leaves the
/// array as it was; an index out of range throws the assertion's `LMessageException`.
template <class T, class ArgT, unsigned int G>
class LClassArray {
 public:
  LClassArray() = default;
  LClassArray(const LClassArray& other) : LClassArray() {
    if (other.m_used != 0) Reserve(other.m_used);
    while (m_used < other.m_used) {
      Construct(&other.m_elements[m_used]);
    }
  }
  LClassArray& operator=(LClassArray other) noexcept(std::is_nothrow_destructible_v<T>) {
    std::swap(m_elements, other.m_elements);
    std::swap(m_used, other.m_used);
    std::swap(m_capacity, other.m_capacity);
    return *this;
  }
  ~LClassArray() noexcept(std::is_nothrow_destructible_v<T>) { RemoveAll(); }

  unsigned int Length() const { return m_used; }

  /// Destroys elements at the end, or adds copies of `*fill` (default-constructed elements without it).
  /// `fill` is no element of this array.
  void SetSize(unsigned int size, const ArgT* fill = nullptr) {
    if (size > m_capacity) Reserve(size);
    while (m_used < size) {
      Construct(fill);
    }
    const unsigned int oldUsed = std::exchange(m_used, size);
    for (unsigned int index = size; index < oldUsed; ++index) {
      m_elements[index].~T();
    }
  }

  /// Adds a copy of `item` at the end.
  void Append(ArgT item) { SetSize(m_used + 1, &item); }

  T& operator[](unsigned int idx) {
    CheckIndex(idx);
    return m_elements[idx];
  }
  const T& operator[](unsigned int idx) const {
    CheckIndex(idx);
    return m_elements[idx];
  }

  /// Takes one element out and returns the number left.
  unsigned int Remove(unsigned int idx) {
    CheckIndex(idx);
    m_elements[idx].~T();
    Relocate(m_elements + idx, m_elements + idx + 1, m_used - idx - 1);
    return --m_used;
  }

  void RemoveAll() {
    SetSize(0);
    LFree(m_elements);
    m_elements = nullptr;
    m_capacity = 0;
  }

 private:
  void CheckIndex(unsigned int idx) const { L_ASSERT_TEXT(idx < m_used, "idx>=0&&idx<used"); }

  void Construct(const ArgT* source) {
    if (source) {
      new (m_elements + m_used) T(*source);
    } else {
      new (m_elements + m_used) T();
    }
    ++m_used;
  }

  void Reserve(unsigned int size) {
    const unsigned long long capacity = (0ull + size + G - 1) / G * G + G;
    T* const elements = static_cast<T*>(LAllocate(LProduct(capacity, sizeof(T))));
    Relocate(elements, m_elements, m_used);
    LFree(m_elements);
    m_elements = elements;
    m_capacity = static_cast<unsigned int>(capacity);
  }

  // Moves elements into raw room, front to back, so that the room may overlap them from below.
  static void Relocate(T* target, T* source, unsigned int count) {
    for (unsigned int index = 0; index < count; ++index) {
      new (target + index) T(std::move(source[index]));
      source[index].~T();
    }
  }

  T* m_elements = nullptr;
  unsigned int m_used = 0;
  unsigned int m_capacity = 0;
};
