#pragma once

#include <cstdint>

#include "system/Manager.h"

namespace DriverManagement {

// The facts about an image that an installed file or a loaded driver is judged against, and their encodings.
// A fact that the expectation leaves open, or that the judged side does not tell, never speaks against it.

enum BuildType : unsigned int {
  buildUnknown = 0,
  buildDebug = 1,
  buildPrivate = 2,
  buildSpecial = 3,
  buildRelease = 4,
};

/// Stands for a file version or target OS version that is not specified.
constexpr std::uint64_t UnspecifiedVersion = ~std::uint64_t{0};

/// The build type that the flags of a version resource or of a driver's state reply tell.
constexpr BuildType BuildTypeFromFlags(unsigned int flags) {
  if (flags & 0x01) return buildDebug;
  if (flags & 0x08) return buildPrivate;
  if (flags & 0x20) return buildSpecial;
  return buildRelease;
}

/// A file version made of the two halves in which version resources keep it.
constexpr std::uint64_t FileVersion(std::uint32_t mostSignificant, std::uint32_t leastSignificant) {
  return static_cast<std::uint64_t>(mostSignificant) << 32 | leastSignificant;
}

/// A version of which only major and minor are known: a target OS version, or a loaded driver's own. The
/// lower 16 bits of each number count.
constexpr std::uint64_t MajorMinorVersion(std::uint32_t major, std::uint32_t minor) {
  return FileVersion((major & 0xFFFF) << 16 | (minor & 0xFFFF), 0);
}

/// The machine type of a PE header's machine number, or not specified for a processor that Windows drivers of
/// this family are not made for.
constexpr LCommon::System::Manager::MachineType MachineTypeFromPe(unsigned int machine) {
  switch (machine) {
    case 0x14C:
      return LCommon::System::Manager::machineI386;
    case 0x8664:
      return LCommon::System::Manager::machineAmd64;
    case 0x200:
      return LCommon::System::Manager::machineIa64;
    default:
      return LCommon::System::Manager::machineNotSpecified;
  }
}

constexpr bool MeetsBuildType(BuildType actual, BuildType expected) {
  return expected == buildUnknown || actual == buildUnknown || actual == expected;
}

/// An unspecified actual version is the largest number and so meets every expectation by itself.
constexpr bool MeetsVersion(std::uint64_t actual, std::uint64_t expected) {
  return expected == UnspecifiedVersion || actual >= expected;
}

constexpr bool MeetsTargetOs(std::uint64_t actual, std::uint64_t expected) {
  return expected == UnspecifiedVersion || actual == UnspecifiedVersion || actual == expected;
}

}  // namespace DriverManagement
