#include "foundation/Memory.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace {

MemoryManager* g_manager = nullptr;
LHeapLock* g_lock = nullptr;

/// Holds the heap's lock for one use of the memory manager.
class HeapUse {
 public:
  HeapUse() { g_lock->Enter(); }
  HeapUse(const HeapUse&) = delete;
  HeapUse& operator=(const HeapUse&) = delete;
  ~HeapUse() { g_lock->Leave(); }
};

/// The text of the base's own depends on the compiler.
class OutOfMemory : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

/// The size as the memory manager takes it; `std::bad_alloc` when nobody could serve it.
unsigned int ManagedSize(std::size_t size) {
  if (!g_manager) LThrowOutOfMemory();
  return LProduct(size, 1);
}

void* Demand(void* block) {
  if (!block) LThrowOutOfMemory();
  return block;
}

}  // namespace

void* MemoryManager::Reallocate(void* block, unsigned int size) {
  if (ResizeInPlace(block, size)) return block;
  const unsigned int oldSize = Size(block);
  if (oldSize == UnknownSize) return nullptr;
  void* const moved = Allocate(size);
  if (!moved) return nullptr;
  std::memcpy(moved, block, std::min(oldSize, size));
  Free(block);
  return moved;
}

unsigned int MemoryManager::Size(void*) {
  return UnknownSize;
}

void* MemoryManager::AllocateTyped(unsigned int, unsigned int size) {
  return Allocate(size);
}

bool MemoryManager::ResizeInPlaceTyped(unsigned int, void* block, unsigned int size) {
  return ResizeInPlace(block, size);
}

void* MemoryManager::ReallocateTyped(unsigned int, void* block, unsigned int size) {
  return Reallocate(block, size);
}

void MemoryManager::FreeTyped(unsigned int, void* block) {
  Free(block);
}

unsigned int MemoryManager::SizeTyped(unsigned int, void* block) {
  return Size(block);
}

bool MemoryManager::Validate() {
  return true;
}

void LThrowOutOfMemory() {
  throw OutOfMemory();
}

unsigned int LProduct(unsigned long long count, std::size_t size) {
  if (count > std::numeric_limits<unsigned int>::max() / size) LThrowOutOfMemory();
  return static_cast<unsigned int>(count * size);
}

void LInstallHeap(MemoryManager* manager, LHeapLock* lock) {
  g_manager = manager;
  g_lock = lock;
}

void* LAllocate(std::size_t size) {
  const unsigned int managedSize = ManagedSize(size);
  const HeapUse use;
  return Demand(g_manager->Allocate(managedSize));
}

void* LReallocate(void* block, std::size_t size) {
  const unsigned int managedSize = ManagedSize(size);
  const HeapUse use;
  return Demand(g_manager->Reallocate(block, managedSize));
}

void LFree(void* block) noexcept {
  if (!block || !g_manager) return;
  const HeapUse use;
  g_manager->Free(block);
}
