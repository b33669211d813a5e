#include "system/PlatformSystem.h"

#include <type_traits>

#include "system/AnsiText.h"
#include "system/PlatformCall.h"

namespace LCommon::System {

namespace {

/// Fills a version record of kind `Wide` from the 8-bit record of the same kind.
template <class Ansi, class Wide>
BOOL ReadAnsiVersion(Wide& version) {
  Ansi ansi{};
  ansi.dwOSVersionInfoSize = sizeof(Ansi);
  if (!GetVersionExA(reinterpret_cast<LPOSVERSIONINFOA>(&ansi))) return FALSE;
  version.dwMajorVersion = ansi.dwMajorVersion;
  version.dwMinorVersion = ansi.dwMinorVersion;
  version.dwBuildNumber = ansi.dwBuildNumber;
  version.dwPlatformId = ansi.dwPlatformId;
  AnsiFieldToWide(version.szCSDVersion, ansi.szCSDVersion);
  if constexpr (std::is_same_v<Wide, OSVERSIONINFOEXW>) {
    version.wServicePackMajor = ansi.wServicePackMajor;
    version.wServicePackMinor = ansi.wServicePackMinor;
    version.wSuiteMask = ansi.wSuiteMask;
    version.wProductType = ansi.wProductType;
    version.wReserved = ansi.wReserved;
  }
  return TRUE;
}

/// The text that `read(buffer, size)` gives with an 8-bit function, in a caller's buffer of `room` units.
template <class Read>
UINT ReadAnsiText(LPWSTR buffer, UINT room, Read read) {
  AnsiOutput output(room);
  const UINT length = read(output.Get(), output.Size());
  if (length == 0 || length >= output.Size()) return length;
  return output.ToWide(buffer, length);
}

}  // namespace

BOOL GetVersionExU(LPOSVERSIONINFOW version) {
  if (Platform().unicode) return GetVersionExW(version);
  switch (version->dwOSVersionInfoSize) {
    case sizeof(OSVERSIONINFOW):
      return ReadAnsiVersion<OSVERSIONINFOA>(*version);
    case sizeof(OSVERSIONINFOEXW):
      return ReadAnsiVersion<OSVERSIONINFOEXA>(*reinterpret_cast<OSVERSIONINFOEXW*>(version));
    default:
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
  }
}

HMODULE LoadLibraryU(LPCWSTR name) {
  if (Platform().unicode) return LoadLibraryW(name);
  return LoadLibraryA(AnsiText(name, AnsiText::Kind::FileName).Get());
}

HMODULE GetModuleHandleU(LPCWSTR name) {
  if (Platform().unicode) return GetModuleHandleW(name);
  return GetModuleHandleA(AnsiText(name).Get());
}

UINT GetSystemDirectoryU(LPWSTR buffer, UINT room) {
  if (Platform().unicode) return GetSystemDirectoryW(buffer, room);
  return ReadAnsiText(buffer, room, GetSystemDirectoryA);
}

UINT GetWindowsDirectoryU(LPWSTR buffer, UINT room) {
  if (Platform().unicode) return GetWindowsDirectoryW(buffer, room);
  return ReadAnsiText(buffer, room, GetWindowsDirectoryA);
}

DWORD GetEnvironmentVariableU(LPCWSTR name, LPWSTR buffer, DWORD room) {
  if (Platform().unicode) return GetEnvironmentVariableW(name, buffer, room);
  AnsiText ansiName(name);
  return ReadAnsiText(buffer, room, [&](char* text, UINT size) {
    return GetEnvironmentVariableA(ansiName.Get(), text, size);
  });
}

BOOL CreateProcessU(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                    LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                    LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information) {
  if (Platform().unicode) {
    return CreateProcessW(application, commandLine, process, thread, inheritHandles, flags, environment,
                          directory, startup, information);
  }
  AnsiText desktop(startup->lpDesktop);
  AnsiText title(startup->lpTitle);
  STARTUPINFOA ansi{};
  ansi.cb = sizeof(ansi);
  ansi.lpDesktop = desktop.Get();
  ansi.lpTitle = title.Get();
  ansi.dwX = startup->dwX;
  ansi.dwY = startup->dwY;
  ansi.dwXSize = startup->dwXSize;
  ansi.dwYSize = startup->dwYSize;
  ansi.dwXCountChars = startup->dwXCountChars;
  ansi.dwYCountChars = startup->dwYCountChars;
  ansi.dwFillAttribute = startup->dwFillAttribute;
  ansi.dwFlags = startup->dwFlags;
  ansi.wShowWindow = startup->wShowWindow;
  ansi.cbReserved2 = startup->cbReserved2;
  ansi.lpReserved2 = startup->lpReserved2;
  ansi.hStdInput = startup->hStdInput;
  ansi.hStdOutput = startup->hStdOutput;
  ansi.hStdError = startup->hStdError;
  return CreateProcessA(AnsiText(application).Get(), AnsiText(commandLine).Get(), process, thread,
                        inheritHandles, flags, environment, AnsiText(directory).Get(), &ansi, information);
}

HANDLE CreateMutexU(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name) {
  if (Platform().unicode) return CreateMutexW(security, initialOwner, name);
  return CreateMutexA(security, initialOwner, AnsiText(name).Get());
}

int MessageBoxU(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
  const LoadedModule user = LoadSystemLibrary(L"user32.dll");
  if (Platform().unicode) {
    const auto show = FindFunction<decltype(&MessageBoxW)>(user.get(), "MessageBoxW");
    return LoadedOrFailure(0, show, owner, text, caption, type);
  }
  const auto show = FindFunction<decltype(&MessageBoxA)>(user.get(), "MessageBoxA");
  return LoadedOrFailure(0, show, owner, AnsiText(text).Get(), AnsiText(caption).Get(), type);
}

}  // namespace LCommon::System
