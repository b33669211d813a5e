#include "system/Library.h"

#include "system/Manager.h"
#include "system/PlatformSystem.h"

namespace LCommon::System {

namespace {

HMODULE Kernel() {
  return GetModuleHandleU(L"kernel32.dll");
}

/// Where this process's libraries are. The usual name leads a 32-bit process there only by redirection.
UINT ReadLibraryDirectory(wchar_t* buffer, UINT room) {
  const auto isWow64Process = FindFunction<BOOL(WINAPI*)(HANDLE, PBOOL)>(Kernel(), "IsWow64Process");
  const auto getOwnDirectory =
      FindFunction<UINT(WINAPI*)(LPWSTR, UINT)>(Kernel(), "GetSystemWow64DirectoryW");
  BOOL redirected = FALSE;
  if (isWow64Process && getOwnDirectory && isWow64Process(GetCurrentProcess(), &redirected) && redirected) {
    return getOwnDirectory(buffer, room);
  }
  return GetSystemDirectoryU(buffer, room);
}

}  // namespace

LoadedModule LoadSystemLibrary(const wchar_t* fileName) {
  wchar_t directory[MAX_PATH];
  const UINT length = ReadLibraryDirectory(directory, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  const LUnicodeString path = AppendBackslash(LUnicodeString(directory, length)) + fileName;
  return LoadedModule(LoadLibraryU(path.Data()));
}

void SearchOnlySystemDirectory() {
  const auto setDirectories = FindFunction<BOOL(WINAPI*)(DWORD)>(Kernel(), "SetDefaultDllDirectories");
  if (setDirectories) setDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
}

}  // namespace LCommon::System
