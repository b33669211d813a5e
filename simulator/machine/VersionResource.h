#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "machine/FileNode.h"

namespace winsim {

/// Finds the version resource (type 16, name 1, first language) in the bytes of a PE image file, 32- or
/// 64-bit. No byte outside `image` is ever read. Returns 0, or: 193 no PE image, 1006 an empty file, 1812 no
/// resources, or none that can be read, 1813 no version resource among them, 1814 no name in it.
std::uint32_t FindVersionResource(std::span<const std::uint8_t> image,
                                  std::span<const std::uint8_t>& resource);

/// Where the fixed part lies in a version resource block, the block's own length field being its limit:
/// offset and length. None when the block is malformed or has no fixed part.
struct FixedVersionPart {
  std::uint32_t offset;
  std::uint32_t length;
};
std::optional<FixedVersionPart> FindFixedVersion(const std::uint8_t* block);

}  // namespace winsim
