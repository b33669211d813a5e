#include "system/Manager.h"

#include "foundation/Assert.h"
#include "foundation/Exception.h"
#include "system/Platform.h"
#include "system/PlatformState.h"
#include "system/PlatformSystem.h"

namespace LCommon::System {

namespace {

Manager* g_instance = nullptr;

Manager::Version VersionOf(const OSVERSIONINFOW& version) {
  return {version.dwPlatformId != VER_PLATFORM_WIN32_NT, version.dwMajorVersion, version.dwMinorVersion};
}

/// The directory that `read(buffer, room)` gives.
template <class Read>
LUnicodeString ReadDirectory(LLocation location, Read read) {
  wchar_t buffer[MAX_PATH];
  const UINT length = read(buffer, MAX_PATH);
  if (length == 0) throw WindowsErrorException(location, GetLastError());
  // More than any path has: the buffer holds nothing then.
  if (length >= MAX_PATH) throw WindowsErrorException(location, ERROR_INSUFFICIENT_BUFFER);
  return LUnicodeString(buffer, length);
}

}  // namespace

void Manager::CreateInstance() {
  L_ASSERT_TEXT(!g_instance, "g_instance == 0");
  g_instance = new Manager;
}

Manager& Manager::Instance() {
  L_ASSERT_TEXT(g_instance, "g_instance != 0");
  return *g_instance;
}

void Manager::DeleteInstance() {
  delete g_instance;
  g_instance = nullptr;
}

Manager::Manager() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (!GetVersionExU(&version)) throw WindowsErrorException(L_HERE, GetLastError());
  m_reported = VersionOf(version);

  if (!DetectVersion(true, version)) throw WindowsErrorException(L_HERE, ERROR_INVALID_FUNCTION);
  m_native = VersionOf(version);
  m_build = version.dwBuildNumber;

  const HMODULE kernel = GetModuleHandleU(L"kernel32.dll");
  if (!kernel) throw WindowsErrorException(L_HERE, GetLastError());
  m_isWow64Process = FindFunction<decltype(m_isWow64Process)>(kernel, "IsWow64Process");
  m_wow64DisableWow64FsRedirection =
      FindFunction<decltype(m_wow64DisableWow64FsRedirection)>(kernel, "Wow64DisableWow64FsRedirection");
  m_wow64RevertWow64FsRedirection =
      FindFunction<decltype(m_wow64RevertWow64FsRedirection)>(kernel, "Wow64RevertWow64FsRedirection");
  // One is no use without the other.
  if (!m_wow64DisableWow64FsRedirection || !m_wow64RevertWow64FsRedirection) {
    m_wow64DisableWow64FsRedirection = nullptr;
    m_wow64RevertWow64FsRedirection = nullptr;
  }
}

bool Manager::IsNt5OrLater() const {
  return m_native.notNt == 0 && m_native.majorNumber >= 5;
}

bool Manager::IsProcessUnderWow64(void* process) const {
  if (!m_isWow64Process) return false;
  BOOL answer = FALSE;
  if (!m_isWow64Process(process, &answer)) throw WindowsErrorException(L_HERE, GetLastError());
  return answer != FALSE;
}

LPtrRef<Wow64FsRedirectionState> Manager::DisableWow64FsRedirection() const {
  // Made before the switch, so that nothing can fail after it.
  const LPtrRef<Wow64FsRedirectionState> state = LMakeRef<Wow64FsRedirectionState>();
  if (IsProcessUnderWow64(GetCurrentProcess()) && m_wow64DisableWow64FsRedirection) {
    PVOID previous = nullptr;
    if (!m_wow64DisableWow64FsRedirection(&previous)) throw WindowsErrorException(L_HERE, GetLastError());
    state->SwitchedOff(previous);
  }
  return state;
}

void Manager::RestoreWow64FsRedirection(LPtrRef<Wow64FsRedirectionState> state) const {
  if (!state->IsSupported()) return;
  if (!m_wow64RevertWow64FsRedirection(state->GetState()))
    throw WindowsErrorException(L_HERE, GetLastError());
}

LUnicodeString Manager::GetWindowsDirectoryA() const {
  return ReadDirectory(L_HERE, GetWindowsDirectoryU);
}

LUnicodeString Manager::GetSystemDirectoryA() const {
  return ReadDirectory(L_HERE, GetSystemDirectoryU);
}

LUnicodeString Manager::GetDriversDirectory() const {
  if (m_native.notNt == 0) return AppendBackslash(GetSystemDirectoryA()) + L"drivers";
  return AppendBackslash(GetWindowsDirectoryA()) + L"system32\\drivers";
}

unsigned long long Manager::GetSystemTime() const {
  SYSTEMTIME time;
  ::GetSystemTime(&time);
  FILETIME fileTime;
  if (!SystemTimeToFileTime(&time, &fileTime)) throw WindowsErrorException(L_HERE, GetLastError());
  return static_cast<unsigned long long>(fileTime.dwHighDateTime) << 32 | fileTime.dwLowDateTime;
}

LUnicodeString AppendBackslash(LUnicodeString path) {
  if (!path.IsEmpty() && path.Data()[path.Length() - 1] != L'\\') path.Append(L'\\');
  return path;
}

}  // namespace LCommon::System
