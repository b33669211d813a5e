#include "api/Call.h"
#include "api/PseudoHandles.h"
#include "api/RunTimeFunctions.h"
#include "api/TextResults.h"

// 32-bit programs on 64-bit Windows. The redirection of the system directory is switched for one thread.

using namespace winsim;

namespace {

BOOL WINAPI IsWow64Process(HANDLE process, PBOOL answer) {
  return BoolCall("IsWow64Process", {Argument::Handle(process)}, [&](Thread& thread) -> DWORD {
    const auto object = FindObject<Process>(thread, process);
    if (object == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    *answer = object->wow64 ? TRUE : FALSE;
    return ERROR_SUCCESS;
  });
}

/// Switches the redirection off for a `newValue` other than null; `old` receives the previous value.
DWORD SwitchRedirection(Thread& thread, const void* newValue, PVOID* old) {
  if (!thread.process->wow64) {
    return ERROR_INVALID_FUNCTION;
  }
  if (old != nullptr) {
    *old = reinterpret_cast<PVOID>(static_cast<ULONG_PTR>(thread.redirectionDisabled ? 1 : 0));
  }
  thread.redirectionDisabled = newValue != nullptr;
  return ERROR_SUCCESS;
}

BOOL WINAPI Wow64DisableWow64FsRedirection(PVOID* old) {
  return BoolCall("Wow64DisableWow64FsRedirection", {}, [&](Thread& thread) -> DWORD {
    return old == nullptr ? ERROR_NOACCESS : SwitchRedirection(thread, &thread, old);
  });
}

BOOL WINAPI Wow64RevertWow64FsRedirection(PVOID old) {
  return BoolCall("Wow64RevertWow64FsRedirection", {},
                  [&](Thread& thread) { return SwitchRedirection(thread, old, nullptr); });
}

/// Where the 32-bit libraries of a 64-bit Windows are.
UINT WINAPI GetSystemWow64DirectoryW(LPWSTR buffer, UINT room) {
  return ValueCall("GetSystemWow64DirectoryW", {room}, 0u, [&](Thread& thread, DWORD&) {
    return GiveText(thread.GetMachine().Wow64Directory(), buffer, room);
  });
}

}  // namespace

namespace winsim {

std::vector<ExportedFunction> Wow64Exports() {
  return {{"kernel32.dll", "IsWow64Process", Erase(&::IsWow64Process)},
          {"kernel32.dll", "Wow64DisableWow64FsRedirection", Erase(&::Wow64DisableWow64FsRedirection)},
          {"kernel32.dll", "Wow64RevertWow64FsRedirection", Erase(&::Wow64RevertWow64FsRedirection)},
          {"kernel32.dll", "GetSystemWow64DirectoryW", Erase(&::GetSystemWow64DirectoryW)}};
}

}  // namespace winsim
