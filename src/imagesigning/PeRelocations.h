#pragma once

#include <cstdint>

#include "imagesigning/PeHeaders.h"

namespace DriverManagement::ImageSigning1 {

/// A place in an image that holds an address: 4 or 8 bytes.
struct PeRelocation {
  std::uint32_t target = 0;
  std::uint32_t width = 0;

  /// The first byte behind it.
  std::uint32_t End() const { return target + width; }
};

/// Walks the base relocations of an image in memory in their order, which is ascending. The relocation
/// directory may be absent.
class PeRelocations {
 public:
  PeRelocations(ImageBytes image, const PeHeaders& headers);

  /// The next relocation that is no padding; false at the end. Throws `PeRefusal` for a malformed block or
  /// entry and for a target that overlaps the one before it or leaves the image.
  bool Next(PeRelocation& relocation);

 private:
  void OpenBlock();
  PeRelocation Decode(std::uint16_t entry, std::uint32_t offset) const;

  ImageBytes m_image;
  bool m_plus;
  std::uint32_t m_entry;       // the next entry's offset
  std::uint32_t m_blockEnd;    // of the block that is walked
  std::uint64_t m_end;         // of the directory
  std::uint32_t m_page = 0;    // the block's address
  std::uint32_t m_lowest = 0;  // that the next target may have
};

}  // namespace DriverManagement::ImageSigning1
