#include "imagesigning/PeImage.h"

#include <cstddef>
#include <limits>

#include "imagesigning/PeHeaders.h"

namespace DriverManagement::ImageSigning1 {

namespace {

constexpr std::uint64_t MaximalLength = std::numeric_limits<std::uint32_t>::max();

// The file's bytes before the first section's data; without any data, the headers alone.
std::uint32_t HeaderSize(ImageBytes file, const PeHeaders& headers) {
  for (std::uint32_t index = 0; index < headers.sectionCount; ++index) {
    const std::uint32_t start = ReadSection(file, headers, index).PointerToRawData;
    if (start == 0) continue;
    Demand(start >= headers.SectionTableEnd(), PeRule::headerSize,
           headers.SectionHeader(index) + offsetof(IMAGE_SECTION_HEADER, PointerToRawData));
    return start;
  }
  return headers.SectionTableEnd();
}

// Whether the section lies in the file as it must and continues an image of `length` bytes; the image's
// length with it.
std::uint64_t CheckSection(ImageBytes file, const PeHeaders& headers, std::uint32_t index,
                           std::uint64_t length) {
  const IMAGE_SECTION_HEADER section = ReadSection(file, headers, index);
  const std::uint32_t offset = headers.SectionHeader(index);
  const std::uint32_t pointerField = offset + offsetof(IMAGE_SECTION_HEADER, PointerToRawData);
  Demand(section.PointerToRawData % headers.fileAlignment == 0 &&
             section.SizeOfRawData % headers.fileAlignment == 0,
         PeRule::rawAlignment, pointerField);
  Demand(section.PointerToRawData < file.Size() &&
             section.SizeOfRawData <= file.Size() - section.PointerToRawData,
         PeRule::rawData, pointerField);
  const std::uint64_t virtualSize = AlignedVirtualSize(headers, section);
  Demand(virtualSize >= section.SizeOfRawData, PeRule::virtualSize,
         offset + offsetof(IMAGE_SECTION_HEADER, Misc));
  // The length is aligned, so the address is, too.
  Demand(section.VirtualAddress == length, PeRule::virtualAddress,
         offset + offsetof(IMAGE_SECTION_HEADER, VirtualAddress));
  Demand(length + virtualSize <= MaximalLength, PeRule::imageSize,
         offset + offsetof(IMAGE_SECTION_HEADER, Misc));
  return length + virtualSize;
}

// Adds pieces of the file to a block that is large enough for all of them.
class Builder {
 public:
  Builder(ImageBytes file, unsigned char* block) : m_file(file), m_end(block) {}

  // `size` bytes of the file, then zeros up to `alignedSize` bytes.
  void Add(std::uint32_t offset, std::uint32_t size, std::uint32_t alignedSize) {
    std::memcpy(m_end, m_file.At(offset, size, PeRule::rawData), size);
    std::memset(m_end + size, 0, alignedSize - size);
    m_end += alignedSize;
  }

 private:
  const ImageBytes m_file;
  unsigned char* m_end;
};

}  // namespace

LBuffer BuildImage(ImageBytes file) {
  const PeHeaders headers = ReadPeHeaders(file);
  const std::uint32_t headerSize = HeaderSize(file, headers);
  const std::uint64_t alignedHeaderSize = RoundUp(headerSize, headers.sectionAlignment);
  std::uint64_t length = alignedHeaderSize;
  for (std::uint32_t index = 0; index < headers.sectionCount; ++index) {
    length = CheckSection(file, headers, index, length);
  }

  LBuffer image;
  image.SetSize(static_cast<unsigned int>(length));
  {
    const LBufferLock lock(image);
    Builder builder(file, lock.Data());
    builder.Add(0, headerSize, static_cast<std::uint32_t>(alignedHeaderSize));
    for (std::uint32_t index = 0; index < headers.sectionCount; ++index) {
      const IMAGE_SECTION_HEADER section = ReadSection(file, headers, index);
      builder.Add(section.PointerToRawData, section.SizeOfRawData,
                  static_cast<std::uint32_t>(AlignedVirtualSize(headers, section)));
    }
  }
  return image;
}

}  // namespace DriverManagement::ImageSigning1
