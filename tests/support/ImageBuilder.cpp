#include "support/ImageBuilder.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t ImportDirectory = 1;
constexpr std::uint32_t ResourceDirectory = 2;
constexpr std::uint32_t RelocationDirectory = 5;

std::uint32_t Align(std::size_t value, std::uint32_t alignment) {
  return (static_cast<std::uint32_t>(value) + alignment - 1) / alignment * alignment;
}

struct Directory {
  std::uint32_t number;
  std::size_t section;
  std::size_t offset;  // in the section
  std::size_t size;
};

// One type with one name in one language: three directories of one entry each, the data entry and the data.
Bytes BuildVersionResource(const ImageVersion& version, std::uint32_t address) {
  constexpr std::uint32_t directorySize = 24, dataEntry = 3 * directorySize, data = dataEntry + 16;
  constexpr std::uint32_t ids[] = {16, 1, 0x409};
  Bytes resource;
  for (std::uint32_t level = 0; level < 3; ++level) {
    const std::uint32_t directory = level * directorySize;
    PutNumber(resource, directory + 14, 2, 1);
    PutNumber(resource, directory + 16, 4, ids[level]);
    PutNumber(resource, directory + 20, 4, level < 2 ? 0x80000000u | (directory + directorySize) : dataEntry);
  }

  constexpr std::u16string_view key = u"VS_VERSION_INFO";
  constexpr std::uint32_t fixedInfo = 40, fixedInfoSize = 52;
  Bytes block;
  PutNumber(block, 0, 2, fixedInfo + fixedInfoSize);
  PutNumber(block, 2, 2, fixedInfoSize);
  for (std::size_t index = 0; index < key.size(); ++index) {
    PutNumber(block, 6 + 2 * index, 2, key[index]);
  }
  PutNumber(block, fixedInfo, 4, 0xFEEF04BD);
  PutNumber(block, fixedInfo + 4, 4, 0x00010000);
  for (const std::uint32_t field : {8u, 16u}) {  // file version, product version
    PutNumber(block, fixedInfo + field, 4, version.number >> 32);
    PutNumber(block, fixedInfo + field + 4, 4, version.number & 0xFFFFFFFF);
  }
  PutNumber(block, fixedInfo + 24, 4, 0x3F);
  PutNumber(block, fixedInfo + 28, 4, version.flags);
  PutNumber(block, fixedInfo + fixedInfoSize - 4, 4, 0);

  PutNumber(resource, dataEntry, 4, address + data);
  PutNumber(resource, dataEntry + 4, 4, block.size());
  PutNumber(resource, dataEntry + 12, 4, 0);
  resource.insert(resource.end(), block.begin(), block.end());
  return resource;
}

// The image's sections, grown and placed.
class Layout {
 public:
  explicit Layout(const ImageDescription& description)
      : sections(description.sections),
        m_description(description),
        m_headerSize(ImageOptionalHeader + (description.plus ? 112 : 96) + 8 * description.directoryCount) {
    if (description.version) sections.push_back({".rsrc", {}, ReadOnlySection});
    if (description.signatureSection) sections.push_back({".kvsign1", Bytes(128), ReadOnlySection});
    // In this order, so that a section's address is asked for when the sections before it have their sizes.
    if (!description.relocations.empty()) AddRelocations();
    if (!description.imports.empty()) AddImports();
    if (description.version) AddVersion(description.sections.size());
  }

  // In the file.
  std::uint32_t HeaderSize() const {
    return Align(m_headerSize + 40 * sections.size(), m_description.fileAlignment);
  }
  // Final once the sections before that one are.
  std::uint32_t Address(std::size_t number) const {
    std::uint32_t address = Align(HeaderSize(), m_description.sectionAlignment);
    for (std::size_t index = 0; index < number; ++index) {
      address += Align(VirtualSize(sections[index]), m_description.sectionAlignment);
    }
    return address;
  }
  static std::uint32_t VirtualSize(const ImageSection& section) {
    return section.virtualSize.value_or(static_cast<std::uint32_t>(section.data.size()));
  }

  std::vector<ImageSection> sections;
  std::vector<Directory> directories;

 private:
  void AddVersion(std::size_t number) {
    sections[number].data = BuildVersionResource(*m_description.version, Address(number));
    directories.push_back({ResourceDirectory, number, 0, sections[number].data.size()});
  }

  // The two sections may be one: all sizes are fixed before any address is taken.
  void AddImports() {
    constexpr std::size_t nameSize = 32;
    const std::vector<ImageImport>& imports = m_description.imports;
    const std::size_t width = m_description.plus ? 8 : 4;
    std::size_t entries = 0;  // of the tables; the closing ones stand for the libraries' names
    for (const ImageImport& each : imports) {
      entries += each.functions.size() + 1;
    }
    Bytes& tables = sections[m_description.importSection].data;
    const std::size_t descriptors = Align(tables.size(), 8), size = 20 * (imports.size() + 1);
    const std::size_t lookup = Align(descriptors + size, 8), names = lookup + entries * width;
    tables.resize(names + entries * nameSize);
    Bytes& thunks = sections[m_description.thunkSection].data;
    const std::size_t thunk = Align(thunks.size(), 8);
    thunks.resize(thunk + entries * width);
    directories.push_back({ImportDirectory, m_description.importSection, descriptors, size});

    const std::uint32_t base = Address(m_description.importSection);
    const std::uint32_t thunkBase = Address(m_description.thunkSection);
    std::size_t descriptor = descriptors, entry = 0;
    for (const ImageImport& each : imports) {
      PutNumber(tables, descriptor, 4, base + lookup + entry * width);
      PutNumber(tables, descriptor + 12, 4, base + names + (entry + each.functions.size()) * nameSize);
      PutNumber(tables, descriptor + 16, 4, thunkBase + thunk + entry * width);
      descriptor += 20;
      for (const std::string& function : each.functions) {
        const std::size_t name = names + entry * nameSize;  // a hint of 2 bytes, and the name
        PutNumber(tables, lookup + entry * width, width, base + name);
        PutNumber(thunks, thunk + entry * width, width, base + name);
        std::memcpy(&tables[name + 2], function.data(), function.size());
        ++entry;
      }
      std::memcpy(&tables[names + entry * nameSize], each.library.data(), each.library.size());
      ++entry;
    }
  }

  void AddRelocations() {
    Bytes& blocks = sections[m_description.relocationSection].data;
    const std::size_t start = Align(blocks.size(), 4);
    std::size_t block = start;
    blocks.resize(start);
    for (const ImageRelocation& each : m_description.relocations) {
      const std::uint32_t page = each.target & ~0xFFFu;
      if (blocks.size() == start || GetNumber(blocks, block, 4) != page) {
        blocks.resize(Align(blocks.size(), 4));
        block = blocks.size();
        PutNumber(blocks, block, 4, page);
        PutNumber(blocks, block + 4, 4, 0);
      }
      PutNumber(blocks, blocks.size(), 2, (each.wide ? 0xA000u : 0x3000u) | (each.target & 0xFFF));
      PutNumber(blocks, block + 4, 4, Align(blocks.size() - block, 4));
    }
    blocks.resize(Align(blocks.size(), 4));
    directories.push_back(
        {RelocationDirectory, m_description.relocationSection, start, blocks.size() - start});
  }

  const ImageDescription& m_description;
  const std::size_t m_headerSize;
};

}  // namespace

std::vector<unsigned char> BuildImage(const ImageDescription& description) {
  const Layout layout(description);
  const bool plus = description.plus;
  const std::uint32_t entryPoint = layout.Address(0);
  Bytes image(layout.HeaderSize());

  PutNumber(image, 0, 2, 0x5A4D);
  PutNumber(image, 60, 4, ImagePeOffset);
  PutNumber(image, ImagePeOffset, 4, 0x00004550);
  PutNumber(image, ImageFileHeader, 2, description.machine);
  PutNumber(image, ImageFileHeader + 2, 2, layout.sections.size());
  PutNumber(image, ImageFileHeader + 16, 2, (plus ? 112 : 96) + 8 * description.directoryCount);
  PutNumber(image, ImageFileHeader + 18, 2, plus ? 0x0022 : 0x0102);

  PutNumber(image, ImageOptionalHeader, 2, plus ? 0x20B : 0x10B);
  PutNumber(image, ImageOptionalHeader + 16, 4, entryPoint);
  PutNumber(image, ImageOptionalHeader + 20, 4, entryPoint);  // base of code
  PutNumber(image, ImageOptionalHeader + (plus ? 24 : 28), plus ? 8 : 4, 0x10000);
  PutNumber(image, ImageOptionalHeader + 32, 4, description.sectionAlignment);
  PutNumber(image, ImageOptionalHeader + 36, 4, description.fileAlignment);
  PutNumber(image, ImageOptionalHeader + 40, 2, description.osMajor);
  PutNumber(image, ImageOptionalHeader + 42, 2, description.osMinor);
  PutNumber(image, ImageOptionalHeader + 48, 2, 5);  // subsystem version
  PutNumber(image, ImageOptionalHeader + 56, 4, layout.Address(layout.sections.size()));
  PutNumber(image, ImageOptionalHeader + 60, 4, layout.HeaderSize());
  PutNumber(image, ImageOptionalHeader + 68, 2, 1);  // native subsystem
  PutNumber(image, ImageDirectory(image, 0) - 4, 4, description.directoryCount);
  for (const Directory& each : layout.directories) {
    PutNumber(image, ImageDirectory(image, each.number), 4, layout.Address(each.section) + each.offset);
    PutNumber(image, ImageDirectory(image, each.number) + 4, 4, each.size);
  }

  for (std::size_t index = 0; index < layout.sections.size(); ++index) {
    const ImageSection& section = layout.sections[index];
    const std::uint32_t header = ImageSectionHeader(image, index);
    const std::uint32_t rawSize =
        section.rawSize.value_or(Align(section.data.size(), description.fileAlignment));
    std::memcpy(&image[header], section.name.data(), section.name.size());
    PutNumber(image, header + 8, 4, Layout::VirtualSize(section));
    PutNumber(image, header + 12, 4, layout.Address(index));
    PutNumber(image, header + 16, 4, rawSize);
    PutNumber(image, header + 20, 4, rawSize == 0 ? 0 : image.size());
    PutNumber(image, header + 36, 4, section.characteristics);
    Bytes data = section.data;
    data.resize(rawSize);
    image.insert(image.end(), data.begin(), data.end());
    image.resize(Align(image.size(), description.fileAlignment));
  }
  return image;
}

ImageDescription SampleDriver(bool plus) {
  constexpr std::uint32_t code = 0x400, constants = 0x600, variables = 0xA00;
  ImageDescription driver;
  driver.plus = plus;
  driver.machine = plus ? 0x8664 : 0x014C;
  driver.version.reset();
  driver.signatureSection = true;
  driver.sectionAlignment = 0x200;
  driver.sections = {{".text", Bytes(0x1E0, 0xC3), CodeSection},
                     {".rdata", Bytes(0x80, 0x11), ReadOnlySection, 0x400},
                     {".data", Bytes(0x140, 0x22), WritableSection, 0x240},
                     {"INIT", Bytes(0x60, 0x33), 0x62000020},
                     {".reloc", {}, ReadOnlySection}};
  driver.imports = {{"ntoskrnl.exe", {"IoCreateDevice", "IoDeleteDevice", "KeWaitForSingleObject"}},
                    {"hal.dll", {"KeGetCurrentIrql"}}};
  driver.importSection = driver.thunkSection = 1;
  driver.relocations = {{code + 0x10, plus},      {code + 0x20, false},      {code + 0x1D0, plus},
                        {constants + 0x10, plus}, {constants + 0x18, false}, {variables + 0x30, plus}};
  driver.relocationSection = 4;
  return driver;
}

std::uint32_t ImageDirectory(const std::vector<unsigned char>& image, std::uint32_t number) {
  const bool plus = GetNumber(image, ImageOptionalHeader, 2) == 0x20B;
  return ImageOptionalHeader + (plus ? 112 : 96) + 8 * number;
}

std::uint32_t ImageSectionHeader(const std::vector<unsigned char>& image, std::size_t number) {
  return ImageOptionalHeader +
         static_cast<std::uint32_t>(GetNumber(image, ImageFileHeader + 16, 2) + 40 * number);
}

void PutNumber(std::vector<unsigned char>& bytes, std::size_t offset, std::size_t width,
               std::uint64_t number) {
  bytes.resize(std::max(bytes.size(), offset + width));
  for (std::size_t index = 0; index < width; ++index) {
    bytes[offset + index] = static_cast<unsigned char>(number >> 8 * index);
  }
}

std::uint64_t GetNumber(const std::vector<unsigned char>& bytes, std::size_t offset, std::size_t width) {
  std::uint64_t number = 0;
  for (std::size_t index = 0; index < width; ++index) {
    number |= std::uint64_t{bytes.at(offset + index)} << 8 * index;
  }
  return number;
}
