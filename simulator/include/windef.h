#pragma once

// The basic types of the Windows SDK with their Windows sizes, for builds on other hosts. A `long` of Windows
// has 32 bits everywhere, so none is spelled here.

#include <cstddef>
#include <cstdint>

#define WINAPI
#define CALLBACK
#define APIENTRY WINAPI
#define CONST const
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

using BOOL = int;
using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using LSTATUS = LONG;
using DWORDLONG = std::uint64_t;
using ULONGLONG = std::uint64_t;
using LONGLONG = std::int64_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using CHAR = char;
using WCHAR = wchar_t;
using VOID = void;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using PUINT = UINT*;
using PBOOL = BOOL*;
using LPBOOL = BOOL*;
using PLONG = LONG*;
using LPSTR = char*;
using LPCSTR = const char*;
using PCSTR = const char*;
using LPCCH = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using PCWSTR = const wchar_t*;
using PWSTR = wchar_t*;
using LPCWCH = const wchar_t*;

using HANDLE = void*;
using PHANDLE = HANDLE*;

#define DECLARE_HANDLE(name) \
  struct name##__ {          \
    int unused;              \
  };                         \
  using name = name##__*

DECLARE_HANDLE(HINSTANCE);
DECLARE_HANDLE(HKEY);
DECLARE_HANDLE(HWND);
using HMODULE = HINSTANCE;
using PHKEY = HKEY*;
using FARPROC = std::intptr_t (*)();

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};
using LPFILETIME = FILETIME*;
using PFILETIME = FILETIME*;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using LPGUID = GUID*;

static_assert(sizeof(wchar_t) == 2, "wide text is UTF-16 here: compile with -fshort-wchar");
static_assert(sizeof(FILETIME) == 8 && sizeof(GUID) == 16);
