// Loads the libraries that kvdel01.exe loads, and ends: what of its start is theirs. Without LIBRARIES it
// does nothing.
#include <windows.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
#ifdef LIBRARIES
  const wchar_t* const names[] = {L"advapi32.dll", L"setupapi.dll"};
  for (const wchar_t* const name : names) {
    if (!LoadLibraryW(name)) return 1;
  }
#endif
  return 0;
}
