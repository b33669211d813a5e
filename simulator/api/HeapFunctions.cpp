#include <crtheap.h>
#include <malloc.h>

std::size_t _msize(void* block) {
  return malloc_usable_size(block);
}

void* _expand(void* block, std::size_t size) {
  return size <= malloc_usable_size(block) ? block : nullptr;
}

// The host's allocator ends the program itself when it finds its heap damaged.
int _heapchk() {
  return _HEAPOK;
}
