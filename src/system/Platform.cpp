#include "system/Platform.h"

#include <algorithm>
#include <optional>

#include "foundation/Assert.h"
#include "foundation/Exception.h"
#include "system/FoundationServices.h"
#include "system/Manager.h"
#include "system/PlatformState.h"
#include "system/PlatformSystem.h"

namespace LCommon::System {

namespace {

/// Everything that the layer keeps for the process, besides the `Manager`.
struct ProcessState {
  PlatformState platform;
  std::optional<FoundationServices> foundation;
};

constinit ProcessState g_process;

using GetNtVersionNumbers = void(WINAPI*)(DWORD* majorNumber, DWORD* minorNumber, DWORD* build);
using GetNtVersion = LONG(WINAPI*)(OSVERSIONINFOW* version);

/// Only the version itself is kept of what the platform answers.
template <class Record>
OSVERSIONINFOW RecordOf(const Record& record) {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  version.dwMajorVersion = record.dwMajorVersion;
  version.dwMinorVersion = record.dwMinorVersion;
  version.dwBuildNumber = record.dwBuildNumber;
  version.dwPlatformId = record.dwPlatformId;
  return version;
}

std::optional<OSVERSIONINFOW> ReadVersion(bool tryNative) {
  const HMODULE native = tryNative ? GetModuleHandleU(L"ntdll.dll") : nullptr;
  if (const auto getNumbers = FindFunction<GetNtVersionNumbers>(native, "RtlGetNtVersionNumbers")) {
    OSVERSIONINFOW record{};
    getNumbers(&record.dwMajorVersion, &record.dwMinorVersion, &record.dwBuildNumber);
    record.dwPlatformId = VER_PLATFORM_WIN32_NT;
    return RecordOf(record);
  }
  if (const auto getVersion = FindFunction<GetNtVersion>(native, "RtlGetVersion")) {
    OSVERSIONINFOW record{};
    record.dwOSVersionInfoSize = sizeof(record);
    if (getVersion(&record) != 0) return std::nullopt;
    return RecordOf(record);
  }
  // Not through the wrapper, whose choice of functions depends on this answer.
  OSVERSIONINFOA record{};
  record.dwOSVersionInfoSize = sizeof(record);
  if (!GetVersionExA(&record)) return std::nullopt;
  return RecordOf(record);
}

void SetUpAnsiText(PlatformState& platform) {
  platform.ansiCodePage = GetACP();
  platform.oemCodePage = GetOEMCP();
  platform.fileFunctionsUseAnsi = AreFileApisANSI() == TRUE;
  CPINFO information{};
  if (GetCPInfo(platform.ansiCodePage, &information)) {
    platform.maximalCharacterSize = std::clamp(information.MaxCharSize, 1u, 16u);
  }
}

template <class Function>
void Find(Function& function, HMODULE module, const char* name) {
  function = FindFunction<Function>(module, name);
}

void SetUpRunTimeFunctions(PlatformState& platform) {
  RunTimeFunctions& functions = platform.functions;
  const HMODULE kernel = GetModuleHandleU(L"kernel32.dll");
  Find(functions.moveFileEx, kernel, "MoveFileExW");
  Find(functions.getVolumePathName, kernel, "GetVolumePathNameW");
  Find(functions.changeServiceConfig2, GetModuleHandleU(L"advapi32.dll"), "ChangeServiceConfig2W");
  if (!platform.unicode) return;

  platform.setupModule = LoadSystemLibrary(L"setupapi.dll");
  const HMODULE setup = platform.setupModule.get();
  Find(functions.setupDiClassGuidsFromName, setup, "SetupDiClassGuidsFromNameW");
  Find(functions.setupDiGetClassDevs, setup, "SetupDiGetClassDevsW");
  Find(functions.setupDiDestroyDeviceInfoList, setup, "SetupDiDestroyDeviceInfoList");
  Find(functions.setupDiEnumDeviceInfo, setup, "SetupDiEnumDeviceInfo");
  Find(functions.setupDiGetDeviceRegistryProperty, setup, "SetupDiGetDeviceRegistryPropertyW");
  Find(functions.setupDiCallClassInstaller, setup, "SetupDiCallClassInstaller");
}

void Start(unsigned int flag) {
  OSVERSIONINFOW version;
  if (!DetectVersion(flag == 1, version)) throw LBaseException(L_HERE);
  g_process.foundation.emplace();

  PlatformState& platform = g_process.platform;
  platform.unicode = version.dwPlatformId == VER_PLATFORM_WIN32_NT;
  if (!platform.unicode) SetUpAnsiText(platform);
  SetUpRunTimeFunctions(platform);

  Manager::CreateInstance();
}

}  // namespace

const PlatformState& Platform() {
  return g_process.platform;
}

bool DetectVersion(bool tryNative, OSVERSIONINFOW& version) {
  std::optional<OSVERSIONINFOW>& known = g_process.platform.version;
  if (!known) known = ReadVersion(tryNative);
  if (known) version = *known;
  return known.has_value();
}

void InitializeSystem(unsigned int flag) {
  L_ASSERT_TEXT(!g_process.foundation, "g_instance == 0");
  try {
    Start(flag);
  } catch (...) {
    UninitializeSystem();
    throw;
  }
}

void UninitializeSystem() {
  Manager::DeleteInstance();
  g_process.platform.setupModule.reset();
  g_process.foundation.reset();
  g_process.platform = {};
}

}  // namespace LCommon::System
