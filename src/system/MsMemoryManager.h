#pragma once

#include "foundation/Memory.h"

/// The memory manager over the heap of the platform's runtime library, which knows the size of its blocks and
/// can check itself.
class MsMemoryManager : public MemoryManager {
 public:
  bool ResizeInPlace(void* block, unsigned int size) override;
  void* Allocate(unsigned int size) override;
  void* Reallocate(void* block, unsigned int size) override;
  unsigned int Size(void* block) override;
  void Free(void* block) override;
  bool Validate() override;
};
