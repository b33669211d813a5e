#pragma once

#include <cstdint>

namespace DriverManagement::ImageSigning1 {

/// The bytes from `begin` to before `end` of an image.
struct PeRange {
  std::uint32_t begin;
  std::uint32_t end;

  bool operator==(const PeRange&) const = default;
};

}  // namespace DriverManagement::ImageSigning1
