#include "ImageFacts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "Image.h"
#include "imagesigning/PeHeaders.h"
#include "imagesigning/PeImports.h"
#include "imagesigning/PeSignatureSection.h"

namespace kvsign {
namespace {

using DriverManagement::ImageSigning1::AppendThunkArrays;
using DriverManagement::ImageSigning1::FindFileHeader;
using DriverManagement::ImageSigning1::FindSectionTable;
using DriverManagement::ImageSigning1::FindSignature;
using DriverManagement::ImageSigning1::ImageBytes;
using DriverManagement::ImageSigning1::PeRefusal;
using DriverManagement::ImageSigning1::PeRelocation;
using DriverManagement::ImageSigning1::PeRelocations;
using DriverManagement::ImageSigning1::PeRule;
using DriverManagement::ImageSigning1::ReadPeHeaders;
using DriverManagement::ImageSigning1::ReadPlus;

/// A field with its sizes in the headers of PE32 and of PE32+; 0 where there is none.
struct Field {
  const char* name;
  std::uint32_t size;
  std::uint32_t sizePlus;
  bool isVersion = false;
};

/// The file header and the optional header without its directories, one behind the other.
constexpr Field Fields[] = {
    {"Machine", 2, 2},
    {"NumberOfSections", 2, 2},
    {"TimeDateStamp", 4, 4},
    {"PointerToSymbolTable", 4, 4},
    {"NumberOfSymbols", 4, 4},
    {"SizeOfOptionalHeader", 2, 2},
    {"Characteristics", 2, 2},
    {"Magic", 2, 2},
    {"LinkerVersion", 2, 2, true},
    {"SizeOfCode", 4, 4},
    {"SizeOfInitializedData", 4, 4},
    {"SizeOfUninitializedData", 4, 4},
    {"AddressOfEntryPoint", 4, 4},
    {"BaseOfCode", 4, 4},
    {"BaseOfData", 4, 0},
    {"ImageBase", 4, 8},
    {"SectionAlignment", 4, 4},
    {"FileAlignment", 4, 4},
    {"OperatingSystemVersion", 4, 4, true},
    {"ImageVersion", 4, 4, true},
    {"SubsystemVersion", 4, 4, true},
    {"Win32VersionValue", 4, 4},
    {"SizeOfImage", 4, 4},
    {"SizeOfHeaders", 4, 4},
    {"CheckSum", 4, 4},
    {"Subsystem", 2, 2},
    {"DllCharacteristics", 2, 2},
    {"SizeOfStackReserve", 4, 8},
    {"SizeOfStackCommit", 4, 8},
    {"SizeOfHeapReserve", 4, 8},
    {"SizeOfHeapCommit", 4, 8},
    {"LoaderFlags", 4, 4},
    {"NumberOfRvaAndSizes", 4, 4},
};

constexpr std::uint32_t SizeOfFields(bool plus) {
  std::uint32_t size = 0;
  for (const Field& field : Fields) {
    size += plus ? field.sizePlus : field.size;
  }
  return size;
}
static_assert(SizeOfFields(false) ==
              sizeof(IMAGE_FILE_HEADER) + offsetof(IMAGE_OPTIONAL_HEADER32, DataDirectory));
static_assert(SizeOfFields(true) ==
              sizeof(IMAGE_FILE_HEADER) + offsetof(IMAGE_OPTIONAL_HEADER64, DataDirectory));

constexpr const char* DirectoryNames[IMAGE_NUMBEROF_DIRECTORY_ENTRIES] = {
    "Export",  "Import",       "Resource",      "Exception",   "Certificate", "BaseRelocation",
    "Debug",   "Architecture", "GlobalPointer", "ThreadLocal", "LoadConfig",  "BoundImport",
    "Address", "DelayImport",  "ClrHeader",     "Reserved"};

std::uint64_t ReadNumber(ImageBytes file, std::uint32_t offset, std::uint32_t size) {
  std::uint64_t value = 0;
  std::memcpy(&value, file.At(offset, size, PeRule::optionalHeader), size);
  return value;
}

/// The headers as far as they are there: a PeRefusal ends the reading, and what was read stays.
void ReadHeaders(ImageBytes file, ImageFacts& facts) {
  const std::uint32_t fileHeader = FindFileHeader(file);
  facts.plus = ReadPlus(file, fileHeader);
  std::uint32_t offset = fileHeader;
  for (const Field& field : Fields) {
    const std::uint32_t size = *facts.plus ? field.sizePlus : field.size;
    if (size == 0) continue;
    facts.fields.push_back({field.name, offset, size, ReadNumber(file, offset, size), field.isVersion, {}});
    offset += size;
  }
  const std::uint64_t count = std::min<std::uint64_t>(facts.fields.back().value, std::size(DirectoryNames));
  for (std::uint32_t number = 0; number < count; ++number) {
    const auto directory = file.Read<IMAGE_DATA_DIRECTORY>(offset, PeRule::optionalHeader);
    offset += std::uint32_t{sizeof(directory)};
    if (directory.VirtualAddress == 0 && directory.Size == 0) continue;
    facts.directories.push_back({DirectoryNames[number], directory.VirtualAddress, directory.Size});
  }
}

void ReadSections(ImageBytes file, ImageFacts& facts) {
  const std::uint32_t fileHeader = FindFileHeader(file);
  std::uint32_t offset = FindSectionTable(file, fileHeader);
  const auto header = file.Read<IMAGE_FILE_HEADER>(fileHeader, PeRule::fileHeader);
  for (unsigned int left = header.NumberOfSections; left > 0; --left) {
    const auto section = file.Read<IMAGE_SECTION_HEADER>(offset, PeRule::sectionTable);
    offset += std::uint32_t{sizeof(section)};
    const char* const name = reinterpret_cast<const char*>(section.Name);
    facts.sections.push_back({std::string(name, strnlen(name, sizeof(section.Name))), section, {}, {}});
  }
}

bool IsCovered(const std::vector<PeRange>& zeros, std::uint64_t begin, std::uint64_t end) {
  return std::none_of(zeros.begin(), zeros.end(),
                      [=](const PeRange& range) { return range.begin <= begin && end <= range.end; });
}

/// Why nothing is covered of a section of which that is so.
std::vector<std::string> Reasons(const SectionFacts& section) {
  std::vector<std::string> reasons;
  if ((section.header.Characteristics & IMAGE_SCN_MEM_WRITE) != 0) reasons.push_back("writable");
  if ((section.header.Characteristics & IMAGE_SCN_MEM_DISCARDABLE) != 0) reasons.push_back("discardable");
  if (section.name.starts_with(".kvsign")) reasons.push_back("signature");
  if (std::min(section.header.Misc.VirtualSize, section.header.SizeOfRawData) == 0)
    reasons.push_back("no data");
  if (reasons.empty()) reasons.push_back("import thunks");
  return reasons;
}

void ReadCovered(const LoadedImage& image, ImageFacts& facts) {
  const ImageBytes bytes(image.bytes.Data(), image.bytes.Size());
  facts.imageSize = image.coverage.size;
  facts.zeros.assign(image.coverage.zeros.begin(), image.coverage.zeros.end());
  facts.digest = Hexadecimal(DigestOf(image));
  LVector<PeRange> thunkArrays;
  AppendThunkArrays(bytes, ReadPeHeaders(bytes), thunkArrays);
  facts.thunkArrays.assign(thunkArrays.begin(), thunkArrays.end());
  PeRelocations relocations = image.coverage.relocations;
  for (PeRelocation relocation; relocations.Next(relocation);) {
    ++facts.relocations;
  }
  for (FieldFacts& field : facts.fields) {
    field.covered = IsCovered(facts.zeros, field.offset, field.offset + field.size);
  }
  for (SectionFacts& section : facts.sections) {
    const std::uint64_t begin = section.header.VirtualAddress;
    const std::uint64_t end = begin + section.header.Misc.VirtualSize;
    section.covered = begin != end && IsCovered(facts.zeros, begin, end);
    if (!*section.covered) section.reasons = Reasons(section);
  }
}

}  // namespace

ImageFacts ReadFacts(const Bytes& file) {
  const ImageBytes bytes(file.data(), static_cast<std::uint32_t>(file.size()));
  ImageFacts facts;
  facts.fileSize = file.size();
  try {
    ReadHeaders(bytes, facts);
    ReadSections(bytes, facts);
    facts.signature = FindSignature(bytes);
    ReadCovered(LoadImage(file), facts);
  } catch (const PeRefusal& refusal) {
    facts.refusal = Refusal{refusal, false};
  } catch (const Refusal& refusal) {
    facts.refusal = refusal;
  }
  return facts;
}

}  // namespace kvsign
