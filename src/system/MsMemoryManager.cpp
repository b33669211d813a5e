#include "system/MsMemoryManager.h"

#include <cstdlib>

#include "system/WindowsApi.h"

bool MsMemoryManager::ResizeInPlace(void* block, unsigned int size) {
  return _expand(block, size) != nullptr;
}

void* MsMemoryManager::Allocate(unsigned int size) {
  return std::malloc(size);
}

void* MsMemoryManager::Reallocate(void* block, unsigned int size) {
  return std::realloc(block, size);
}

unsigned int MsMemoryManager::Size(void* block) {
  return static_cast<unsigned int>(_msize(block));
}

void MsMemoryManager::Free(void* block) {
  std::free(block);
}

bool MsMemoryManager::Validate() {
  return _heapchk() == _HEAPOK;
}
