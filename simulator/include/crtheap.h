#pragma once

#include <cstddef>

// The runtime library's heap functions that Windows has beside malloc, realloc and free.

#define _HEAPEMPTY (-1)
#define _HEAPOK (-2)

extern "C" {

/// Usable bytes of a block from malloc or realloc.
std::size_t _msize(void* block);
/// The block when it can hold `size` bytes where it stands, else null.
void* _expand(void* block, std::size_t size);
/// _HEAPOK while the heap is intact.
int _heapchk();

}  // extern "C"
