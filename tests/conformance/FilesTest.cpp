#include "conformance/Facts.h"
#include "support/MachineParts.h"

namespace {

constexpr DWORD R = GENERIC_READ;
constexpr DWORD W = GENERIC_WRITE;
constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD Archive = FILE_ATTRIBUTE_ARCHIVE;

HANDLE Open(const wchar_t* name, DWORD access, DWORD disposition, DWORD share = ShareAll, DWORD flags = 0) {
  return CreateFileW(name, access, share, nullptr, disposition, flags, nullptr);
}

/// Two names in the Windows directory, and a file of three bytes with the first.
struct TestFile {
  TestFile() {
    Remove();
    DWORD written = 0;
    const HANDLE handle = Open(file, W, CREATE_NEW);
    REQUIRE(WriteFile(handle, "123", 3, &written, nullptr));
    CHECK(CloseHandle(handle));
  }
  ~TestFile() { Remove(); }

  void Remove() const {
    SetFileAttributesW(file, Archive);
    DeleteFileW(file);
    DeleteFileW(other);
  }

  const Wide file = InWindows(L"kvconf.tmp");
  const Wide other = InWindows(L"kvconf2.tmp");
};

std::string Attributes(const wchar_t* name) {
  SetLastError(Untouched);
  const DWORD attributes = GetFileAttributesW(name);
  return attributes == INVALID_FILE_ATTRIBUTES ? "none, " + std::to_string(GetLastError())
                                               : std::to_string(attributes);
}

/// "attributes, size, name" of the first file that a search finds, or the error.
std::string Found(const wchar_t* pattern) {
  WIN32_FIND_DATAW data = {};
  SetLastError(Untouched);
  const HANDLE search = FindFirstFileW(pattern, &data);
  if (search == INVALID_HANDLE_VALUE) return "none, " + std::to_string(GetLastError());
  CHECK(FindClose(search));
  return std::to_string(data.dwFileAttributes) + ", " + std::to_string(data.nFileSizeLow) + ", " +
         Narrow(data.cFileName);
}

}  // namespace

TEST_CASE("names that lead to no file, to files and to folders") {
  MachineSession session;
  const TestFile t;
  const struct {
    const char* what;
    Wide name;
    const char *error, *attributes, *search;
  } rows[] = {
      {"missing file", InWindows(L"kvnone"), "2", "2", "2"},
      {"missing folder", InWindows(L"kvnone\\f"), "3", "3", "3"},
      {"below a file", t.file + L"\\f", "3", "3", "267"},
      {"pattern", InWindows(L"kvconf?.*x"), "123", "123", "2"},
      {"empty name", {}, "3", "3", "3"},
  };
  for (const auto& row : rows) {
    Given(row.what);
    FILE_FACT(row.error, Open(row.name, R, OPEN_EXISTING));
    FACT(std::string("none, ") + row.attributes, Attributes(row.name));
    FACT(std::string("none, ") + row.search, Found(row.name));
    BOOL_FACT(std::string("FALSE ") + row.error, DeleteFileW(row.name));
    BOOL_FACT(std::string("FALSE ") + row.error, SetFileAttributesW(row.name, Archive));
  }

  const Wide folder = InWindows(L"system32");
  Given("files");
  FACT("32, 3, kvconf.tmp", Found(InWindows(L"KVCONF.t?p*")));
  FILE_FACT("80", Open(t.file, W, CREATE_NEW));
  FILE_FACT("123", Open(t.file + L"\\", R, OPEN_EXISTING));
  FILE_FACT("file 183", Open(t.file, R, OPEN_ALWAYS));
  FILE_FACT("file 0", Open(InWindows(L"x/..\\.\\KVCONF.tmp. "), R, OPEN_EXISTING));
  FILE_FACT("file 183", Open(t.file, W, CREATE_ALWAYS));
  Given("folders");
  FACT("16", Attributes(folder + L"\\"));
  FACT("16, 0, system32", Found(folder));
  FACT("none, 2", Found(folder + L"\\"));
  FILE_FACT("5", Open(folder, R, OPEN_EXISTING));
  FILE_FACT("3", Open(folder + L"\\", R, OPEN_EXISTING));
  FILE_FACT("file 0", Open(folder, R, OPEN_EXISTING, ShareAll, FILE_FLAG_BACKUP_SEMANTICS));
  FILE_FACT("5", Open(folder, W, CREATE_NEW));
  FILE_FACT("80", Open(folder, W, CREATE_NEW, ShareAll, FILE_FLAG_BACKUP_SEMANTICS));
  BOOL_FACT("FALSE 5", DeleteFileW(folder));
  Given("devices");  // in whatever folder
  FACT("32, 0, nul", Found(L"C:\\nul"));
  FACT("32, 0, lpt1", Found(L"lpt1"));
  FACT("32, 0, NUL", Found(InWindows(L"NUL.txt")));
  FACT("none, 3", Found(InWindows(L"kvnone\\nul")));
  FACT("none, 2", Found(InWindows(L"kvnull")));
}

TEST_CASE("patterns") {
  MachineSession session;
  constexpr const wchar_t* names[] = {L"..a",  L"..a.a", L".a",    L".a..a", L".a.a", L".aaa", L"a",
                                      L"a..a", L"a.a",   L"a.a.a", L"aa",    L"aaa",  L"aaaa", L" .a"};
  // Those of the names that the pattern finds, with something in front of all of them.
  const auto found = [&](const wchar_t* pattern) {
    std::string result;
    for (const wchar_t* const name : names) {
      const Wide path = InWindows(L"kvconf") + name;
      CHECK(CloseHandle(Open(path, W, CREATE_ALWAYS)));
      if (Found(InWindows(L"kvconf") + pattern) == "32, 0, kvconf" + Narrow(name))
        result += Narrow(name) + "|";
      CHECK(DeleteFileW(path));
    }
    return result;
  };
  const std::string all = "..a|..a.a|.a|.a..a|.a.a|.aaa|a|a..a|a.a|a.a.a|aa|aaa|aaaa| .a|";
  const struct {
    const wchar_t* pattern;
    std::string expected;
  } rows[] = {
      {L"*", all},
      {L"*.*", all},
      {L"*..*", "..a|..a.a|.a..a|a..a|"},
      {L"* .", "a|aa|aaa|aaaa|"},
      {L"*. ", all},
      {L".*.", ".a|.aaa|"},
      {L"a*.", "a|aa|aaa|aaaa|"},
      {L"?", "a|"},
      {L"??.", "a|aa|"},
      {L"?.??.", ".a|a|a.a| .a|"},
      {L"<", "a|aa|aaa|aaaa|"},
      {L"<..<", "..a|.a..a|a..a|"},
      {L"<.<.<", "..a|..a.a|.a..a|.a.a|a..a|a.a.a|"},
  };
  for (const auto& row : rows) {
    Given("pattern " + Narrow(row.pattern));
    FACT(row.expected, found(row.pattern));
  }
  Given("patterns");
  FACT("16, 0, .", Found(InWindows(L"*")));
  FACT("16, 0, .", Found(InWindows(L"?")));
}

TEST_CASE("sharing, deleting and moving") {
  MachineSession session;
  const TestFile t;
  Given("file that is read and shared for reading");
  HANDLE open = Open(t.file, R, OPEN_EXISTING, FILE_SHARE_READ);
  FILE_FACT("file 0", Open(t.file, R, OPEN_EXISTING, FILE_SHARE_READ));
  FILE_FACT("32", Open(t.file, W, OPEN_EXISTING));
  FILE_FACT("32", Open(t.file, R, OPEN_EXISTING, 0));
  BOOL_FACT("FALSE 32", DeleteFileW(t.file));
  BOOL_FACT("FALSE 32", MoveFileExW(t.file, t.other, 0));
  CHECK(CloseHandle(open));
  Given("read-only file");
  BOOL_FACT("TRUE", SetFileAttributesW(t.file, FILE_ATTRIBUTE_READONLY | Archive));
  FACT("33", Attributes(t.file));
  BOOL_FACT("FALSE 5", DeleteFileW(t.file));
  CHECK(SetFileAttributesW(t.file, Archive));
  Given("file");
  BOOL_FACT("FALSE 3", MoveFileExW(t.file, InWindows(L"kvnone\\f"), 0));
  CHECK(CloseHandle(Open(t.other, W, CREATE_ALWAYS)));
  BOOL_FACT("FALSE 183", MoveFileExW(t.file, t.other, 0));
  BOOL_FACT("TRUE", MoveFileExW(t.file, t.other, MOVEFILE_REPLACE_EXISTING));
  FACT("32, 3, kvconf2.tmp", Found(t.other));
  open = Open(t.other, R, OPEN_EXISTING);
  BOOL_FACT("TRUE", DeleteFileW(t.other));  // the handle shares it for deletion
  CHECK(CloseHandle(open));
  FACT("none, 2", Attributes(t.other));
  CHECK(CloseHandle(Open(t.file, W, CREATE_ALWAYS)));
  BOOL_FACT("FALSE 3", MoveFileExW(t.file, nullptr, 0));
  Given("folder");
  const Wide folder = InWindows(L"kvconf.dir");
  MakeFolder(folder);
  BOOL_FACT("TRUE", MoveFileExW(folder, t.file, MOVEFILE_REPLACE_EXISTING));
  FACT("16", Attributes(t.file));
  RemoveFolder(t.file);
}

TEST_CASE("contents, sizes and times") {
  MachineSession session;
  const TestFile t;
  const FILETIME time = {0x12345680, 0x01C0FFEE};
  DWORD written = 77;
  Given("handle for reading");
  HANDLE open = Open(t.file, R, OPEN_EXISTING);
  LENGTH_FACT("3", GetFileSize(open, nullptr));
  BOOL_FACT("FALSE 5", WriteFile(open, "4", 1, &written, nullptr));
  BOOL_FACT("FALSE 5", SetFileTime(open, &time, &time, &time));
  CHECK(CloseHandle(open));
  Given("handle for writing");
  open = Open(t.file, W, OPEN_EXISTING);
  BOOL_FACT("TRUE", WriteFile(open, "4567", 4, &written, nullptr));
  LENGTH_FACT("4", GetFileSize(open, nullptr));
  BOOL_FACT("TRUE", SetFileTime(open, &time, &time, &time));
  CHECK(CloseHandle(open));
  WIN32_FIND_DATAW found = {};
  CHECK(FindClose(FindFirstFileW(t.file, &found)));
  FACT("29425646", std::to_string(found.ftLastWriteTime.dwHighDateTime));
  FACT("29425646", std::to_string(found.ftCreationTime.dwHighDateTime));
}
