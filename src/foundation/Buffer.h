#pragma once

#include <utility>

#include "foundation/DynamicStorage.h"

/// A value of bytes. Copies share one block and cost one atomic increment; the first write to a shared block
/// copies it. Bytes are written in place between `Lock` and `Unlock` only. An empty buffer holds no block.
/// Sizes and indexes are in bytes; the bytes are aligned to 8. An operation that cannot get memory throws
/// `std::bad_alloc`, one whose stated condition is broken throws the assertion's `LMessageException`; both
/// leave the buffer as it was. Buffers that share a block may be used on different threads, one buffer may
/// not.
class LBuffer {
 public:
  LBuffer() = default;
  /// A copy of `size` bytes at `data`.
  LBuffer(const void* data, unsigned int size) { Assign(data, size); }
  /// Asserts that `buffer` is not locked.
  LBuffer(const LBuffer& buffer);
  /// Takes the contents over, a lock with them; `buffer` is empty afterwards. Keeps growing arrays of text
  /// cheap.
  LBuffer(LBuffer&& buffer) noexcept : m_pDataStorage(std::exchange(buffer.m_pDataStorage, nullptr)) {}
  LBuffer& operator=(const LBuffer& buffer) {
    Assign(buffer);
    return *this;
  }
  ~LBuffer() { Storage::Release(m_pDataStorage); }

  /// Shares the contents of `buffer`, which must not be locked (asserted). A lock of this buffer ends.
  void Assign(const LBuffer& buffer);
  /// A copy of `size` bytes at `data`. Asserts that this buffer is not locked.
  void Assign(const void* data, unsigned int size);
  /// Keeps the first bytes; added bytes are undefined. Asserts that the buffer is not locked.
  void SetSize(unsigned int size);

  unsigned int Size() const { return m_pDataStorage ? m_pDataStorage->Size() : 0; }
  bool IsEmpty() const { return !m_pDataStorage; }
  /// The first byte, null when empty. Asserts that the buffer is not locked. Valid until the next change.
  const unsigned char* Data() const;

  /// Makes the contents this buffer's own and returns the first byte for writing, null when empty. Until
  /// `Unlock` everything but destroying, replacing by `Assign(const LBuffer&)` and unlocking the buffer fails
  /// its assertion. Asserts that the buffer is not locked yet. `LBufferLock` unlocks on every way out of a
  /// scope.
  unsigned char* Lock();
  /// Asserts that the buffer is locked or empty.
  void Unlock();
  bool IsLocked() const { return m_pDataStorage && m_pDataStorage->IsLocked(); }

  /// Moves the bytes from `index` on up by `count` and copies `count` bytes of `data`, which lie outside this
  /// buffer, into the gap. Asserts that the buffer is not locked and `index` not beyond its end.
  void Insert(unsigned int index, const void* data, unsigned int count);
  /// The same with `count` copies of `value`.
  void Insert(unsigned int index, unsigned char value, unsigned int count);
  /// Adds the bytes of `buffer`, which may be this one, at the end. Asserts that neither is locked.
  void Append(const LBuffer& buffer);

 private:
  using Storage = LDynamicStorage<unsigned char, 16, 256, 0>;

  bool FitsInPlace(unsigned int size) const;
  unsigned char* MakeGap(unsigned int index, unsigned int count);

  Storage* m_pDataStorage = nullptr;
};

/// Keeps a buffer locked for the life of a scope, which the buffer must outlive. A lock that has ended in the
/// scope, with the contents that were replaced or taken over, stays ended.
class LBufferLock {
 public:
  explicit LBufferLock(LBuffer& buffer) : m_buffer(buffer), m_data(buffer.Lock()) {}
  LBufferLock(const LBufferLock&) = delete;
  LBufferLock& operator=(const LBufferLock&) = delete;
  ~LBufferLock() {
    if (m_buffer.IsLocked()) m_buffer.Unlock();
  }

  /// The first byte, null when the buffer is empty.
  unsigned char* Data() const { return m_data; }

 private:
  LBuffer& m_buffer;
  unsigned char* m_data;
};
