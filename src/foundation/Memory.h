#pragma once

#include <cstddef>

/// The allocation interface behind all memory of the foundation's classes. One instance serves the process;
/// the system layer creates it at start-up and destroys it last. Sizes are in bytes.
class MemoryManager {
 public:
  /// Answer of `Size` when the manager does not know its blocks.
  static constexpr unsigned int UnknownSize = 0xFFFFFFFF;

  virtual ~MemoryManager() = default;

  /// Tries to make `block` `size` bytes large where it stands; false leaves it as it was.
  virtual bool ResizeInPlace(void* block, unsigned int size) = 0;
  /// A new block, or null when there is no memory.
  virtual void* Allocate(unsigned int size) = 0;
  /// `block` with room for `size` bytes, its contents kept up to the smaller of both sizes; null when there
  /// is no memory, and then `block` is untouched. The base resizes in place or moves; a block of unknown size
  /// cannot move, because nobody knows how much of it may be read.
  virtual void* Reallocate(void* block, unsigned int size);
  /// Bytes usable in `block`, or `UnknownSize`.
  virtual unsigned int Size(void* block);
  virtual void Free(void* block) = 0;

  // The same for callers that name the kind of the block; the kind is advice and may be ignored.
  virtual void* AllocateTyped(unsigned int type, unsigned int size);
  virtual bool ResizeInPlaceTyped(unsigned int type, void* block, unsigned int size);
  virtual void* ReallocateTyped(unsigned int type, void* block, unsigned int size);
  virtual void FreeTyped(unsigned int type, void* block);
  virtual unsigned int SizeTyped(unsigned int type, void* block);

  /// Whether the heap is intact, as far as the manager can tell.
  virtual bool Validate();
};

/// The mutual exclusion around every use of the memory manager.
class LHeapLock {
 public:
  virtual ~LHeapLock() = default;
  virtual void Enter() = 0;
  virtual void Leave() = 0;
};

/// Makes `manager`, guarded by `lock`, the heap of the process; both stay the caller's and must outlive every
/// foundation object. Null for both takes the heap away. Called while no other thread uses the foundation.
void LInstallHeap(MemoryManager* manager, LHeapLock* lock);

/// Throws `std::bad_alloc` with the text "bad allocation" on every platform. Whoever cannot get memory calls
/// it.
[[noreturn]] void LThrowOutOfMemory();
/// `count` times `size`, both in bytes or elements; throws `std::bad_alloc` when no block can be that large.
unsigned int LProduct(unsigned long long count, std::size_t size);

/// Throws `std::bad_alloc` without a memory manager or without memory.
void* LAllocate(std::size_t size);
/// The same for a block that keeps its contents; on `std::bad_alloc` the old block is untouched.
void* LReallocate(void* block, std::size_t size);
/// Does nothing for null or without a memory manager.
void LFree(void* block) noexcept;
