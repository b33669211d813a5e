#include "imagesigning/PeRelocations.h"

#include <cstddef>

namespace DriverManagement::ImageSigning1 {

PeRelocations::PeRelocations(ImageBytes image, const PeHeaders& headers)
    : m_image(image), m_plus(headers.plus) {
  const PeDirectory directory = ReadDirectory(image, headers, IMAGE_DIRECTORY_ENTRY_BASERELOC);
  m_entry = m_blockEnd = directory.address;
  m_end = std::uint64_t{directory.address} + directory.size;
}

bool PeRelocations::Next(PeRelocation& relocation) {
  for (;;) {
    while (m_entry == m_blockEnd) {
      if (m_blockEnd == m_end) return false;
      OpenBlock();
    }
    const std::uint32_t offset = m_entry;
    const auto entry = m_image.Read<std::uint16_t>(offset, PeRule::relocationBlock);
    m_entry += sizeof(entry);
    const PeRelocation decoded = Decode(entry, offset);
    if (decoded.width == 0) continue;
    Demand(decoded.target >= m_lowest, PeRule::relocationOrder, offset);
    m_lowest = decoded.End();
    relocation = decoded;
    return true;
  }
}

void PeRelocations::OpenBlock() {
  const std::uint32_t offset = m_blockEnd;
  const std::uint64_t left = m_end - offset;
  Demand(left >= sizeof(IMAGE_BASE_RELOCATION), PeRule::relocationBlock, offset);
  const auto block = m_image.Read<IMAGE_BASE_RELOCATION>(offset, PeRule::relocationBlock);
  Demand(block.SizeOfBlock >= sizeof(block) && block.SizeOfBlock % sizeof(std::uint16_t) == 0 &&
             block.SizeOfBlock <= left,
         PeRule::relocationBlock, offset);
  m_page = block.VirtualAddress;
  m_entry = offset + std::uint32_t{sizeof(block)};
  m_blockEnd = offset + block.SizeOfBlock;
}

// Padding has width 0.
PeRelocation PeRelocations::Decode(std::uint16_t entry, std::uint32_t offset) const {
  const unsigned int type = entry >> 12;
  if (type == IMAGE_REL_BASED_ABSOLUTE) return {};
  Demand(type == IMAGE_REL_BASED_HIGHLOW || (type == IMAGE_REL_BASED_DIR64 && m_plus), PeRule::relocationType,
         offset);
  const std::uint32_t width = type == IMAGE_REL_BASED_HIGHLOW ? 4 : 8;
  const std::uint64_t target = std::uint64_t{m_page} + (entry & 0xFFF);
  Demand(target + width <= m_image.Size(), PeRule::relocationOutside, offset);
  return {static_cast<std::uint32_t>(target), width};
}

}  // namespace DriverManagement::ImageSigning1
