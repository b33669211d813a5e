#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "machine/Text.h"

namespace winsim {

/// A Windows version as the version functions report it.
struct WindowsVersion {
  std::uint32_t major = 10;
  std::uint32_t minor = 0;
  std::uint32_t build = 19045;
  /// 1 the 8-bit-only line, 2 the NT family.
  std::uint32_t platformId = 2;
  std::u16string servicePack;

  /// Windows 10 of the autumn of 1709, which lifted a few restrictions, or later.
  bool IsAtLeast1709() const { return major > 10 || (major == 10 && build >= 16299); }
};

/// What a machine is, as opposed to what is on it: fixed when the machine is made.
struct Settings {
  /// What the kernel's own functions (RtlGetVersion, RtlGetNtVersionNumbers) say.
  WindowsVersion version;
  /// What GetVersionEx says; a program without a manifest for newer versions is told an older one.
  WindowsVersion reportedVersion;
  /// GetVersionEx knows the extended record; the 8-bit-only systems did not.
  bool extendedVersionRecord = true;
  /// Programs on this machine are 32-bit on a 64-bit Windows (file-system redirection applies).
  bool wow64 = false;
  std::uint32_t ansiCodePage = 1252;
  std::uint32_t oemCodePage = 437;
  bool fileApisUseAnsi = true;
  /// Libraries that cannot be loaded and functions that GetProcAddress does not find, as on older systems;
  /// the wide functions of an 8-bit-only system fail by themselves.
  std::set<std::u16string, CaseInsensitiveLess> missingModules;
  std::set<std::string> missingFunctions;
  std::u16string windowsDirectory = u"C:\\Windows";
  /// 100-nanosecond units since 1601 (UTC) at the first start; 2026-01-01T00:00:00Z.
  std::uint64_t startTime = 134116992000000000;

  static Settings Windows10();
  /// A 32-bit program on Windows 10 x64.
  static Settings Windows10Wow64();
  static Settings Windows2000();
  static Settings WindowsNt4();
  /// 8-bit only: platform id 1, no wide functions, no service control manager.
  static Settings Windows98();
};

}  // namespace winsim
