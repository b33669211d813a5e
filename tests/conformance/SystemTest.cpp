#include "conformance/Facts.h"

#include <cstdio>

// Paths, volumes and drives; the environment, directories, times and libraries.

namespace {

/// "full path, its last part", or the length when there is no room.
std::string FullPath(const wchar_t* name, DWORD room = 260) {
  wchar_t buffer[260] = L"#";
  wchar_t* filePart = nullptr;
  const DWORD length = GetFullPathNameW(name, room, buffer, &filePart);
  if (buffer[0] == L'#') return std::to_string(length);
  return Narrow(buffer) + ", " + (filePart == nullptr ? "none" : Narrow(filePart));
}

std::string VolumePath(const wchar_t* name, DWORD room = 260) {
  wchar_t buffer[260] = L"#";
  const std::string answer = ANSWER(BoolText, GetVolumePathNameW(name, buffer, room));
  return answer == "TRUE" ? Narrow(buffer) : answer;
}

/// The file time as a number, or the answer.
std::string FileTime(WORD year, WORD month, WORD day, WORD hour = 0, WORD second = 0) {
  const SYSTEMTIME time = {year, month, 0, day, hour, 0, second, 0};
  FILETIME result = {};
  const std::string answer = ANSWER(BoolText, SystemTimeToFileTime(&time, &result));
  if (answer != "TRUE") return answer;
  return std::to_string(static_cast<unsigned long long>(result.dwHighDateTime) << 32 | result.dwLowDateTime);
}

/// A path in the system directory.
Wide InSystem(const wchar_t* name) {
  Wide path;
  GetSystemDirectoryW(path.units, 260);
  return path + L"\\" + name;
}

template <class Function>
Function Find(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

/// The answer of starting a program that does not exist with a record of that size.
std::string Started(DWORD size, DWORD flags = 0) {
  STARTUPINFOEXW record = {};
  record.StartupInfo.cb = size;
  PROCESS_INFORMATION process = {};
  return ANSWER(BoolText, CreateProcessW(L"C:\\kvnone.exe", nullptr, nullptr, nullptr, FALSE, flags, nullptr,
                                         nullptr, &record.StartupInfo, &process));
}

/// "length, or 0 and the error; bytes written; whether the default character was used".
std::string Bytes(UINT page, const wchar_t* text, int room = 8) {
  char bytes[9] = "########";
  BOOL used = 7;
  SetLastError(Untouched);
  const int length =
      WideCharToMultiByte(page, 0, text, static_cast<int>(Narrow(text).size()), bytes, room, nullptr, &used);
  std::string result =
      std::to_string(length) + (length == 0 ? " " + std::to_string(GetLastError()) : "") + ",";
  for (const char* byte = bytes; *byte != '#'; ++byte) {
    char digits[4];
    std::snprintf(digits, sizeof(digits), " %02X", static_cast<unsigned char>(*byte));
    result += digits;
  }
  return result + ", " + std::to_string(used);
}

}  // namespace

TEST_CASE("paths, volumes, drives, environment, directories, times and libraries") {
  MachineSession session;
  wchar_t buffer[260];
  Given("paths");
  FACT("c:\\a\\b\\, none", FullPath(L"c:/a//b/"));
  FACT("C:\\a\\c, c", FullPath(L"C:\\a\\.\\b\\..\\c"));
  FACT("C:\\a, a", FullPath(L"C:\\..\\..\\a. . "));
  FACT("\\\\server\\share\\b, b", FullPath(L"\\\\server\\share\\a\\..\\..\\b"));
  FACT("?:\\a:b, a:b", FullPath(L"?:a:b"));
  FACT("7", FullPath(L"C:\\a\\b", 6));
  FACT("C:\\a\\b, b", FullPath(L"C:\\a\\b", 7));
  Given("volumes");
  FACT("C:\\", VolumePath(L"C:/kvnone/a"));
  FACT("FALSE 2", VolumePath(L"Q:\\a"));
  FACT("C:\\", VolumePath(L"C:\\a", 4));
  FACT("C:", VolumePath(L"C:\\a", 3));
  FACT("FALSE 206", VolumePath(L"C:\\a", 2));
  FACT("C:\\", VolumePath(L"c:\\"));
  FACT("\\\\?\\C:", VolumePath(L"\\\\?\\C:\\a", 7));
  FACT("FALSE 123", VolumePath(L"\\\\?\\InvalidDrive:\\a"));
  FACT("FALSE 123", VolumePath(L"\\\\?\\Volume{00000000-00-00-00-000000000000}\\a"));
  FACT("FALSE 123", VolumePath(L"\\\\server\\InvalidDrive:\\a"));
  FACT("FALSE 2", VolumePath(L"?:ABC:DEF:\\a"));
  Given("drives");
  LENGTH_FACT("3", GetDriveTypeW(L"C:\\"));
  LENGTH_FACT("1", GetDriveTypeW(L"Q:\\"));
  LENGTH_FACT("0, 2", QueryDosDeviceW(L"Q:", buffer, 260));
  LENGTH_FACT("0, 122", QueryDosDeviceW(L"C:", buffer, 4));
  const DWORD targetLength = QueryDosDeviceW(L"C:", buffer, 260);
  FACT("\\Device\\, ||", Narrow(buffer).substr(0, 8) + ", " + Narrow(buffer + targetLength - 2, 2));
  Given("environment");
  LENGTH_FACT("0, 203", GetEnvironmentVariableW(L"KVNONE", buffer, 260));
  LENGTH_FACT("2", GetEnvironmentVariableW(L"SYSTEMDRIVE", buffer, 3));
  LENGTH_FACT("3", GetEnvironmentVariableW(L"SystemDrive", buffer, 2));
  const UINT length = GetWindowsDirectoryW(nullptr, 0) - 1;
  FACT("1", std::to_string(GetWindowsDirectoryW(buffer, length) - length));
  FACT("10", std::to_string(GetSystemDirectoryW(buffer, length) - length));
  Given("times");
  FACT("125963064590000000", FileTime(2000, 2, 29, 14, 59));
  FACT("FALSE 87", FileTime(2001, 2, 29));
  FACT("FALSE 87", FileTime(2001, 13, 1));
  Given("a window that is none");
  const HWND none = reinterpret_cast<HWND>(ULONG_PTR{0x7FFE});
  LENGTH_FACT("0, 1400", static_cast<DWORD>(MessageBoxW(none, L"text", L"caption", MB_OK)));
  Given("start-up records");
  constexpr DWORD Extended = EXTENDED_STARTUPINFO_PRESENT;
  FACT("FALSE 2", Started(sizeof(STARTUPINFOW)));
  FACT("FALSE 2", Started(0));  // the size of a plain one is not looked at
  FACT("FALSE 2", Started(sizeof(STARTUPINFOEXW), Extended));
  FACT("FALSE 87", Started(sizeof(STARTUPINFOW), Extended));
  Given("characters as bytes");
  FACT("3, E2 82 AC, 0", Bytes(CP_UTF8, L"\u20AC"));
  FACT("3, EF BF BD, 1", Bytes(CP_UTF8, L"\xD800"));
  FACT("0 122, 61, 0", Bytes(CP_UTF8, L"a\u20AC", 3));
  FACT("0 122, 61, 0", Bytes(936, L"a\u4F60", 2));  // what does not fit is not begun
  FACT("2, 61 3F, 1", Bytes(1252, L"a\u0416"));
  FACT("0 122, 61, 0", Bytes(1252, L"a\u0416", 1));  // only what was converted counts
  Given("missing libraries and functions");
  const HMODULE kernel = GetModuleHandleW(L"KERNEL32");
  BOOL_FACT("FALSE 126", GetModuleHandleW(L"kvnone.dll") != nullptr);
  BOOL_FACT("FALSE 126", LoadLibraryW(L"kvnone.dll") != nullptr);
  BOOL_FACT("FALSE 127", GetProcAddress(kernel, "movefileexw") != nullptr);
  Given("libraries by full paths");
  const HMODULE library = LoadLibraryW(L"setupapi.dll");
  BOOL_FACT("TRUE", LoadLibraryW(InSystem(L"SETUPAPI.dll")) == library);
  BOOL_FACT("TRUE", GetModuleHandleW(InSystem(L"setupapi.dll")) == library);
  BOOL_FACT("FALSE 126", LoadLibraryW(InSystem(L"kvnone.dll")) != nullptr);
  BOOL_FACT("FALSE 126", LoadLibraryW(InWindows(L"version.dll")) != nullptr);
  CHECK((FreeLibrary(library) && FreeLibrary(library)));
  Given("where libraries are searched for");
  const auto search = Find<BOOL(WINAPI*)(DWORD)>(kernel, "SetDefaultDllDirectories");
  BOOL_FACT("FALSE 87", search(0));
  BOOL_FACT("FALSE 87", search(1));
  BOOL_FACT("TRUE", search(LOAD_LIBRARY_SEARCH_SYSTEM32));
  Given("the directory for 32-bit programs");
  const auto directory32 = Find<UINT(WINAPI*)(LPWSTR, UINT)>(kernel, "GetSystemWow64DirectoryW");
  FACT("0", std::to_string(directory32(buffer, 260) - GetSystemDirectoryW(nullptr, 0) + 1));
}
