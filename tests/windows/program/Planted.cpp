// A library that somebody planted: leaves a mark beside itself when a program loads it, whatever it is
// called.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID) {
  wchar_t path[MAX_PATH + 8];
  const DWORD length = GetModuleFileNameW(library, path, MAX_PATH);
  if (reason != DLL_PROCESS_ATTACH || length == 0 || length >= MAX_PATH) return TRUE;
  lstrcpyW(path + length, L".taken");
  CloseHandle(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  return TRUE;
}
