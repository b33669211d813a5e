#pragma once

#include "windef.h"

#define MB_OK 0x00u
#define MB_ICONINFORMATION 0x40u
#define IDOK 1

extern "C" {

int WINAPI MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);
int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);

}  // extern "C"

#define MessageBox MessageBoxW
