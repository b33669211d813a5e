#pragma once

#include <cstdint>

#include "imagesigning/ImageBytes.h"
#include "system/WindowsApi.h"

// The headers of a PE image, as the published PE/COFF format has them, in a file or in memory. Everything
// here throws `PeRefusal`. Offsets are in bytes from the start of the data.

namespace DriverManagement::ImageSigning1 {

constexpr std::uint32_t MaximalSectionCount = 96;

/// `value` rounded up to a multiple of `alignment`, a power of two.
constexpr std::uint64_t RoundUp(std::uint64_t value, std::uint32_t alignment) {
  return (value + alignment - 1) & ~std::uint64_t{alignment - 1};
}

/// A data directory.
struct PeDirectory {
  std::uint32_t address = 0;
  std::uint32_t size = 0;
};

/// Where the headers lie, and what they say that is used everywhere.
struct PeHeaders {
  std::uint32_t fileHeader;
  std::uint32_t optionalHeader;
  bool plus;
  std::uint32_t directoryCount;
  std::uint32_t sectionAlignment;
  std::uint32_t fileAlignment;
  std::uint32_t sectionTable;
  std::uint32_t sectionCount;

  std::uint32_t SectionHeader(std::uint32_t index) const {
    return sectionTable + index * std::uint32_t{sizeof(IMAGE_SECTION_HEADER)};
  }
  std::uint32_t SectionTableEnd() const { return SectionHeader(sectionCount); }
};

/// The file header's offset.
std::uint32_t FindFileHeader(ImageBytes image);

/// Whether the optional header behind the file header is that of PE32+.
bool ReadPlus(ImageBytes image, std::uint32_t fileHeader);

/// The number of data directories in the optional header, which is whole and of the size that goes with them.
std::uint32_t ReadDirectoryCount(ImageBytes image, std::uint32_t fileHeader, bool plus);

/// The section table's offset; the table is whole and has 1 to 96 sections.
std::uint32_t FindSectionTable(ImageBytes image, std::uint32_t fileHeader);

/// All of the above, and the alignments.
PeHeaders ReadPeHeaders(ImageBytes image);

/// The directory of that number, of size 0 when there is none: when the image has fewer directories, or one
/// of its two fields is 0.
PeDirectory ReadDirectory(ImageBytes image, const PeHeaders& headers, std::uint32_t index);

/// The header of a section below `sectionCount`.
IMAGE_SECTION_HEADER ReadSection(ImageBytes image, const PeHeaders& headers, std::uint32_t index);

/// The bytes that a section takes in memory: its virtual size, rounded up to the section alignment.
std::uint64_t AlignedVirtualSize(const PeHeaders& headers, const IMAGE_SECTION_HEADER& section);

}  // namespace DriverManagement::ImageSigning1
