#include "conformance/Facts.h"

namespace {

HANDLE Open(const wchar_t* name, DWORD access, DWORD disposition) {
  return CreateFileW(name, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                     disposition, 0, nullptr);
}

HANDLE Map(HANDLE file, DWORD protection, DWORD size = 0) {
  return CreateFileMappingW(file, nullptr, protection, 0, size, nullptr);
}

/// The first three bytes of a view, of which the first is changed then when the view is writable, or the
/// error.
std::string Viewed(HANDLE mapping, DWORD access, DWORD offset = 0, SIZE_T size = 0) {
  SetLastError(Untouched);
  char* const view = static_cast<char*>(MapViewOfFile(mapping, access, 0, offset, size));
  if (view == nullptr) return std::to_string(GetLastError());
  const std::string bytes(view, 3);
  CHECK((view[5] == 0 && view[0xFFF] == 0));
  if (access == FILE_MAP_WRITE || access == FILE_MAP_COPY) view[0] = '9';
  CHECK(UnmapViewOfFile(view));
  return bytes;
}

}  // namespace

TEST_CASE("mappings and their views") {
  MachineSession session;
  const Wide path = InWindows(L"kvconf.tmp");
  DeleteFileW(path);
  DWORD written = 0;
  HANDLE file = Open(path, GENERIC_READ | GENERIC_WRITE, CREATE_NEW);
  Given("empty file");
  OBJECT_FACT("1006", Map(file, PAGE_READONLY));
  CHECK(WriteFile(file, "123", 3, &written, nullptr));
  Given("file of three bytes");
  OBJECT_FACT("8", Map(file, PAGE_READONLY, 4));
  HANDLE mapping = Map(file, PAGE_READONLY);
  FACT("123", Viewed(mapping, FILE_MAP_COPY));
  FACT("123", Viewed(mapping, FILE_MAP_READ, 0, 1));  // whole pages
  FACT("5", Viewed(mapping, FILE_MAP_WRITE));
  FACT("5", Viewed(mapping, FILE_MAP_READ, 0, 0x10000));
  FACT("5", Viewed(mapping, FILE_MAP_READ, 0x10000, 1));
  FACT("1132", Viewed(mapping, FILE_MAP_READ, 1, 1));
  CHECK(CloseHandle(mapping));
  Given("writable mapping");
  mapping = Map(file, PAGE_READWRITE, 5);
  LENGTH_FACT("5", GetFileSize(file, nullptr));
  FACT("123", Viewed(mapping, FILE_MAP_WRITE));
  FACT("923", Viewed(mapping, FILE_MAP_READ));
  CHECK((CloseHandle(mapping) && CloseHandle(file)));
  Given("handle for reading a file");
  file = Open(path, GENERIC_READ, OPEN_EXISTING);
  OBJECT_FACT("5", Map(file, PAGE_READWRITE));
  mapping = Map(file, PAGE_READONLY);
  const auto* const view = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  CHECK((CloseHandle(mapping) && CloseHandle(file)));
  Given("view of a closed mapping");
  FILE_FACT("1224", Open(path, GENERIC_WRITE, CREATE_ALWAYS));
  BOOL_FACT("FALSE 5", DeleteFileW(path));
  BOOL_FACT("TRUE", UnmapViewOfFile(view + 1));
  BOOL_FACT("FALSE 487", UnmapViewOfFile(view));
  CHECK(CloseHandle(Open(path, GENERIC_WRITE, OPEN_ALWAYS)));
  Given("view that was unmapped");
  BOOL_FACT("TRUE", DeleteFileW(path));
  Given("no file");
  OBJECT_FACT("87", Map(nullptr, PAGE_READWRITE));
  OBJECT_FACT("object 0", Map(nullptr, PAGE_READWRITE, 1));
  OBJECT_FACT("8", CreateFileMappingW(nullptr, nullptr, PAGE_READWRITE, 0x08000000, 0x10000, nullptr));
}
