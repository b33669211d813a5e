#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "foundation/Assert.h"
#include "foundation/Memory.h"

/// The shared heap block behind buffers and strings: a header followed, in the same allocation, by
/// `Capacity()` bytes of elements, aligned to 8 bytes. `Granularity` and `Threshold` (bytes) set the capacity
/// rule, see `CapacityFor`; `T` is a byte type. Holders keep a plain pointer to the block, null for no
/// contents, and change the count only through the operations here. All sizes are in bytes. Every operation
/// that allocates throws `std::bad_alloc` and then leaves the holder's block as it was.
template <class T, unsigned int Granularity, unsigned int Threshold, unsigned int>
class alignas(8) LDynamicStorage {
  static_assert(sizeof(T) == 1);

 public:
  /// The count of a block that its one holder has locked for direct writing.
  static constexpr unsigned int LockedCount = ~0u;

  /// A block of size `size` whose contents are undefined, with one holder; null for size 0.
  static LDynamicStorage* NewStorage(unsigned int size) {
    if (size == 0) return nullptr;
    const unsigned int capacity = CapacityFor(size);
    return new (LAllocate(sizeof(LDynamicStorage) + capacity)) LDynamicStorage(capacity, size);
  }

  /// Replaces `storage` by a block of size `size` (at least 1) that the caller alone holds, with the first
  /// bytes kept. A sole holder's block is moved whenever its capacity is not the one for `size`.
  static void CopyOnWriteInternal(LDynamicStorage*& storage, unsigned int size) {
    if (storage->GetRefCount() != 1) {
      LDynamicStorage* const copy = NewStorage(size);
      std::memcpy(copy->Elements(), storage->Elements(), std::min(storage->m_size, size));
      Release(storage);
      storage = copy;
      return;
    }
    const unsigned int capacity = CapacityFor(size);
    if (capacity != storage->m_capacity) {
      storage = static_cast<LDynamicStorage*>(LReallocate(storage, sizeof(LDynamicStorage) + capacity));
      storage->m_capacity = capacity;
    }
    storage->m_size = size;
  }

  /// Makes `storage` private and forbids every other use of it until `Unlock`. Asserts that it is not locked.
  static void Lock(LDynamicStorage*& storage) {
    L_ASSERT_TEXT(!storage->IsLocked(), "m_refscount != ~0u");
    if (storage->GetRefCount() != 1) CopyOnWriteInternal(storage, storage->m_size);
    storage->Count().store(LockedCount);
  }

  /// Asserts that the block is locked.
  void Unlock() {
    L_ASSERT_TEXT(IsLocked(), "m_refscount == ~0");
    Count().store(1);
  }

  void AddRef() { Count().fetch_add(1); }

  /// Lets go of `storage`: the last holder frees it, and so does the one holder of a locked block. Null is
  /// allowed.
  static void Release(LDynamicStorage* storage) noexcept {
    if (storage && (storage->IsLocked() || storage->Count().fetch_sub(1) == 1)) LFree(storage);
  }

  /// The number of holders, or `LockedCount`.
  unsigned int GetRefCount() const { return Count().load(); }
  bool IsLocked() const { return GetRefCount() == LockedCount; }

  unsigned int Capacity() const { return m_capacity; }
  unsigned int Size() const { return m_size; }
  /// For the sole holder of a block whose capacity is at least `size`; added bytes are undefined.
  void SetSizeInPlace(unsigned int size) { m_size = size; }

  T* Elements() { return reinterpret_cast<T*>(this + 1); }
  const T* Elements() const { return reinterpret_cast<const T*>(this + 1); }

  /// The capacity of a block made for `size` bytes (at least 1): multiples of `Granularity` from `Threshold`
  /// on, powers of two below, so that text growing unit by unit seldom moves. Throws `std::bad_alloc` for a
  /// size whose block could not be described in 32 bits.
  static unsigned int CapacityFor(unsigned int size) {
    if (size > std::numeric_limits<unsigned int>::max() - Granularity - sizeof(LDynamicStorage)) {
      LThrowOutOfMemory();
    }
    const unsigned int rounded = (size + Granularity - 1) / Granularity * Granularity;
    if (rounded >= Threshold) return rounded;
    unsigned int capacity = Granularity;
    while (capacity < rounded) {
      capacity *= 2;
    }
    return capacity;
  }

 private:
  LDynamicStorage(unsigned int capacity, unsigned int size) : m_capacity(capacity), m_size(size) {}

  // The count is a plain field used atomically, because a reallocation moves the block as bytes.
  std::atomic_ref<unsigned int> Count() const { return std::atomic_ref<unsigned int>(m_refscount); }

  mutable unsigned int m_refscount = 1;
  unsigned int m_capacity;
  unsigned int m_size;
};
