#pragma once

#include <cstdint>

namespace DriverManagement::ImageSigning1 {

/// The bytes from `begin` to before `end` of an image.
struct PeRange {
  std::uint32_t begin;
  std::uint32_t end;

  /// Whether some byte, or an empty range's place, lies inside the other.
  bool Overlaps(PeRange other) const { return begin < other.end && other.begin < end; }
  bool operator==(const PeRange&) const = default;
};

}  // namespace DriverManagement::ImageSigning1
