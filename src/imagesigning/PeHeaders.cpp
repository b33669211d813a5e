#include "imagesigning/PeHeaders.h"

#include <bit>
#include <cstddef>

namespace DriverManagement::ImageSigning1 {

namespace {

constexpr std::uint32_t SmallestAlignment = 0x200;
constexpr std::uint32_t LargestAlignment = 0x10000;

// Both layouts have the alignments at the same place.
static_assert(offsetof(IMAGE_OPTIONAL_HEADER32, SectionAlignment) ==
              offsetof(IMAGE_OPTIONAL_HEADER64, SectionAlignment));
static_assert(offsetof(IMAGE_OPTIONAL_HEADER32, FileAlignment) ==
              offsetof(IMAGE_OPTIONAL_HEADER64, FileAlignment));

constexpr std::uint32_t OptionalHeader(std::uint32_t fileHeader) {
  return fileHeader + std::uint32_t{sizeof(IMAGE_FILE_HEADER)};
}

// The size of the optional header without its directories, which follow it.
constexpr std::uint32_t FixedSize(bool plus) {
  return plus ? offsetof(IMAGE_OPTIONAL_HEADER64, DataDirectory)
              : offsetof(IMAGE_OPTIONAL_HEADER32, DataDirectory);
}

IMAGE_FILE_HEADER ReadFileHeader(ImageBytes image, std::uint32_t fileHeader) {
  return image.Read<IMAGE_FILE_HEADER>(fileHeader, PeRule::fileHeader);
}

bool IsAlignment(std::uint32_t value) {
  return value >= SmallestAlignment && value <= LargestAlignment && std::has_single_bit(value);
}

}  // namespace

std::uint32_t FindFileHeader(ImageBytes image) {
  const auto dosHeader = image.Read<IMAGE_DOS_HEADER>(0, PeRule::dosHeader);
  const auto peOffset = static_cast<std::uint32_t>(dosHeader.e_lfanew);
  Demand(peOffset <= image.Size(), PeRule::peOffset, offsetof(IMAGE_DOS_HEADER, e_lfanew));
  Demand(dosHeader.e_magic == IMAGE_DOS_SIGNATURE, PeRule::dosSignature, 0);
  const auto signature = image.Read<std::uint32_t>(peOffset, PeRule::peSignature);
  Demand(signature == IMAGE_NT_SIGNATURE, PeRule::peSignature, peOffset);
  const std::uint64_t fileHeader = std::uint64_t{peOffset} + sizeof(signature);
  image.At(fileHeader, sizeof(IMAGE_FILE_HEADER), PeRule::fileHeader);
  return static_cast<std::uint32_t>(fileHeader);
}

bool ReadPlus(ImageBytes image, std::uint32_t fileHeader) {
  const std::uint32_t optionalHeader = OptionalHeader(fileHeader);
  const auto magic = image.Read<std::uint16_t>(optionalHeader, PeRule::optionalMagic);
  Demand(magic == IMAGE_NT_OPTIONAL_HDR32_MAGIC || magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC,
         PeRule::optionalMagic, optionalHeader);
  return magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC;
}

std::uint32_t ReadDirectoryCount(ImageBytes image, std::uint32_t fileHeader, bool plus) {
  const std::uint32_t optionalHeader = OptionalHeader(fileHeader);
  const std::uint32_t fixedSize = FixedSize(plus);
  image.At(optionalHeader, fixedSize, PeRule::optionalHeader);
  // The last field of the fixed part.
  const auto count =
      image.Read<std::uint32_t>(optionalHeader + fixedSize - sizeof(std::uint32_t), PeRule::optionalHeader);
  const std::uint64_t size = fixedSize + std::uint64_t{count} * sizeof(IMAGE_DATA_DIRECTORY);
  Demand(ReadFileHeader(image, fileHeader).SizeOfOptionalHeader == size, PeRule::optionalHeaderSize,
         fileHeader + offsetof(IMAGE_FILE_HEADER, SizeOfOptionalHeader));
  image.At(optionalHeader, size, PeRule::optionalHeader);
  return count;
}

std::uint32_t FindSectionTable(ImageBytes image, std::uint32_t fileHeader) {
  const IMAGE_FILE_HEADER header = ReadFileHeader(image, fileHeader);
  Demand(header.NumberOfSections >= 1 && header.NumberOfSections <= MaximalSectionCount, PeRule::sectionCount,
         fileHeader + offsetof(IMAGE_FILE_HEADER, NumberOfSections));
  const std::uint64_t table = std::uint64_t{OptionalHeader(fileHeader)} + header.SizeOfOptionalHeader;
  image.At(table, header.NumberOfSections * sizeof(IMAGE_SECTION_HEADER), PeRule::sectionTable);
  return static_cast<std::uint32_t>(table);
}

PeHeaders ReadPeHeaders(ImageBytes image) {
  PeHeaders headers = {};
  headers.fileHeader = FindFileHeader(image);
  headers.optionalHeader = OptionalHeader(headers.fileHeader);
  headers.plus = ReadPlus(image, headers.fileHeader);
  headers.directoryCount = ReadDirectoryCount(image, headers.fileHeader, headers.plus);
  headers.sectionTable = FindSectionTable(image, headers.fileHeader);
  headers.sectionCount = ReadFileHeader(image, headers.fileHeader).NumberOfSections;

  const std::uint32_t alignments =
      headers.optionalHeader + offsetof(IMAGE_OPTIONAL_HEADER32, SectionAlignment);
  headers.sectionAlignment = image.Read<std::uint32_t>(alignments, PeRule::alignment);
  headers.fileAlignment = image.Read<std::uint32_t>(alignments + sizeof(std::uint32_t), PeRule::alignment);
  Demand(IsAlignment(headers.sectionAlignment) && IsAlignment(headers.fileAlignment) &&
             headers.sectionAlignment >= headers.fileAlignment,
         PeRule::alignment, alignments);
  return headers;
}

PeDirectory ReadDirectory(ImageBytes image, const PeHeaders& headers, std::uint32_t index) {
  if (index >= headers.directoryCount) return {};
  const std::uint32_t offset =
      headers.optionalHeader + FixedSize(headers.plus) + index * std::uint32_t{sizeof(IMAGE_DATA_DIRECTORY)};
  const auto directory = image.Read<IMAGE_DATA_DIRECTORY>(offset, PeRule::optionalHeader);
  if (directory.VirtualAddress == 0 || directory.Size == 0) return {};
  return {directory.VirtualAddress, directory.Size};
}

IMAGE_SECTION_HEADER ReadSection(ImageBytes image, const PeHeaders& headers, std::uint32_t index) {
  return image.Read<IMAGE_SECTION_HEADER>(headers.SectionHeader(index), PeRule::sectionTable);
}

std::uint64_t AlignedVirtualSize(const PeHeaders& headers, const IMAGE_SECTION_HEADER& section) {
  return RoundUp(section.Misc.VirtualSize, headers.sectionAlignment);
}

}  // namespace DriverManagement::ImageSigning1
