#include "imagesigning/PeCoverage.h"

#include <algorithm>
#include <cstddef>

#include "imagesigning/PeHeaders.h"
#include "imagesigning/PeImports.h"

namespace DriverManagement::ImageSigning1 {

namespace {

constexpr std::uint32_t MaximalDirectoryCount = IMAGE_NUMBEROF_DIRECTORY_ENTRIES;

// The header fields that count as zeros, by their offsets from the file header. Those of PE32+ differ only in
// where the last range ends.
constexpr PeRange ZeroFields[] = {
    {4, 16},   // TimeDateStamp to NumberOfSymbols
    {18, 36},  // Characteristics; Magic to SizeOfUninitializedData
    {40, 52},  // BaseOfCode to ImageBase
};
constexpr std::uint32_t MachineEnd = 2;
constexpr std::uint32_t VersionsBegin = 60;  // MajorOperatingSystemVersion
constexpr std::uint32_t LoaderFlagsEnd = 112;
constexpr std::uint32_t LoaderFlagsEndPlus = 128;

// The characters that every generation of signature sections begins with.
constexpr char SignatureNames[] = {'.', 'k', 'v', 's', 'i', 'g', 'n'};

struct Section {
  PeRange extent;         // with its padding
  std::uint32_t dataEnd;  // of what the file holds of it and the program uses
  bool discardable;
  bool covered;
};

Section CheckSection(ImageBytes image, const PeHeaders& headers, std::uint32_t index, std::uint32_t end) {
  const IMAGE_SECTION_HEADER header = ReadSection(image, headers, index);
  const std::uint32_t offset = headers.SectionHeader(index);
  const std::uint32_t addressField = offset + offsetof(IMAGE_SECTION_HEADER, VirtualAddress);
  const std::uint64_t virtualSize = AlignedVirtualSize(headers, header);
  Demand(header.VirtualAddress % headers.sectionAlignment == 0, PeRule::virtualAddress, addressField);
  Demand(index == 0 ? header.VirtualAddress >= end : header.VirtualAddress == end, PeRule::virtualAddress,
         addressField);
  Demand(header.VirtualAddress + virtualSize <= image.Size(), PeRule::imageSize, addressField);
  Demand(header.SizeOfRawData % headers.fileAlignment == 0, PeRule::rawAlignment,
         offset + offsetof(IMAGE_SECTION_HEADER, SizeOfRawData));
  Demand(header.SizeOfRawData <= virtualSize, PeRule::virtualSize,
         offset + offsetof(IMAGE_SECTION_HEADER, Misc));

  const bool discardable = (header.Characteristics & IMAGE_SCN_MEM_DISCARDABLE) != 0;
  const bool writable = (header.Characteristics & IMAGE_SCN_MEM_WRITE) != 0;
  const bool signature = std::memcmp(header.Name, SignatureNames, sizeof(SignatureNames)) == 0;
  return {{header.VirtualAddress, header.VirtualAddress + static_cast<std::uint32_t>(virtualSize)},
          header.VirtualAddress + std::min<std::uint32_t>(header.Misc.VirtualSize, header.SizeOfRawData),
          discardable,
          !discardable && !writable && !signature};
}

LVector<Section> CheckSections(ImageBytes image, const PeHeaders& headers) {
  LVector<Section> sections;
  std::uint32_t end = headers.SectionTableEnd();
  for (std::uint32_t index = 0; index < headers.sectionCount; ++index) {
    sections.push_back(CheckSection(image, headers, index, end));
    end = sections.back().extent.end;
  }
  return sections;
}

// What the system throws away after a driver's start cannot vouch for anything later.
void CheckDirectory(ImageBytes image, const PeHeaders& headers, const LVector<Section>& sections,
                    std::uint32_t number, PeRule inside, PeRule kept) {
  const PeDirectory directory = ReadDirectory(image, headers, number);
  if (directory.size == 0) return;
  image.At(directory.address, directory.size, inside);
  const PeRange range = {directory.address, directory.address + directory.size};
  for (const Section& section : sections) {
    Demand(!section.discardable || !range.Overlaps(section.extent), kept, directory.address);
  }
}

// Each relocation that begins in a section lies in it, and begins in its data. Those that begin in `zeros`
// are passed over: nothing of them is covered.
void CheckRelocations(PeRelocations relocations, const LVector<Section>& sections,
                      const LVector<PeRange>& zeros) {
  auto section = sections.begin();
  auto zero = zeros.begin();
  PeRelocation relocation;
  while (relocations.Next(relocation)) {
    while (zero != zeros.end() && zero->end <= relocation.target) {
      ++zero;
    }
    if (zero != zeros.end() && zero->begin <= relocation.target) continue;
    while (section != sections.end() && section->extent.end <= relocation.target) {
      ++section;
    }
    if (section == sections.end() || relocation.target < section->extent.begin) continue;
    Demand(relocation.End() <= section->extent.end, PeRule::relocationCrossing, relocation.target);
    Demand(relocation.target < section->dataEnd, PeRule::relocationUnbacked, relocation.target);
  }
}

void AppendHeaderFields(const PeHeaders& headers, std::uint32_t headersEnd, LVector<PeRange>& zeros) {
  const std::uint32_t start = headers.fileHeader;
  zeros.push_back({0, start + MachineEnd});
  for (const PeRange field : ZeroFields) {
    zeros.push_back({start + field.begin, start + field.end});
  }
  zeros.push_back({start + VersionsBegin, start + (headers.plus ? LoaderFlagsEndPlus : LoaderFlagsEnd)});
  zeros.push_back({headers.SectionTableEnd(), headersEnd});
}

void AppendUncoveredData(const LVector<Section>& sections, LVector<PeRange>& zeros) {
  for (const Section& section : sections) {
    if (!section.covered) zeros.push_back({section.extent.begin, section.dataEnd});
  }
}

void AppendRests(const LVector<Section>& sections, LVector<PeRange>& zeros) {
  for (const Section& section : sections) {
    zeros.push_back({section.dataEnd, section.extent.end});
  }
}

// Sorts the ranges, joins those that touch and ends them at `size`.
void Join(LVector<PeRange>& ranges, std::uint32_t size) {
  std::sort(ranges.begin(), ranges.end(),
            [](const PeRange& left, const PeRange& right) { return left.begin < right.begin; });
  std::size_t count = 0;
  for (PeRange range : ranges) {
    range.end = std::min(range.end, size);
    if (range.begin >= range.end) continue;
    if (count != 0 && range.begin <= ranges[count - 1].end) {
      ranges[count - 1].end = std::max(ranges[count - 1].end, range.end);
    } else {
      ranges[count++] = range;
    }
  }
  ranges.resize(count);
}

}  // namespace

PeCoverage ReadCoverage(ImageBytes image) {
  const PeHeaders headers = ReadPeHeaders(image);
  Demand(headers.directoryCount <= MaximalDirectoryCount, PeRule::directoryCount, headers.optionalHeader);
  const LVector<Section> sections = CheckSections(image, headers);
  CheckDirectory(image, headers, sections, IMAGE_DIRECTORY_ENTRY_IMPORT, PeRule::importDirectory,
                 PeRule::importDiscardable);
  CheckDirectory(image, headers, sections, IMAGE_DIRECTORY_ENTRY_BASERELOC, PeRule::relocationDirectory,
                 PeRule::relocationDiscardable);

  PeCoverage coverage{sections.back().extent.end, {}, PeRelocations(image, headers)};
  AppendHeaderFields(headers, sections.front().extent.begin, coverage.zeros);
  AppendThunkArrays(image, headers, coverage.zeros);
  AppendUncoveredData(sections, coverage.zeros);
  Join(coverage.zeros, coverage.size);
  CheckRelocations(coverage.relocations, sections, coverage.zeros);
  AppendRests(sections, coverage.zeros);
  Join(coverage.zeros, coverage.size);
  return coverage;
}

}  // namespace DriverManagement::ImageSigning1
