#pragma once

#include <cstddef>

/// Writes zeros to `size` bytes at `data`, also when nobody reads them afterwards: the compiler cannot drop
/// it.
void LSecureClear(void* data, std::size_t size);
