#include "support/ImageBuilder.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t FileAlignment = 0x200;
constexpr std::uint32_t SectionAlignment = 0x1000;
constexpr std::uint32_t DirectoryCount = 16;
constexpr std::uint32_t ResourceDirectory = 2;

std::uint32_t Align(std::size_t value, std::uint32_t alignment) {
  return (static_cast<std::uint32_t>(value) + alignment - 1) / alignment * alignment;
}

// Stores a number least significant byte first, making room for it.
void Put(Bytes& bytes, std::size_t offset, std::size_t width, std::uint64_t number) {
  bytes.resize(std::max(bytes.size(), offset + width));
  for (std::size_t index = 0; index < width; ++index) {
    bytes[offset + index] = static_cast<unsigned char>(number >> 8 * index);
  }
}

struct Section {
  const char* name;
  Bytes data;
  std::uint32_t characteristics;
  std::uint32_t address;
};

// One type with one name in one language: three directories of one entry each, the data entry and the data.
Bytes BuildVersionResource(const ImageVersion& version, std::uint32_t address) {
  constexpr std::uint32_t directorySize = 24, dataEntry = 3 * directorySize, data = dataEntry + 16;
  constexpr std::uint32_t ids[] = {16, 1, 0x409};
  Bytes resource;
  for (std::uint32_t level = 0; level < 3; ++level) {
    const std::uint32_t directory = level * directorySize;
    Put(resource, directory + 14, 2, 1);
    Put(resource, directory + 16, 4, ids[level]);
    Put(resource, directory + 20, 4, level < 2 ? 0x80000000u | (directory + directorySize) : dataEntry);
  }

  constexpr std::u16string_view key = u"VS_VERSION_INFO";
  constexpr std::uint32_t fixedInfo = 40, fixedInfoSize = 52;
  Bytes block;
  Put(block, 0, 2, fixedInfo + fixedInfoSize);
  Put(block, 2, 2, fixedInfoSize);
  for (std::size_t index = 0; index < key.size(); ++index) {
    Put(block, 6 + 2 * index, 2, key[index]);
  }
  Put(block, fixedInfo, 4, 0xFEEF04BD);
  Put(block, fixedInfo + 4, 4, 0x00010000);
  for (const std::uint32_t field : {8u, 16u}) {  // file version, product version
    Put(block, fixedInfo + field, 4, version.number >> 32);
    Put(block, fixedInfo + field + 4, 4, version.number & 0xFFFFFFFF);
  }
  Put(block, fixedInfo + 24, 4, 0x3F);
  Put(block, fixedInfo + 28, 4, version.flags);
  Put(block, fixedInfo + fixedInfoSize - 4, 4, 0);

  Put(resource, dataEntry, 4, address + data);
  Put(resource, dataEntry + 4, 4, block.size());
  Put(resource, dataEntry + 12, 4, 0);
  resource.insert(resource.end(), block.begin(), block.end());
  return resource;
}

}  // namespace

std::vector<unsigned char> BuildImage(const ImageDescription& description) {
  std::vector<Section> sections{{".text", Bytes(32, 0xC3), 0x60000020, SectionAlignment}};
  if (description.version) {
    constexpr std::uint32_t address = 2 * SectionAlignment;
    sections.push_back({".rsrc", BuildVersionResource(*description.version, address), 0x40000040, address});
  }

  Bytes image;
  constexpr std::size_t fileHeader = ImagePeOffset + 4, optionalHeader = fileHeader + 20;
  const bool plus = description.plus;
  const std::size_t directories = optionalHeader + (plus ? 112 : 96);
  const std::size_t sectionTable = directories + 8 * DirectoryCount;
  const std::uint32_t headerSize = Align(sectionTable + 40 * sections.size(), FileAlignment);
  image.resize(headerSize);

  Put(image, 0, 2, 0x5A4D);
  Put(image, 60, 4, ImagePeOffset);
  Put(image, ImagePeOffset, 4, 0x00004550);
  Put(image, fileHeader, 2, description.machine);
  Put(image, fileHeader + 2, 2, sections.size());
  Put(image, fileHeader + 16, 2, sectionTable - optionalHeader);
  Put(image, fileHeader + 18, 2, plus ? 0x0022 : 0x0102);

  Put(image, optionalHeader, 2, plus ? 0x20B : 0x10B);
  Put(image, optionalHeader + 16, 4, sections[0].address);  // entry point
  Put(image, optionalHeader + 20, 4, sections[0].address);  // base of code
  Put(image, optionalHeader + (plus ? 24 : 28), plus ? 8 : 4, 0x10000);
  Put(image, optionalHeader + 32, 4, SectionAlignment);
  Put(image, optionalHeader + 36, 4, FileAlignment);
  Put(image, optionalHeader + 40, 2, description.osMajor);
  Put(image, optionalHeader + 42, 2, description.osMinor);
  Put(image, optionalHeader + 48, 2, 5);  // subsystem version
  Put(image, optionalHeader + 56, 4, (sections.size() + 1) * SectionAlignment);
  Put(image, optionalHeader + 60, 4, headerSize);
  Put(image, optionalHeader + 68, 2, 1);  // native subsystem
  Put(image, directories - 4, 4, DirectoryCount);

  for (std::size_t index = 0; index < sections.size(); ++index) {
    const Section& section = sections[index];
    const std::size_t header = sectionTable + 40 * index;
    std::memcpy(&image[header], section.name, std::strlen(section.name));
    Put(image, header + 8, 4, section.data.size());
    Put(image, header + 12, 4, section.address);
    Put(image, header + 16, 4, Align(section.data.size(), FileAlignment));
    Put(image, header + 20, 4, image.size());
    Put(image, header + 36, 4, section.characteristics);
    image.insert(image.end(), section.data.begin(), section.data.end());
    image.resize(Align(image.size(), FileAlignment));
  }
  if (description.version) {
    Put(image, directories + 8 * ResourceDirectory, 4, sections[1].address);
    Put(image, directories + 8 * ResourceDirectory + 4, 4, sections[1].data.size());
  }
  return image;
}
