#include <filesystem>
#include <stdexcept>

#include "machine/ProgramImage.h"
#include "simulator/FileCalls.h"

using winsim::FromWide;
using winsim::Settings;
using winsim::ToUtf8;

TEST_CASE("read-only files are not written, hidden ones not replaced by plain ones") {
  constexpr DWORD W = GENERIC_WRITE;
  static const struct {
    DWORD before, disposition, access, flags, error;
    const char* contents;
    DWORD after;
  } cases[] = {{0x21, OPEN_EXISTING, W, 0, 5, "old", 0x21},
               {0x21, CREATE_ALWAYS, W, 1, 5, "old", 0x21},
               {0x21, OPEN_EXISTING, DELETE, 0, 0, "old", 0x21},
               {0x02, CREATE_ALWAYS, W, 0, 5, "old", 0x02},
               {0x02, CREATE_ALWAYS, W, 0x02, 183, "", 0x22},
               {0x20, CREATE_ALWAYS, W, 0x03, 183, "", 0x23},
               {0x20, OPEN_ALWAYS, W, 2, 183, "old", 0x20},
               {0x20, TRUNCATE_EXISTING, W, 0, 0, "", 0x20},
               {0x20, TRUNCATE_EXISTING, GENERIC_READ, 0, 87, "old", 0x20}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    MachineSession session;
    winsim::FileSystem& files = session.Machine().files;
    files.WriteFile(u"C:\\it", "old").attributes = test.before;
    CHECK(OpenError(L"C:\\it", test.access, 0, test.disposition, test.flags) == test.error);
    CHECK(Text(files.Read(u"C:\\it")) == test.contents);
    CHECK(files.Attributes(u"C:\\it") == test.after);
  }
}

TEST_CASE("names that lead nowhere fail with the error of what is missing") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.WriteFile(u"C:\\dir\\File.txt", "12345");
  files.AddDrive(u'D', DRIVE_CDROM, false);
  files.AddShare(u"\\\\srv\\share", u"C:\\dir");
  files.Substitute(u'X', u"C:\\dir");
  session.Process().currentDirectory = u"C:\\dir";
  static const struct {
    const wchar_t* name;
    DWORD open, attributes, find, remove;
  } cases[] = {{L"C:\\dir\\file.txt\\", 123, 123, 267, 123},
               {L"C:\\dir\\none\\", 2, 2, 3, 2},
               {L"\\\\?\\C:\\dir\\..\\x", 123, 123, 123, 123},
               {L"Q:\\file.txt", 3, 3, 3, 3},
               {L"D:\\dir\\f.txt", 21, 21, 21, 21},
               {L"\\\\none\\share\\f", 53, 53, 53, 53},
               {L"\\\\srv\\none\\f", 67, 67, 67, 67}};
  for (const auto& test : cases) {
    CAPTURE(ToUtf8(FromWide(test.name)));
    CHECK(OpenError(test.name, GENERIC_READ, ShareAll, OPEN_EXISTING) == test.open);
    CHECK(AttributesError(test.name) == test.attributes);
    WIN32_FIND_DATAW data;
    CHECK(FailureOf(INVALID_HANDLE_VALUE, [&] {
            const HANDLE find = FindFirstFileW(test.name, &data);
            CHECK((find == INVALID_HANDLE_VALUE || FindClose(find) == TRUE));
            return find;
          }) == test.find);
    CHECK(DeleteError(test.name) == test.remove);
  }
  for (const wchar_t* const name :
       {L"c:\\DIR\\file.TXT", L"C:/dir/file.txt", L"C:\\dir\\x\\..\\File.txt. .", L"file.txt", L"C:file.txt",
        L"\\dir\\file.txt", L"\\\\?\\C:\\dir\\file.txt", L"\\\\.\\C:\\dir\\file.txt",
        L"\\??\\C:\\dir\\file.txt", L"X:\\file.txt", L"\\\\SRV\\SHARE\\file.txt",
        L"\\\\?\\UNC\\srv\\share\\file.txt"}) {
    CAPTURE(ToUtf8(FromWide(name)));
    CHECK(OpenError(name, GENERIC_READ, 0, OPEN_EXISTING) == 0);
  }
}

TEST_CASE("a deletion is refused, done, or waits for the last handle") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.WriteFile(u"C:\\f", "x");
  const auto isThere = [&] { return files.Exists(u"C:\\f"); };

  SUBCASE("an open file that is shared for deletion") {
    const HANDLE file = Open(L"C:\\f", GENERIC_READ, ShareAll);
    const HANDLE other = Open(L"C:\\f", GENERIC_READ, ShareAll);
    CHECK(DeleteError(L"C:\\f") == Untouched);
    for (const DWORD error :
         {OpenError(L"C:\\f", GENERIC_READ, ShareAll, OPEN_EXISTING), AttributesError(L"C:\\f"),
          DeleteError(L"C:\\f"), MoveError(L"C:\\f", L"C:\\g", 0)}) {
      CHECK(error == ERROR_ACCESS_DENIED);
    }
    CHECK(CloseHandle(file) == TRUE);
    CHECK(isThere());
    CHECK(CloseHandle(other) == TRUE);
    CHECK_FALSE(isThere());
  }
  SUBCASE("an image in use") {
    auto use = files.UseImage(u"c:\\F");
    const auto secondUse = files.UseImage(u"C:\\f");
    CHECK(files.UseImage(u"C:\\none") == nullptr);
    CHECK(DeleteError(L"C:\\f") == ERROR_ACCESS_DENIED);
    CHECK(OpenError(L"C:\\f", GENERIC_WRITE, ShareAll, OPEN_EXISTING) == ERROR_SHARING_VIOLATION);
    CHECK(OpenError(L"C:\\f", GENERIC_READ, 0, OPEN_EXISTING) == 0);
    CHECK(MoveError(L"C:\\f", L"C:\\g", 0) == Untouched);
    use.reset();
    CHECK(DeleteError(L"C:\\g") == ERROR_ACCESS_DENIED);
  }
  SUBCASE("refused paths, of which one leads to no file yet") {
    files.Deny(u"c:\\F");
    files.Deny(u"C:\\new");
    CHECK(DeleteError(L"C:\\f") == ERROR_ACCESS_DENIED);
    CHECK(OpenError(L"C:\\new", GENERIC_WRITE, 0, CREATE_NEW) == ERROR_ACCESS_DENIED);
    files.Allow(u"C:\\F");
    CHECK(DeleteError(L"C:\\f") == Untouched);
  }
}

TEST_CASE("a file of the host is read when it is needed and must be as long as it was") {
  const std::string path = winsim::BesideThisProgram("simulator_test_program.so");
  const std::uint64_t size = std::filesystem::file_size(path);
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  for (const std::uint64_t wrong : {size - 1, size + 1}) {
    CHECK_THROWS_AS(files.AddHostFile(u"C:\\f", path, wrong).Contents(), std::runtime_error);
  }
  winsim::FileNode& node = files.AddHostFile(u"C:\\f", path, size);
  CHECK(node.HostPath() == path);
  CHECK(node.WritableContents().size() == size);
  CHECK(node.HostPath().empty());
}

TEST_CASE("a file that the machine has no room for stays as it was") {
  MachineSession session;
  session.Machine().files.WriteFile(u"C:\\f", "old");
  const HANDLE file = Open(L"C:\\f", GENERIC_WRITE, ShareAll);
  for (const DWORD offsetHigh : {0x1000u, 0xFFFFFFFFu}) {
    OVERLAPPED place = {};
    place.Offset = 0xFFFFFFFF;
    place.OffsetHigh = offsetHigh;
    CHECK(FailureOf([&] { return WriteFile(file, "x", 1, nullptr, &place); }) == ERROR_DISK_FULL);
  }
  CHECK(CloseHandle(file) == TRUE);
  CHECK(Text(session.Machine().files.Read(u"C:\\f")) == "old");
}

TEST_CASE("32-bit programs find their system folder where the system's is, unless they say otherwise") {
  static const char* const cases[][2] = {
      {"C:\\Windows\\System32\\f", "C:\\Windows\\SysWOW64\\f"},
      {"c:\\windows\\system32\\drivers\\f", "c:\\windows\\SysWOW64\\drivers\\f"},
      {"\\\\?\\C:\\Windows\\system32\\f", "C:\\Windows\\SysWOW64\\f"},
      {"C:\\Windows\\Sysnative\\f", "C:\\Windows\\system32\\f"},
      {"C:\\Windows\\system32\\drivers\\etc\\f", "C:\\Windows\\system32\\drivers\\etc\\f"},
      {"C:\\Windows\\system32x\\f", "C:\\Windows\\system32x\\f"},
      {"C:\\other\\system32\\f", "C:\\other\\system32\\f"}};
  for (const auto& test : cases) {
    const char* const name = test[0];
    CAPTURE(name);
    MachineSession session(Settings::Windows10Wow64());
    session.Machine().files.WriteFile(winsim::FromUtf8(test[1]), "");
    CHECK(GetFileAttributesA(name) == FILE_ATTRIBUTE_ARCHIVE);
    CHECK(DeleteFileA(name) == TRUE);
  }
  MachineSession session;
  CHECK(AttributesError(L"C:\\Windows\\Sysnative") == ERROR_FILE_NOT_FOUND);
}
