#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

namespace {

constexpr DWORD FileReadWrite = GENERIC_READ | GENERIC_WRITE;

/// A session with a file of 70000 bytes, each the low byte of its offset, and an open handle to it.
struct MappedFile : MachineSession {
  explicit MappedFile(DWORD access) {
    winsim::Bytes bytes(Size);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<std::uint8_t>(i);
    }
    Machine().files.WriteFile(u"C:\\f", bytes).attributes = 0;
    Machine().clock.Advance(5);
    file = CreateFileW(L"C:\\f", access, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                       nullptr);
  }
  ~MappedFile() { CHECK(CloseHandle(file) == TRUE); }

  winsim::FileNode& Node() { return *Machine().files.Find(u"C:\\f"); }

  static constexpr DWORD Size = 70000;
  HANDLE file;
};

HANDLE Map(HANDLE file, DWORD protection, DWORD size = 0) {
  const HANDLE mapping = CreateFileMappingW(file, nullptr, protection, 0, size, nullptr);
  REQUIRE(mapping != nullptr);
  return mapping;
}

}  // namespace

TEST_CASE("a mapping needs a file opened for what its protection allows") {
  constexpr DWORD R = GENERIC_READ, W = GENERIC_WRITE, Larger = MappedFile::Size + 1;
  static const struct {
    DWORD fileAccess, protection, size;
    DWORD error;  // 0 is what a success leaves
  } cases[] = {{R, PAGE_WRITECOPY, 0, 0},     {R, PAGE_READWRITE, 0, 5},
               {W, PAGE_READONLY, 0, 5},      {W, PAGE_READWRITE, 0, 5},
               {R, PAGE_EXECUTE_READ, 0, 5},  {R, 0x08000002, 0, 0},
               {R, 0x00000006, 0, 87},        {R | W, PAGE_READWRITE, 0, 0},
               {R, PAGE_READONLY, Larger, 8}, {R | W, PAGE_READWRITE, Larger, 0}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    MappedFile session(test.fileAccess);
    SetLastError(Untouched);
    const HANDLE mapping = CreateFileMappingW(session.file, nullptr, test.protection, 0, test.size, nullptr);
    CHECK(GetLastError() == test.error);
    CHECK((mapping != nullptr) == (test.error == 0));
    CHECK((mapping == nullptr || CloseHandle(mapping) == TRUE));
    const bool grows = test.size > MappedFile::Size && test.error == 0;
    CHECK(session.Node().Size() == MappedFile::Size + (grows ? 1 : 0));
  }

  MappedFile session(GENERIC_READ);
  session.Machine().files.WriteFile(u"C:\\empty", "");
  const HANDLE empty = CreateFileW(L"C:\\empty", FileReadWrite, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  CHECK(FailureOf([&] { return CreateFileMappingW(empty, nullptr, PAGE_READWRITE, 0, 0, nullptr); }) ==
        ERROR_FILE_INVALID);
  CHECK(CloseHandle(Map(empty, PAGE_READWRITE, 3)) == TRUE);
  CHECK(session.Machine().files.Read(u"C:\\empty") == winsim::Bytes(3));
  CHECK(CloseHandle(empty) == TRUE);
}

TEST_CASE("a view shows a stretch of the file and zeros to the end of its page") {
  MappedFile session(GENERIC_READ);
  const HANDLE mapping = Map(session.file, PAGE_READONLY);
  static const struct {
    DWORD offset;
    std::size_t size;
    DWORD error;
    std::size_t shown;
  } cases[] = {{0, 0, Untouched, MappedFile::Size},
               {0, 64, Untouched, 64},
               {0x10000, 0, Untouched, MappedFile::Size - 0x10000},
               {0, MappedFile::Size + 1, 5, 0},
               {0x20000, 0, 5, 0},
               {0x1000, 0, 1132, 0}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    const void* view = nullptr;
    CHECK(ErrorOf([&] { view = MapViewOfFile(mapping, FILE_MAP_READ, 0, test.offset, test.size); }) ==
          test.error);
    CHECK((view != nullptr) == (test.error == Untouched));
    if (view == nullptr) {
      continue;
    }
    const auto* const bytes = static_cast<const unsigned char*>(view);
    CHECK(bytes[0] == static_cast<unsigned char>(test.offset));
    CHECK(bytes[test.shown - 1] == static_cast<unsigned char>(test.offset + test.shown - 1));
    const std::size_t inPages = (test.shown + 0xFFF) / 0x1000 * 0x1000;
    CHECK(std::count(bytes + test.shown, bytes + inPages, 0) ==
          static_cast<std::ptrdiff_t>(inPages - test.shown));
    CHECK(UnmapViewOfFile(bytes) == TRUE);
    CHECK(FailureOf([&] { return UnmapViewOfFile(bytes); }) == ERROR_INVALID_ADDRESS);
  }
  CHECK(CloseHandle(mapping) == TRUE);
}

TEST_CASE("a mapped file can be neither deleted nor emptied until the last view has gone") {
  MappedFile session(FileReadWrite);
  const HANDLE mapping = Map(session.file, PAGE_READWRITE);
  void* const view = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0);
  CHECK(CloseHandle(mapping) == TRUE);
  const auto deletion = [] { return ErrorOf([] { DeleteFileW(L"C:\\f"); }); };
  CHECK(CloseHandle(session.file) == TRUE);
  CHECK(deletion() == ERROR_ACCESS_DENIED);
  CHECK(FailureOf(INVALID_HANDLE_VALUE, [] {
          return CreateFileW(L"C:\\f", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        }) == 1224);
  SUBCASE("the process ends without unmapping") {
    std::memset(view, 0x77, 10);
    session.Process().handles.CloseAll();
    CHECK(session.Node().Contents()[9] == 0x77);
    CHECK(deletion() == Untouched);
  }
  SUBCASE("a power loss loses what a view has not brought back") {
    std::memset(view, 0x77, 10);
    session.Machine().gate.CutPowerAt(1);
    CHECK(FailureOf([&] { return UnmapViewOfFile(view); }) == ERROR_NOT_READY);
    session.Process().handles.CloseAll();
    session.Machine().gate.Restore();
    CHECK(session.Node().Contents()[9] == 9);
  }
  session.Machine().files.WriteFile(u"C:\\f", "");
  session.file = CreateFileW(L"C:\\f", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}
