#pragma once

#include <optional>

#include "system/Library.h"

namespace LCommon::System {

/// The functions that older versions of Windows lack; null when absent.
struct RunTimeFunctions {
  decltype(&MoveFileExW) moveFileEx = nullptr;
  decltype(&GetVolumePathNameW) getVolumePathName = nullptr;
  decltype(&ChangeServiceConfig2W) changeServiceConfig2 = nullptr;
  decltype(&SetupDiClassGuidsFromNameW) setupDiClassGuidsFromName = nullptr;
  decltype(&SetupDiGetClassDevsW) setupDiGetClassDevs = nullptr;
  decltype(&SetupDiDestroyDeviceInfoList) setupDiDestroyDeviceInfoList = nullptr;
  decltype(&SetupDiEnumDeviceInfo) setupDiEnumDeviceInfo = nullptr;
  decltype(&SetupDiGetDeviceRegistryPropertyW) setupDiGetDeviceRegistryProperty = nullptr;
  decltype(&SetupDiCallClassInstaller) setupDiCallClassInstaller = nullptr;
};

/// What the platform wrappers know of the machine: written by `InitializeSystem`, only read between that and
/// `UninitializeSystem`, which puts everything back to the values below.
struct PlatformState {
  /// Windows of the NT family: the wrappers call the wide functions.
  bool unicode = false;

  // Of 8-bit text, where the wide functions do not work.
  UINT ansiCodePage = CP_ACP;
  UINT oemCodePage = CP_OEMCP;
  bool fileFunctionsUseAnsi = true;
  /// Bytes of the longest character of the ANSI code page, 1 to 16.
  unsigned int maximalCharacterSize = 1;

  std::optional<OSVERSIONINFOW> version;
  LoadedModule setupModule;
  RunTimeFunctions functions;
};

const PlatformState& Platform();

}  // namespace LCommon::System
