#pragma once

#include <cstddef>
#include <type_traits>

#include "foundation/Buffer.h"

/// The unsigned number stored at `bytes`, least significant byte first, whatever the alignment.
template <class T>
constexpr T LReadLittleEndian(const unsigned char* bytes) {
  static_assert(std::is_unsigned_v<T>);
  T number = 0;
  for (std::size_t index = sizeof(T); index > 0; --index) {
    number = static_cast<T>(static_cast<unsigned long long>(number) << 8 | bytes[index - 1]);
  }
  return number;
}

/// Stores an unsigned number at `bytes`, least significant byte first, whatever the alignment.
template <class T>
constexpr void LStoreLittleEndian(unsigned char* bytes, T number) {
  static_assert(std::is_unsigned_v<T>);
  for (std::size_t index = 0; index < sizeof(T); ++index) {
    bytes[index] = static_cast<unsigned char>(static_cast<unsigned long long>(number) >> 8 * index);
  }
}

/// Adds an unsigned number at the end of `buffer`, least significant byte first.
template <class T>
void LAppendLittleEndian(LBuffer& buffer, T number) {
  unsigned char bytes[sizeof(T)] = {};
  LStoreLittleEndian(bytes, number);
  buffer.Insert(buffer.Size(), bytes, sizeof(T));
}
