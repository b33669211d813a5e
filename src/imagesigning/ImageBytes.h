#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "imagesigning/PeRefusal.h"

namespace DriverManagement::ImageSigning1 {

/// The bytes of a file or an image in memory that nobody vouches for, and the only way to them: what lies
/// outside is refused by the rule that the caller names. Offsets and sizes are in bytes; they are taken with
/// 64 bits so that sums of two 32-bit header fields do not overflow. The bytes stay the caller's.
class ImageBytes {
 public:
  ImageBytes(const void* data, std::uint32_t size)
      : m_data(static_cast<const unsigned char*>(data)), m_size(size) {}

  std::uint32_t Size() const { return m_size; }

  /// The address of `size` bytes at `offset`, not aligned to anything.
  const unsigned char* At(std::uint64_t offset, std::uint64_t size, PeRule rule) const {
    Demand(offset <= m_size && size <= m_size - offset, rule, offset);
    return m_data + offset;
  }

  /// A copy of the structure or number at `offset`. The images' byte order is that of every Windows.
  template <class T>
  T Read(std::uint64_t offset, PeRule rule) const {
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    std::memcpy(&value, At(offset, sizeof(T), rule), sizeof(T));
    return value;
  }

 private:
  const unsigned char* m_data;
  std::uint32_t m_size;
};

}  // namespace DriverManagement::ImageSigning1
