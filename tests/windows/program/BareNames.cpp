// Loads libraries as programs should not: by their bare names, so that those beside the program come first.
#include <windows.h>

#include <initializer_list>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  for (const wchar_t* const name : {L"setupapi.dll", L"user32.dll", L"version.dll"}) {
    LoadLibraryW(name);
  }
  return 0;
}
