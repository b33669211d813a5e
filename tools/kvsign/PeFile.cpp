#include "PeFile.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>

#include "Refusal.h"
#include "imagesigning/PeRange.h"
#include "imagesigning/PeSignatureSection.h"

namespace kvsign {
namespace {

using DriverManagement::ImageSigning1::AlignedVirtualSize;
using DriverManagement::ImageSigning1::FindSignature;
using DriverManagement::ImageSigning1::ImageBytes;
using DriverManagement::ImageSigning1::MaximalSectionCount;
using DriverManagement::ImageSigning1::PeDirectory;
using DriverManagement::ImageSigning1::PeHeaders;
using DriverManagement::ImageSigning1::PeRange;
using DriverManagement::ImageSigning1::PeRefusal;
using DriverManagement::ImageSigning1::PeSignatureSectionName;
using DriverManagement::ImageSigning1::PeSignatureSize;
using DriverManagement::ImageSigning1::ReadDirectory;
using DriverManagement::ImageSigning1::ReadPeHeaders;
using DriverManagement::ImageSigning1::ReadSection;
using DriverManagement::ImageSigning1::RoundUp;

constexpr std::uint32_t ReadOnlyData = 0x40000040;

constexpr std::uint32_t CertificateDirectory = 4;
constexpr std::uint32_t DebugDirectory = 6;
constexpr std::uint32_t DebugEntrySize = 28;
constexpr std::uint32_t DebugPointerOffset = 24;  // PointerToRawData in an entry

// Fields of the optional header; both widths have them at the same place.
constexpr std::uint32_t InitializedDataField = offsetof(IMAGE_OPTIONAL_HEADER32, SizeOfInitializedData);
constexpr std::uint32_t ImageSizeField = offsetof(IMAGE_OPTIONAL_HEADER32, SizeOfImage);
constexpr std::uint32_t HeadersSizeField = offsetof(IMAGE_OPTIONAL_HEADER32, SizeOfHeaders);
constexpr std::uint32_t CheckSumField = offsetof(IMAGE_OPTIONAL_HEADER32, CheckSum);
static_assert(InitializedDataField == offsetof(IMAGE_OPTIONAL_HEADER64, SizeOfInitializedData));
static_assert(ImageSizeField == offsetof(IMAGE_OPTIONAL_HEADER64, SizeOfImage));
static_assert(HeadersSizeField == offsetof(IMAGE_OPTIONAL_HEADER64, SizeOfHeaders));
static_assert(CheckSumField == offsetof(IMAGE_OPTIONAL_HEADER64, CheckSum));

std::string NameOf(const IMAGE_SECTION_HEADER& section) {
  const char* const name = reinterpret_cast<const char*>(section.Name);
  return std::string(name, strnlen(name, sizeof(section.Name)));
}

ImageBytes View(const Bytes& bytes) {
  return ImageBytes(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

[[noreturn]] void FailForRoom(const char* why) {
  throw std::runtime_error(std::string("there is no room for a signature section: ") + why +
                           "; link the image with a section .kvsign1 of 128 bytes in it");
}

}  // namespace

PeFile::PeFile(Bytes bytes) : m_bytes(std::move(bytes)) {
  Reload();
}

void PeFile::Reload() {
  try {
    m_headers = ReadPeHeaders(View(m_bytes));
  } catch (const PeRefusal& refusal) {
    throw Refusal{refusal, false};
  }
}

// The fields that are read and changed are known to be there.
template <class T>
T PeFile::Get(std::uint32_t offset) const {
  T value;
  std::memcpy(&value, m_bytes.data() + offset, sizeof(value));
  return value;
}

template <class T>
void PeFile::Set(std::uint32_t offset, const T& value) {
  std::memcpy(m_bytes.data() + offset, &value, sizeof(value));
}

IMAGE_SECTION_HEADER PeFile::Section(std::uint32_t index) const {
  return ReadSection(View(m_bytes), m_headers, index);
}

bool PeFile::HasCertificates() const {
  return ReadDirectory(View(m_bytes), m_headers, CertificateDirectory).size != 0;
}

std::vector<std::string> PeFile::KeepSections(std::uint32_t number) {
  const PeDirectory directory = ReadDirectory(View(m_bytes), m_headers, number);
  const PeRange range = {directory.address, directory.address + directory.size};
  std::vector<std::string> names;
  for (std::uint32_t index = 0; index < m_headers.sectionCount; ++index) {
    IMAGE_SECTION_HEADER section = Section(index);
    const std::uint64_t end = section.VirtualAddress + AlignedVirtualSize(m_headers, section);
    const bool overlaps = range.Overlaps({section.VirtualAddress, static_cast<std::uint32_t>(end)});
    if (!overlaps || (section.Characteristics & IMAGE_SCN_MEM_DISCARDABLE) == 0) continue;
    section.Characteristics &= ~IMAGE_SCN_MEM_DISCARDABLE;
    Set(m_headers.SectionHeader(index), section);
    names.push_back(NameOf(section));
  }
  return names;
}

void PeFile::AddSignatureSection() {
  if (m_headers.sectionCount == MaximalSectionCount) FailForRoom("there are 96 sections already");
  MakeRoomForSectionHeader();

  const IMAGE_SECTION_HEADER last = Section(m_headers.sectionCount - 1);
  const std::uint64_t address = last.VirtualAddress + AlignedVirtualSize(m_headers, last);
  const std::uint64_t end = address + m_headers.sectionAlignment;
  const std::uint64_t data = RoundUp(m_bytes.size(), m_headers.fileAlignment);
  const std::uint64_t fileEnd = data + m_headers.fileAlignment;
  if (end > std::numeric_limits<std::uint32_t>::max() || fileEnd > MaximalImageSize) {
    FailForRoom("the image ends at 4 GB");
  }

  IMAGE_SECTION_HEADER section = {};
  std::copy(std::begin(PeSignatureSectionName), std::end(PeSignatureSectionName), section.Name);
  section.Misc.VirtualSize = PeSignatureSize;
  section.VirtualAddress = static_cast<std::uint32_t>(address);
  section.SizeOfRawData = m_headers.fileAlignment;
  section.PointerToRawData = static_cast<std::uint32_t>(data);
  section.Characteristics = ReadOnlyData;
  m_bytes.resize(fileEnd);
  Set(m_headers.SectionTableEnd(), section);
  Set(m_headers.fileHeader + offsetof(IMAGE_FILE_HEADER, NumberOfSections),
      static_cast<std::uint16_t>(m_headers.sectionCount + 1));
  Set(m_headers.optionalHeader + ImageSizeField, static_cast<std::uint32_t>(end));
  const std::uint32_t initializedData = m_headers.optionalHeader + InitializedDataField;
  Set(initializedData, Get<std::uint32_t>(initializedData) + section.SizeOfRawData);
  Reload();
}

void PeFile::MakeRoomForSectionHeader() {
  const std::uint32_t tableEnd = m_headers.SectionTableEnd();
  const std::uint64_t needed = std::uint64_t{tableEnd} + sizeof(IMAGE_SECTION_HEADER);
  std::uint64_t dataStart = RoundUp(needed, m_headers.fileAlignment);
  for (std::uint32_t index = 0; index < m_headers.sectionCount; ++index) {
    const std::uint32_t start = Section(index).PointerToRawData;
    if (start != 0) dataStart = std::min<std::uint64_t>(dataStart, start);
  }
  if (dataStart < tableEnd) FailForRoom("a section's data overlaps the section table");
  // Some linkers keep tables of their own there.
  const std::uint64_t freeEnd = std::min<std::uint64_t>({needed, dataStart, m_bytes.size()});
  if (!std::all_of(m_bytes.begin() + tableEnd, m_bytes.begin() + static_cast<std::ptrdiff_t>(freeEnd),
                   [](std::uint8_t byte) { return byte == 0; })) {
    FailForRoom("the bytes behind the section table are in use");
  }
  if (dataStart < needed) {
    const std::uint64_t growth = RoundUp(needed - dataStart, m_headers.fileAlignment);
    if (RoundUp(dataStart + growth, m_headers.sectionAlignment) > Section(0).VirtualAddress) {
      FailForRoom("the section table ends where the first section begins");
    }
    if (m_bytes.size() + growth > MaximalImageSize) FailForRoom("the file ends at 4 GB");
    EnlargeHeaders(static_cast<std::uint32_t>(dataStart), static_cast<std::uint32_t>(growth));
  }
  const std::uint32_t field = m_headers.optionalHeader + HeadersSizeField;
  const auto headersSize = static_cast<std::uint32_t>(RoundUp(needed, m_headers.fileAlignment));
  Set(field, std::max(Get<std::uint32_t>(field), headersSize));
}

// Everything from `dataStart` on moves, and whatever points there follows.
void PeFile::EnlargeHeaders(std::uint32_t dataStart, std::uint32_t growth) {
  MoveDebugData(dataStart, growth);
  const auto moved = [=](std::uint32_t offset) { return offset < dataStart ? offset : offset + growth; };
  const std::uint32_t symbols =
      m_headers.fileHeader + std::uint32_t{offsetof(IMAGE_FILE_HEADER, PointerToSymbolTable)};
  Set(symbols, moved(Get<std::uint32_t>(symbols)));
  for (std::uint32_t index = 0; index < m_headers.sectionCount; ++index) {
    IMAGE_SECTION_HEADER section = Section(index);
    section.PointerToRawData = moved(section.PointerToRawData);
    section.PointerToRelocations = moved(section.PointerToRelocations);
    section.PointerToLinenumbers = moved(section.PointerToLinenumbers);
    Set(m_headers.SectionHeader(index), section);
  }
  m_bytes.insert(m_bytes.begin() + dataStart, growth, 0);
}

// The debug directory says for each of its entries where in the file its data lies.
void PeFile::MoveDebugData(std::uint32_t dataStart, std::uint32_t growth) {
  const PeDirectory directory = ReadDirectory(View(m_bytes), m_headers, DebugDirectory);
  for (std::uint32_t index = 0; index < m_headers.sectionCount; ++index) {
    const IMAGE_SECTION_HEADER section = Section(index);
    if (directory.address < section.VirtualAddress) continue;
    const std::uint64_t begin = directory.address - section.VirtualAddress;
    for (std::uint64_t entry = begin;
         entry + DebugEntrySize <= std::min<std::uint64_t>(begin + directory.size, section.SizeOfRawData);
         entry += DebugEntrySize) {
      const auto field = static_cast<std::uint32_t>(section.PointerToRawData + entry + DebugPointerOffset);
      const auto pointer = Get<std::uint32_t>(field);
      if (pointer >= dataStart) Set(field, pointer + growth);
    }
  }
}

void PeFile::SetSignature(const Block& signature) {
  Set(FindSignature(View(m_bytes)).value(), signature);
  Set(m_headers.optionalHeader + CheckSumField, CheckSum());
}

// The sum of the file's 16-bit words, each carry added at the lower end, with the checksum itself as zeros,
// plus the file's size.
std::uint32_t PeFile::CheckSum() const {
  const std::uint32_t field = m_headers.optionalHeader + CheckSumField;
  std::uint64_t sum = 0;
  for (std::uint32_t offset = 0; offset < m_bytes.size(); ++offset) {
    if (offset - field < sizeof(std::uint32_t)) continue;
    sum += std::uint64_t{m_bytes[offset]} << (offset % 2 * 8);
  }
  while (sum > 0xFFFF) {
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  return static_cast<std::uint32_t>(sum + m_bytes.size());
}

}  // namespace kvsign
