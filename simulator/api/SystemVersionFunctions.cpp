#include <cstring>

#include "api/Call.h"
#include "api/RunTimeFunctions.h"
#include "machine/CodePages.h"

// Versions of the system.

using namespace winsim;

namespace {

constexpr WORD SuiteSingleUserTerminalServices = 0x100;
constexpr BYTE ProductWorkstation = 1;
constexpr DWORD FreeBuildFlags = 0xF0000000;

template <class Record>
void FillBase(const WindowsVersion& version, Record& record) {
  record.dwMajorVersion = version.major;
  record.dwMinorVersion = version.minor;
  record.dwBuildNumber = version.build;
  record.dwPlatformId = version.platformId;
}

/// The number at the end of "Service Pack 4"; 0 when there is none.
WORD ServicePackNumber(const std::u16string& text) {
  unsigned int number = 0;
  for (const char16_t unit : text.substr(text.find_last_of(u' ') + 1)) {
    number = unit >= u'0' && unit <= u'9' ? number * 10 + (unit - u'0') : 0;
  }
  return static_cast<WORD>(number);
}

/// Fills what the extended record `Extended` has behind the plain one.
template <class Extended>
void FillExtension(const WindowsVersion& version, void* record) {
  auto& extended = *static_cast<Extended*>(record);
  extended.wServicePackMajor = ServicePackNumber(version.servicePack);
  extended.wServicePackMinor = 0;
  extended.wSuiteMask = SuiteSingleUserTerminalServices;
  extended.wProductType = ProductWorkstation;
  extended.wReserved = 0;
}

/// Copies at most 127 units and fills the rest of the field with zeros.
template <class Unit, class Text>
void FillServicePack(const Text& text, Unit (&field)[128]) {
  std::memset(field, 0, sizeof field);
  for (std::size_t i = 0; i < text.size() && i < 127; ++i) {
    field[i] = static_cast<Unit>(text[i]);
  }
}

/// Whether GetVersionEx takes a record of `size` bytes on this machine, and whether it is an extended one.
template <class Plain, class Extended>
bool IsKnownSize(const Thread& thread, DWORD size, bool& isExtended) {
  isExtended = size == sizeof(Extended) && thread.GetMachine().settings.extendedVersionRecord;
  return isExtended || size == sizeof(Plain);
}

LONG WINAPI RtlGetVersion(LPOSVERSIONINFOW record) {
  return StatusCall("RtlGetVersion", {}, [&](Thread& thread) -> DWORD {
    const WindowsVersion& version = thread.GetMachine().settings.version;
    FillBase(version, *record);
    FillServicePack(version.servicePack, record->szCSDVersion);
    if (record->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW)) {
      FillExtension<OSVERSIONINFOEXW>(version, record);
    }
    return ERROR_SUCCESS;
  });
}

void WINAPI RtlGetNtVersionNumbers(LPDWORD major, LPDWORD minor, LPDWORD build) {
  PlainCall("RtlGetNtVersionNumbers", {}, [&](Thread& thread) {
    const WindowsVersion& version = thread.GetMachine().settings.version;
    const auto give = [](LPDWORD target, DWORD number) {
      if (target != nullptr) {
        *target = number;
      }
    };
    give(major, version.major);
    give(minor, version.minor);
    give(build, version.build | FreeBuildFlags);
  });
}

}  // namespace

BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA record) {
  return BoolCall("GetVersionExA", {}, [&](Thread& thread) -> DWORD {
    bool isExtended = false;
    if (!IsKnownSize<OSVERSIONINFOA, OSVERSIONINFOEXA>(thread, record->dwOSVersionInfoSize, isExtended)) {
      return ERROR_INSUFFICIENT_BUFFER;
    }
    const WindowsVersion& version = thread.GetMachine().settings.reportedVersion;
    FillBase(version, *record);
    FillServicePack(ToAnsi(thread.GetMachine(), version.servicePack), record->szCSDVersion);
    if (isExtended) {
      FillExtension<OSVERSIONINFOEXA>(version, record);
    }
    return ERROR_SUCCESS;
  });
}

BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW record) {
  return BoolCall("GetVersionExW", {}, [&](Thread& thread) -> DWORD {
    bool isExtended = false;
    if (!IsKnownSize<OSVERSIONINFOW, OSVERSIONINFOEXW>(thread, record->dwOSVersionInfoSize, isExtended)) {
      return ERROR_INSUFFICIENT_BUFFER;
    }
    const WindowsVersion& version = thread.GetMachine().settings.reportedVersion;
    FillBase(version, *record);
    FillServicePack(version.servicePack, record->szCSDVersion);
    if (isExtended) {
      FillExtension<OSVERSIONINFOEXW>(version, record);
    }
    return ERROR_SUCCESS;
  });
}

namespace winsim {

std::vector<ExportedFunction> VersionExports() {
  return {{"ntdll.dll", "RtlGetVersion", Erase(&::RtlGetVersion)},
          {"ntdll.dll", "RtlGetNtVersionNumbers", Erase(&::RtlGetNtVersionNumbers)}};
}

}  // namespace winsim
