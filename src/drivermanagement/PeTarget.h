#pragma once

#include <cstdint>
#include <optional>

#include "foundation/UnicodeString.h"
#include "system/Manager.h"

namespace DriverManagement {

/// What an image is made for, by its headers.
struct PeTarget {
  LCommon::System::Manager::MachineType machine;
  /// Target OS version, see `MajorMinorVersion`.
  std::uint64_t osVersion;
};

/// The target of the image file at `path`; none when its headers are malformed or its processor is unknown.
/// Failures to open, map or view the file pass as exceptions of `LCommon::System::File`, `FileMapping` and
/// `FileMappingView`; a fixed part of the optional header that the file cuts short is such a failure of the
/// view.
std::optional<PeTarget> ReadPeTarget(LUnicodeString path);

}  // namespace DriverManagement
