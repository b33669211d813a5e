#include "machine/VersionResource.h"

#include <algorithm>

namespace winsim {
namespace {

constexpr std::uint32_t BadExeFormat = 193;
constexpr std::uint32_t FileInvalid = 1006;
constexpr std::uint32_t ResourceDataNotFound = 1812;
constexpr std::uint32_t ResourceTypeNotFound = 1813;
constexpr std::uint32_t ResourceNameNotFound = 1814;

constexpr std::uint32_t VersionType = 16;
constexpr std::uint32_t VersionName = 1;
constexpr std::uint32_t SubdirectoryBit = 0x80000000;

using Block = std::span<const std::uint8_t>;

/// The number in `size` bytes at `offset`, the least significant first; none when they are not all there.
std::optional<std::uint32_t> Number(Block block, std::uint64_t offset, unsigned int size) {
  if (offset > block.size() || block.size() - offset < size) {
    return std::nullopt;
  }
  std::uint32_t value = 0;
  for (unsigned int i = 0; i < size; ++i) {
    value |= static_cast<std::uint32_t>(block[static_cast<std::size_t>(offset) + i]) << (8 * i);
  }
  return value;
}

std::uint32_t NumberOr0(Block block, std::uint64_t offset, unsigned int size) {
  return Number(block, offset, size).value_or(0);
}

/// The headers of an image, as far as resources need them.
struct Headers {
  std::uint64_t sections = 0;
  std::uint32_t sectionCount = 0;
  /// Address of the resources when loaded; 0 when there are none.
  std::uint32_t resources = 0;
};

std::optional<Headers> ReadHeaders(Block image) {
  const std::uint64_t header = NumberOr0(image, 60, 4);
  if (NumberOr0(image, 0, 2) != 0x5A4D || NumberOr0(image, header, 4) != 0x4550) {
    return std::nullopt;
  }
  const std::uint64_t optional = header + 24;
  const std::uint32_t optionalSize = NumberOr0(image, header + 20, 2);
  const std::uint32_t magic = NumberOr0(image, optional, 2);
  if (magic != 0x10B && magic != 0x20B) {
    return std::nullopt;
  }
  const unsigned int directories = magic == 0x10B ? 96 : 112;
  Headers result;
  result.sections = optional + optionalSize;
  result.sectionCount = NumberOr0(image, header + 6, 2);
  const unsigned int resourceEntry = directories + 2 * 8;
  if (NumberOr0(image, optional + directories - 4, 4) > 2 && optionalSize >= resourceEntry + 8) {
    result.resources = NumberOr0(image, optional + resourceEntry, 4);
  }
  return result;
}

/// What the file holds from an address of the loaded image on, to the end of that section's bytes in the
/// file.
Block AtAddress(Block image, const Headers& headers, std::uint32_t address) {
  for (std::uint32_t i = 0; i < headers.sectionCount; ++i) {
    const std::uint64_t section = headers.sections + i * std::uint64_t{40};
    const std::uint32_t start = NumberOr0(image, section + 12, 4);
    const std::uint32_t size = NumberOr0(image, section + 16, 4);
    const std::uint32_t raw = NumberOr0(image, section + 20, 4);
    if (address >= start && address - start < size) {
      const std::uint64_t offset = std::uint64_t{raw} + (address - start);
      if (offset >= image.size()) {
        return {};
      }
      const std::uint64_t left = std::min<std::uint64_t>(size - (address - start), image.size() - offset);
      return image.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(left));
    }
  }
  return {};
}

/// In the resource directory at `directory`, what the entry with that number leads to, or the first entry.
std::optional<std::uint32_t> FindEntry(Block resources, std::uint32_t directory,
                                       std::optional<std::uint32_t> id) {
  const std::uint32_t named = NumberOr0(resources, std::uint64_t{directory} + 12, 2);
  const std::uint32_t numbered = NumberOr0(resources, std::uint64_t{directory} + 14, 2);
  for (std::uint32_t i = id.has_value() ? named : 0; i < named + numbered; ++i) {
    const std::uint64_t entry = std::uint64_t{directory} + 16 + std::uint64_t{i} * 8;
    const auto target = Number(resources, entry + 4, 4);
    if (target.has_value() && (!id.has_value() || Number(resources, entry, 4) == id)) {
      return target;
    }
  }
  return std::nullopt;
}

std::optional<std::uint32_t> FindSubdirectory(Block resources, std::uint32_t directory, std::uint32_t id) {
  const auto target = FindEntry(resources, directory, id);
  return target.has_value() && (*target & SubdirectoryBit) != 0 ? std::optional(*target & ~SubdirectoryBit)
                                                                : std::nullopt;
}

}  // namespace

std::uint32_t FindVersionResource(Block image, Block& resource) {
  if (image.empty()) {
    return FileInvalid;
  }
  const auto headers = ReadHeaders(image);
  if (!headers.has_value()) {
    return BadExeFormat;
  }
  const Block resources = headers->resources == 0 ? Block() : AtAddress(image, *headers, headers->resources);
  if (resources.size() < 16) {
    return ResourceDataNotFound;
  }
  const auto names = FindSubdirectory(resources, 0, VersionType);
  if (!names.has_value()) {
    return ResourceTypeNotFound;
  }
  const auto languages = FindSubdirectory(resources, *names, VersionName);
  if (!languages.has_value()) {
    return ResourceNameNotFound;
  }
  const auto entry = FindEntry(resources, *languages, std::nullopt);
  if (!entry.has_value() || (*entry & SubdirectoryBit) != 0) {
    return ResourceDataNotFound;
  }
  const auto address = Number(resources, *entry, 4);
  const auto size = Number(resources, std::uint64_t{*entry} + 4, 4);
  const Block data = address.has_value() ? AtAddress(image, *headers, *address) : Block();
  if (!size.has_value() || *size == 0 || data.size() < *size) {
    return ResourceDataNotFound;
  }
  resource = data.first(*size);
  return 0;
}

std::optional<FixedVersionPart> FindFixedVersion(const std::uint8_t* block) {
  const std::uint32_t total = NumberOr0({block, 2}, 0, 2);
  const Block bytes(block, std::max<std::uint32_t>(total, 2));
  const std::uint32_t length = NumberOr0(bytes, 2, 2);
  std::uint32_t offset = 6;
  while (NumberOr0(bytes, offset, 2) != 0) {
    offset += 2;
  }
  offset = (offset + 2 + 3) & ~3u;
  if (length == 0 || offset > total || total - offset < length) {
    return std::nullopt;
  }
  return FixedVersionPart{offset, length};
}

}  // namespace winsim
