#include "imagesigning/PeSignatureSection.h"

#include "imagesigning/PeHeaders.h"

namespace DriverManagement::ImageSigning1 {

namespace {

static_assert(sizeof(PeSignatureSectionName) == IMAGE_SIZEOF_SHORT_NAME);

bool HoldsSignature(const IMAGE_SECTION_HEADER& section) {
  return std::memcmp(section.Name, PeSignatureSectionName, sizeof(section.Name)) == 0 &&
         (section.Characteristics & IMAGE_SCN_MEM_DISCARDABLE) == 0 &&
         section.Misc.VirtualSize >= PeSignatureSize && section.SizeOfRawData >= PeSignatureSize;
}

}  // namespace

// Looser than the checks of an image: it asks nothing of the optional header and takes any number of
// sections.
std::optional<std::uint32_t> FindSignature(ImageBytes file) {
  const std::uint32_t fileHeader = FindFileHeader(file);
  const auto header = file.Read<IMAGE_FILE_HEADER>(fileHeader, PeRule::fileHeader);
  Demand(header.SizeOfOptionalHeader != 0 && header.NumberOfSections != 0, PeRule::signatureSectionTable,
         fileHeader);
  std::uint64_t offset = std::uint64_t{fileHeader} + sizeof(header) + header.SizeOfOptionalHeader;
  file.At(offset, header.NumberOfSections * sizeof(IMAGE_SECTION_HEADER), PeRule::signatureSectionTable);
  for (unsigned int left = header.NumberOfSections; left > 0; --left) {
    const auto section = file.Read<IMAGE_SECTION_HEADER>(offset, PeRule::signatureSectionTable);
    if (HoldsSignature(section)) {
      file.At(section.PointerToRawData, section.SizeOfRawData, PeRule::signatureData);
      return section.PointerToRawData;
    }
    offset += sizeof(section);
  }
  return std::nullopt;
}

}  // namespace DriverManagement::ImageSigning1
