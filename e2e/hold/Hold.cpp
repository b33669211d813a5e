// Loaded into the removal service's process while that waits for the lock, this makes the pass stand still
// before it opens a driver's service entry to delete it: the driver's event-log source has gone, its entry is
// there. Which driver is said by the value HoldAt of the registry key Software\KvLab; that it is so, by the
// event Global\KvLabHeld.

#include <windows.h>

#include <cwchar>

namespace {

SC_HANDLE WINAPI OpenOrHold(SC_HANDLE manager, const wchar_t* name, DWORD access) {
  wchar_t driver[32] = L"";
  DWORD size = sizeof driver;
  RegGetValueW(HKEY_LOCAL_MACHINE, L"Software\\KvLab", L"HoldAt", RRF_RT_REG_SZ, nullptr, driver, &size);
  if (access == DELETE && std::wcscmp(name, driver) == 0) {
    SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, L"Global\\KvLabHeld"));
    Sleep(INFINITE);
  }
  return OpenServiceW(manager, name, access);
}

// False when the program does not import the function.
bool Replace() {
  auto* const base = reinterpret_cast<unsigned char*>(GetModuleHandleW(nullptr));
  const LONG header = reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew;
  const auto& table = reinterpret_cast<IMAGE_NT_HEADERS*>(base + header)
                          ->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
  auto* const functions = reinterpret_cast<FARPROC*>(base + table.VirtualAddress);
  const FARPROC original = GetProcAddress(GetModuleHandleW(L"advapi32"), "OpenServiceW");
  for (DWORD index = 0; index < table.Size / sizeof *functions; ++index) {
    if (functions[index] != original) continue;
    DWORD protection = 0;
    VirtualProtect(&functions[index], sizeof *functions, PAGE_READWRITE, &protection);
    functions[index] = reinterpret_cast<FARPROC>(OpenOrHold);
    return true;
  }
  return false;
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  return reason != DLL_PROCESS_ATTACH || Replace();
}
