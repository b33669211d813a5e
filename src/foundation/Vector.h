#pragma once

#include <cstddef>
#include <vector>

#include "foundation/Memory.h"

/// Has a container of the standard library take its memory as the foundation's classes do.
template <class T>
struct LAllocator {
  using value_type = T;

  LAllocator() = default;
  template <class U>
  LAllocator(const LAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(LAllocate(LProduct(count, sizeof(T)))); }
  void deallocate(T* block, std::size_t) noexcept { LFree(block); }

  bool operator==(const LAllocator&) const { return true; }
};

/// The array for large numbers of plain values: unlike `LClassArray` it grows by a share of its size.
template <class T>
using LVector = std::vector<T, LAllocator<T>>;
