#pragma once

#include <doctest/doctest.h>

#include <string>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

// Calls of the file functions by what they leave as the last error.

inline constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// What opening leaves as the last error; the handle, if there is one, is closed again.
inline DWORD OpenError(const wchar_t* name, DWORD access, DWORD share, DWORD disposition, DWORD flags = 0) {
  return ErrorOf([&] {
    const HANDLE file = CreateFileW(name, access, share, nullptr, disposition, flags, nullptr);
    const DWORD error = GetLastError();
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    SetLastError(error);
  });
}

inline HANDLE Open(const wchar_t* name, DWORD access, DWORD share) {
  const HANDLE file = CreateFileW(name, access, share, nullptr, OPEN_EXISTING, 0, nullptr);
  REQUIRE(file != INVALID_HANDLE_VALUE);
  return file;
}

inline DWORD DeleteError(const wchar_t* name) {
  return ErrorOf([&] { DeleteFileW(name); });
}

inline DWORD MoveError(const wchar_t* source, const wchar_t* target, DWORD flags) {
  return ErrorOf([&] { MoveFileExW(source, target, flags); });
}

inline DWORD AttributesError(const wchar_t* name) {
  return FailureOf(INVALID_FILE_ATTRIBUTES, [&] { return GetFileAttributesW(name); });
}

inline std::string Text(const winsim::Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

inline std::string Listing(winsim::FileSystem& files, const char16_t* folder) {
  std::string result;
  for (const std::u16string& path : files.List(folder)) {
    result += (result.empty() ? "" : " ") + winsim::ToUtf8(path);
  }
  return result;
}
