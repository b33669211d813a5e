#pragma once

#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/WindowsApi.h"
#include "system/Wow64FsRedirection.h"

namespace LCommon::System {

/// What the program asks of the machine: its version, its directories, its clock and the file-system
/// redirection of 32-bit processes. The process's one instance is created and deleted by the start-up and
/// shutdown of the system layer and only read in between, from any thread. A failing platform call throws
/// `WindowsErrorException` with its code.
class Manager : public LObject {
 public:
  /// The processor family of an image or a machine.
  enum MachineType { machineNotSpecified = 0, machineI386 = 1, machineAmd64 = 2, machineIa64 = 3 };

  struct Version {
    /// 1 unless Windows is of the NT family.
    unsigned int notNt;
    unsigned int majorNumber;
    unsigned int minorNumber;
  };

  /// Asserts "g_instance == 0". Throws `WindowsErrorException` with code 1 when the version cannot be
  /// detected.
  static void CreateInstance();
  /// Asserts "g_instance != 0".
  static Manager& Instance();
  /// Does nothing without an instance.
  static void DeleteInstance();

  /// The version that Windows tells this program, which may be an older one for its compatibility.
  const Version& ReportedVersion() const { return m_reported; }
  /// The version that the program runs on, see `DetectVersion`.
  const Version& NativeVersion() const { return m_native; }
  /// The build number of the native version.
  unsigned int Build() const { return m_build; }

  /// Windows 2000 or a later Windows of the NT family.
  bool IsNt5OrLater() const;
  /// Whether `process` (a process handle) is a 32-bit process on 64-bit Windows.
  bool IsProcessUnderWow64(void* process) const;

  /// Switches the file-system redirection of the calling thread off, if the process is subject to it.
  LPtrRef<Wow64FsRedirectionState> DisableWow64FsRedirection() const;
  /// Puts back what was found by the call that made `state`, on the same thread.
  void RestoreWow64FsRedirection(LPtrRef<Wow64FsRedirectionState> state) const;

  LUnicodeString GetWindowsDirectoryA() const;
  LUnicodeString GetSystemDirectoryA() const;
  /// Where driver images live.
  LUnicodeString GetDriversDirectory() const;

  /// Now, in units of 100 ns since 1 January 1601 (UTC).
  unsigned long long GetSystemTime() const;

 private:
  Manager();

  Version m_reported;
  Version m_native;
  unsigned int m_build;
  BOOL(WINAPI* m_isWow64Process)(HANDLE process, PBOOL answer);
  BOOL(WINAPI* m_wow64DisableWow64FsRedirection)(PVOID* previous);
  BOOL(WINAPI* m_wow64RevertWow64FsRedirection)(PVOID previous);
};

/// `path` with a backslash at its end, unless it is empty or ends with one.
LUnicodeString AppendBackslash(LUnicodeString path);

}  // namespace LCommon::System
