#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "simulator/FileCalls.h"

using winsim::FromWide;
using winsim::Settings;
using winsim::ToUtf8;

TEST_CASE("every disposition does what it says on a file, a missing one and a folder") {
  enum What { file, readOnly, hidden, missing, folder };
  constexpr DWORD R = GENERIC_READ, W = GENERIC_WRITE;
  static const struct {
    What what;
    DWORD disposition, access, flags;
    bool opens;
    DWORD error;
    const char* contentsAfter;
    DWORD attributesAfter;
  } cases[] = {{file, CREATE_NEW, R, 0, false, 80, "old", 0x20},
               {file, CREATE_ALWAYS, W, 0x80, true, 183, "", 0x20},
               {file, CREATE_ALWAYS, W, 0x03, true, 183, "", 0x23},
               {file, OPEN_EXISTING, R, 0x02, true, 0, "old", 0x20},
               {file, OPEN_ALWAYS, W, 0x02, true, 183, "old", 0x20},
               {file, TRUNCATE_EXISTING, W, 0, true, 0, "", 0x20},
               {file, TRUNCATE_EXISTING, R, 0, false, 87, "old", 0x20},
               {file, 6, R, 0, false, 87, "old", 0x20},
               {readOnly, OPEN_EXISTING, W, 0, false, 5, "old", 0x21},
               {readOnly, CREATE_ALWAYS, R, 0x01, false, 5, "old", 0x21},
               {readOnly, OPEN_EXISTING, DELETE, 0, true, 0, "old", 0x21},
               {hidden, CREATE_ALWAYS, W, 0x80, false, 5, "old", 0x02},
               {hidden, CREATE_ALWAYS, W, 0x02, true, 183, "", 0x22},
               {missing, CREATE_ALWAYS, W, 0x01, true, 0, "", 0x21},
               {missing, OPEN_ALWAYS, R, 0x12, true, 0, "", 0x22},
               {missing, TRUNCATE_EXISTING, W, 0, false, 2, "", 0xFFFFFFFF},
               {folder, OPEN_EXISTING, R, 0, false, 5, "", 0x10},
               {folder, OPEN_EXISTING, R, BackupSemantics, true, 0, "", 0x10},
               {folder, CREATE_NEW, W, 0, false, 80, "", 0x10}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    MachineSession session;
    winsim::FileSystem& files = session.Machine().files;
    if (test.what == folder) {
      files.MakeFolder(u"C:\\it");
    } else if (test.what != missing) {
      files.WriteFile(u"C:\\it", "old").attributes = test.what == readOnly ? 0x21
                                                     : test.what == hidden ? 0x02
                                                                           : 0x20;
    }
    bool opened = false;
    CHECK(OpenError(L"C:\\it", test.access, 0, test.disposition, test.flags, &opened) == test.error);
    CHECK(opened == test.opens);
    CHECK(Text(files.Read(u"C:\\it")) == test.contentsAfter);
    CHECK(files.Attributes(u"C:\\it") == test.attributesAfter);
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
    DWORD open, attributes;
    DWORD find, remove;
  } cases[] = {{L"C:\\dir\\none", 2, 2, 2, 2},
               {L"C:\\none\\file", 3, 3, 3, 3},
               {L"C:\\dir\\file.txt\\x", 3, 3, 267, 3},
               {L"C:\\dir\\file.txt\\", 123, 123, 267, 123},
               {L"C:\\dir\\none\\", 2, 2, 3, 2},
               {L"C:\\dir\\", 3, Untouched, 2, 5},
               {L"C:\\dir", 5, Untouched, Untouched, 5},
               {L"C:\\di|r\\x", 123, 123, 123, 123},
               {L"C:\\dir\\fil*", 123, 123, Untouched, 123},
               {L"\\\\?\\C:\\dir\\..\\dir\\file.txt", 123, 123, 123, 123},
               {L"Q:\\file", 3, 3, 3, 3},
               {L"D:\\file", 21, 21, 21, 21},
               {L"\\\\none\\share\\f", 53, 53, 53, 53},
               {L"\\\\srv\\none\\f", 67, 67, 67, 67},
               {L"\\\\.\\nodevice", 2, 2, 2, 2},
               {nullptr, 3, 3, 3, 3}};
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

TEST_CASE("a search gives the first name in order with what the file is") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  winsim::FileNode& node = files.WriteFile(u"C:\\dir\\b.sys", "12345");
  node.times = {1, 0x2'0000'0003, 4};
  node.attributes = 0;
  files.MakeFolder(u"C:\\dir\\A");
  const auto first = [](const wchar_t* pattern) {
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW(pattern, &data);
    REQUIRE(find != INVALID_HANDLE_VALUE);
    CHECK(FindClose(find) == TRUE);
    return data;
  };
  const WIN32_FIND_DATAW data = first(L"C:\\dir\\B.SYS");
  CHECK(ToUtf8(FromWide(data.cFileName)) == "b.sys");
  CHECK((data.dwFileAttributes == FILE_ATTRIBUTE_NORMAL && data.nFileSizeLow == 5));
  CHECK((data.ftCreationTime.dwLowDateTime == 1 && data.ftLastAccessTime.dwHighDateTime == 2 &&
         data.ftLastAccessTime.dwLowDateTime == 3 && data.ftLastWriteTime.dwLowDateTime == 4));
  CHECK(ToUtf8(FromWide(first(L"C:\\dir\\*").cFileName)) == ".");
  CHECK(ToUtf8(FromWide(first(L"C:\\dir\\?").cFileName)) == "A");
  CHECK(first(L"C:\\di?").dwFileAttributes == FILE_ATTRIBUTE_DIRECTORY);
}

TEST_CASE("two openings go together when each shares what the other does") {
  constexpr DWORD R = GENERIC_READ, W = GENERIC_WRITE, ShareR = FILE_SHARE_READ, ShareW = FILE_SHARE_WRITE;
  static const struct {
    DWORD access, share, secondAccess, secondShare, error;
  } cases[] = {{R, 0, R, ShareR, 32},
               {R, ShareR, R, ShareR, 0},
               {R, ShareR, R, 0, 32},
               {R, ShareR, W, ShareAll, 32},
               {W, ShareAll, R, ShareR, 32},
               {W, ShareAll, R, ShareW, 0},
               {R, ShareR, DELETE, ShareAll, 32},
               {DELETE, ShareR, R, ShareR, 32},
               {R, 0, 0, 0, 0},
               {0, 0, GENERIC_ALL, 0, 0}};
  MachineSession session;
  session.Machine().files.WriteFile(u"C:\\f", "x");
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    const HANDLE first = Open(L"C:\\f", test.access, test.share);
    CHECK(OpenError(L"C:\\f", test.secondAccess, test.secondShare, OPEN_EXISTING) == test.error);
    CHECK(CloseHandle(first) == TRUE);
    CHECK(OpenError(L"C:\\f", test.secondAccess, test.secondShare, OPEN_EXISTING) == 0);
  }
}

TEST_CASE("a deletion is refused, done, or waits for the last handle") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.WriteFile(u"C:\\f", "x");
  const auto isThere = [&] { return files.Exists(u"C:\\f"); };

  SUBCASE("an open file that is") {
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
  SUBCASE("a power loss in between keeps the file") {
    const HANDLE file = Open(L"C:\\f", GENERIC_READ, ShareAll);
    CHECK(DeleteError(L"C:\\f") == Untouched);
    session.Machine().gate.CutPowerAt(1);
    CHECK(FailureOf([&] { return CloseHandle(file); }) == ERROR_NOT_READY);
    session.Process().End(0);
    session.Machine().gate.Restore();
    CHECK(isThere());
    CHECK(DeleteError(L"C:\\f") == Untouched);
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
  SUBCASE("refused paths") {
    files.WriteFile(u"C:\\dir\\f", "x");
    files.Deny(u"c:\\F");
    files.Deny(u"C:\\dir");
    files.Deny(u"C:\\new");
    WIN32_FIND_DATAW data;
    for (const DWORD error :
         {DeleteError(L"C:\\f"), AttributesError(L"C:\\f"), MoveError(L"C:\\f", L"C:\\g", 0),
          ErrorOf([] { SetFileAttributesW(L"C:\\f", 0); }), OpenError(L"C:\\f", 0, ShareAll, OPEN_EXISTING),
          OpenError(L"C:\\new", GENERIC_WRITE, 0, CREATE_NEW),
          OpenError(L"C:\\dir\\g", GENERIC_WRITE, 0, OPEN_ALWAYS),
          ErrorOf([&] { FindFirstFileW(L"C:\\dir\\f", &data); })}) {
      CHECK(error == ERROR_ACCESS_DENIED);
    }
    CHECK(OpenError(L"C:\\dir\\f", GENERIC_READ, 0, OPEN_EXISTING) == 0);
    files.Allow(u"C:\\F");
    CHECK(DeleteError(L"C:\\f") == Untouched);
  }
}

TEST_CASE("an open file is written, measured and dated through its handle") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  const HANDLE file = CreateFileW(L"C:\\f", GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  const HANDLE reader = [&] {
    files.WriteFile(u"C:\\r", "abc");
    return Open(L"C:\\r", GENERIC_READ, ShareAll);
  }();
  DWORD written = 9;
  CHECK((WriteFile(file, "hello ", 6, &written, nullptr) == TRUE && written == 6));
  CHECK((WriteFile(file, "world", 5, &written, nullptr) == TRUE && written == 5));
  OVERLAPPED position = {};
  position.Offset = 13;
  CHECK(WriteFile(file, "!", 1, &written, &position) == TRUE);
  CHECK(Text(files.Read(u"C:\\f")) == std::string("hello world\0\0!", 14));
  DWORD high = 9;
  CHECK((GetFileSize(file, &high) == 14 && high == 0));
  const FILETIME one = {1, 0};
  const FILETIME keep = {0, 0};
  const FILETIME stop = {0xFFFFFFFF, 0xFFFFFFFF};
  const FILETIME impossible = {0, 0x80000000};
  files.Find(u"C:\\f")->times = {7, 8, 9};
  CHECK(SetFileTime(file, &one, &keep, nullptr) == TRUE);
  CHECK(files.Find(u"C:\\f")->times == winsim::FileTimes{1, 8, 9});
  CHECK(SetFileTime(file, &stop, nullptr, &one) == TRUE);
  CHECK(FailureOf([&] { return SetFileTime(file, &keep, &one, &impossible); }) == ERROR_INVALID_PARAMETER);
  CHECK(files.Find(u"C:\\f")->times == winsim::FileTimes{1, 8, 1});

  CHECK(FailureOf([&] { return WriteFile(reader, "x", 1, &written, nullptr); }) == ERROR_ACCESS_DENIED);
  CHECK(written == 0);
  CHECK(FailureOf([&] { return SetFileTime(reader, &one, &one, &one); }) == ERROR_ACCESS_DENIED);
  for (const HANDLE open : {file, reader}) {
    CHECK(CloseHandle(open) == TRUE);
    CHECK(FailureOf(INVALID_FILE_SIZE, [&] { return GetFileSize(open, nullptr); }) == ERROR_INVALID_HANDLE);
    CHECK(FailureOf([&] { return WriteFile(open, "x", 1, &written, nullptr); }) == ERROR_INVALID_HANDLE);
  }
}

TEST_CASE("a file of the host is read when it is needed and never written") {
  const std::string path =
      (std::filesystem::temp_directory_path() / ("host-file-" + std::to_string(getpid()))).string();
  const auto write = [&](const char* text) { std::ofstream(path, std::ios::binary) << text; };
  write("host");
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  winsim::FileNode& node = files.AddHostFile(u"C:\\f", path, 4);
  CHECK(node.Size() == 4);
  CHECK(Text(files.Read(u"C:\\f")) == "host");
  CHECK(node.HostPath() == path);
  const HANDLE file = Open(L"C:\\f", GENERIC_WRITE, 0);
  DWORD written = 0;
  CHECK(WriteFile(file, "ly", 2, &written, nullptr) == TRUE);
  CHECK(CloseHandle(file) == TRUE);
  CHECK((Text(node.Contents()) == "lyst" && node.HostPath().empty()));
  write("longer");
  CHECK_THROWS_AS(files.AddHostFile(u"C:\\g", path, 4).Contents(), std::runtime_error);
  CHECK_THROWS_AS(files.AddHostFile(u"C:\\g", path, 7).Contents(), std::runtime_error);
  std::remove(path.c_str());
}

TEST_CASE("32-bit programs find their system folder where the system's is, unless they say otherwise") {
  static const char* const cases[][2] = {
      {"C:\\Windows\\System32\\f", "C:\\Windows\\SysWOW64\\f"},
      {"c:\\windows\\system32\\drivers\\f", "c:\\windows\\SysWOW64\\drivers\\f"},
      {"\\\\?\\C:\\Windows\\system32\\f", "C:\\Windows\\SysWOW64\\f"},
      {"f", "C:\\Windows\\SysWOW64\\f"},
      {"C:\\Windows\\Sysnative\\f", "C:\\Windows\\system32\\f"},
      {"C:\\Windows\\system32\\drivers\\etc\\f", "C:\\Windows\\system32\\drivers\\etc\\f"},
      {"C:\\Windows\\system32\\spool\\f", "C:\\Windows\\system32\\spool\\f"},
      {"C:\\Windows\\system32x\\f", "C:\\Windows\\system32x\\f"},
      {"C:\\Windows\\regedit.exe", "C:\\Windows\\SysWOW64\\regedit.exe"},
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
