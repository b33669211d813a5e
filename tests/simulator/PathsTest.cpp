#include <doctest/doctest.h>

#include <algorithm>
#include <sstream>

#include "machine/Paths.h"
#include "machine/Text.h"
#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::FromUtf8;
using winsim::FromWide;
using winsim::Settings;
using winsim::ToUtf8;

TEST_CASE("a full path is read as Windows reads it") {
  static const struct {
    const char* name;
    const char* fullPath;
    const char* filePart;  // "" when there is none
    const char* ntPath;
  } cases[] = {{"C:\\a\\b", "C:\\a\\b", "b", "\\??\\C:\\a\\b"},
               {"c:/a//b/", "c:\\a\\b\\", "", "\\??\\c:\\a\\b\\"},
               {"C:\\a\\.\\b\\..\\..\\..\\c", "C:\\c", "c", "\\??\\C:\\c"},
               {"C:\\", "C:\\", "", "\\??\\C:\\"},
               {"C:\\a\\b\\..", "C:\\a", "a", "\\??\\C:\\a"},
               {"C:\\a. \\b. . ", "C:\\a. \\b", "b", "\\??\\C:\\a. \\b"},
               {"C:\\a.\\x..\\b", "C:\\a\\x..\\b", "b", "\\??\\C:\\a\\x..\\b"},
               {"file", "C:\\cur\\dir\\file", "file", "\\??\\C:\\cur\\dir\\file"},
               {"..\\file", "C:\\cur\\file", "file", "\\??\\C:\\cur\\file"},
               {"C:file", "C:\\cur\\dir\\file", "file", "\\??\\C:\\cur\\dir\\file"},
               {"d:file", "D:\\file", "file", "\\??\\D:\\file"},
               {"\\x\\y", "C:\\x\\y", "y", "\\??\\C:\\x\\y"},
               {"//srv/share/d/../../f", "\\\\srv\\share\\f", "f", "\\??\\UNC\\srv\\share\\f"},
               {"\\\\srv", "\\\\srv", "", "\\??\\UNC\\srv"},
               {"\\\\.\\name", "\\\\.\\name", "name", "\\??\\name"},
               {"\\\\.\\C:\\a\\..\\b", "\\\\.\\C:\\b", "b", "\\??\\C:\\b"},
               {"\\\\?\\C:\\a\\..\\b", "\\\\?\\C:\\b", "b", "\\??\\C:\\a\\..\\b"},
               {"\\??\\C:\\a", "C:\\??\\C:\\a", "a", "\\??\\C:\\a"},
               {"  ", "", "", ""},
               {"", "", "", ""}};
  for (const auto& test : cases) {
    CAPTURE(test.name);
    const std::u16string full = winsim::FullPath(FromUtf8(test.name), u"C:\\cur\\dir");
    CHECK(ToUtf8(full) == test.fullPath);
    CHECK(ToUtf8(full.substr(winsim::FilePartOffset(full))) == test.filePart);
    CHECK(ToUtf8(winsim::NtPath(FromUtf8(test.name), u"C:\\cur\\dir")) == test.ntPath);
  }
}

TEST_CASE("the root of a path is that of its drive, share or device") {
  static const char* const cases[][2] = {{"C:\\a\\b", "C:\\"},
                                         {"\\\\srv\\share\\d", "\\\\srv\\share\\"},
                                         {"\\\\srv\\share", "\\\\srv\\share\\"},
                                         {"\\\\srv", ""},
                                         {"\\\\srv\\", ""},
                                         {"\\\\?\\C:\\a", "\\\\?\\C:\\"},
                                         {"\\\\?\\UNC\\srv\\share\\d", "\\\\?\\UNC\\srv\\share\\"},
                                         {"rest", ""}};
  for (const auto& test : cases) {
    CAPTURE(test[0]);
    CHECK(ToUtf8(winsim::RootOfPath(FromUtf8(test[0]))) == test[1]);
  }
}

TEST_CASE("search patterns match as in FindFirstFile") {
  static const struct {
    const char* pattern;
    const char* matched;  // names between blanks
    const char* others;
  } cases[] = {{"*", "a a.b .", ""},
               {"*.*", "a a.b .x", ""},
               {"*.", "a abc", "a.b a.b.c"},
               {"*.sys", "A.SYS a.b.sys .sys", "a.sy sys a.sysx"},
               {"a?.b", "ax.b a.b", "axx.b b.b"},
               {"a??", "a ab abc", "abcd"},
               {"a.?", "a a.b", "a.bc"},
               {"a*c", "ac abc a.c", "acb"},
               {"plain", "PLAIN", "plai plain.x"}};
  for (const auto& test : cases) {
    CAPTURE(test.pattern);
    for (const bool expected : {true, false}) {
      std::istringstream names(expected ? test.matched : test.others);
      for (std::string name; names >> name;) {
        CAPTURE(name);
        CHECK(winsim::MatchesPattern(FromUtf8(name), FromUtf8(test.pattern)) == expected);
      }
    }
  }
}

TEST_CASE("the path functions report sizes, errors and drives exactly") {
  MachineSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.AddDrive(u'd', DRIVE_CDROM, false);
  files.AddDrive(u'E', DRIVE_REMOVABLE);
  files.AddDrive(u'N', DRIVE_REMOTE);
  files.AddShare(u"\\\\srv\\share");
  files.MakeFolder(u"C:\\base");
  files.Substitute(u'X', u"C:\\base");
  files.Substitute(u'Y', u"X:\\deeper");
  files.Substitute(u'S', u"\\\\srv\\share\\in");
  files.Substitute(u'L', u"L:\\");
  session.Process().currentDirectory = u"E:\\dir";
  wchar_t buffer[64];
  wchar_t* filePart = buffer;

  SUBCASE("full paths") {
    CHECK(GetFullPathNameW(L"f.txt", 13, buffer, &filePart) == 12);
    CHECK(ToUtf8(FromWide(buffer)) == "E:\\dir\\f.txt");
    CHECK(filePart == buffer + 7);
    buffer[0] = u'#';
    CHECK(GetFullPathNameW(L"f.txt", 12, buffer, &filePart) == 13);
    CHECK((buffer[0] == u'#' && filePart == nullptr));
    CHECK(FailureOf([&] { return GetFullPathNameW(L" ", 64, buffer, nullptr); }) == ERROR_INVALID_NAME);
  }
  SUBCASE("volumes") {
    static const struct {
      const wchar_t* name;
      DWORD room, error;
      const char* root;
    } cases[] = {{L"C:\\none\\such", 4, Untouched, "C:\\"},
                 {L"C:\\none", 3, ERROR_FILENAME_EXCED_RANGE, ""},
                 {L"file", 64, Untouched, "E:\\"},
                 {L"Q:\\file", 64, ERROR_FILE_NOT_FOUND, ""},
                 {L"\\\\SRV\\share\\d", 13, Untouched, "\\\\SRV\\share\\"},
                 {L"\\\\srv\\other\\d", 64, ERROR_BAD_NET_NAME, ""},
                 {L"\\\\none\\share", 64, ERROR_BAD_NETPATH, ""},
                 {L"\\\\srv", 64, ERROR_INVALID_NAME, ""},
                 {nullptr, 64, ERROR_INVALID_PARAMETER, ""}};
    for (const auto& test : cases) {
      CAPTURE(ToUtf8(FromWide(test.name)));
      buffer[0] = 0;
      CHECK(ErrorOf([&] {
              CHECK((GetVolumePathNameW(test.name, buffer, test.room) == TRUE) == (test.error == Untouched));
            }) == test.error);
      CHECK(ToUtf8(FromWide(buffer)) == test.root);
    }
  }
  SUBCASE("drive types") {
    static const struct {
      const wchar_t* root;
      UINT type;
    } cases[] = {{L"c:", DRIVE_FIXED},
                 {L"C:\\base\\", DRIVE_NO_ROOT_DIR},
                 {L"D:\\", DRIVE_CDROM},
                 {nullptr, DRIVE_REMOVABLE},
                 {L"N:\\", DRIVE_REMOTE},
                 {L"Q:\\", DRIVE_NO_ROOT_DIR},
                 {L"X:\\", DRIVE_FIXED},
                 {L"Y:\\", DRIVE_NO_ROOT_DIR},
                 {L"L:\\", DRIVE_NO_ROOT_DIR},
                 {L"", DRIVE_NO_ROOT_DIR},
                 {L"\\\\srv\\share\\", DRIVE_REMOTE},
                 {L"\\\\srv\\share", DRIVE_NO_ROOT_DIR},
                 {L"\\\\srv\\none\\", DRIVE_NO_ROOT_DIR},
                 {L"\\\\?\\C:\\", DRIVE_FIXED}};
    for (const auto& test : cases) {
      CAPTURE(ToUtf8(FromWide(test.root)));
      CHECK(GetDriveTypeW(test.root) == test.type);
    }
    files.MakeFolder(u"C:\\base\\deeper");
    files.MakeFolder(u"\\\\srv\\share\\in");
    CHECK(GetDriveTypeW(L"Y:\\") == DRIVE_FIXED);
    CHECK(GetDriveTypeW(L"S:\\") == DRIVE_REMOTE);
  }
  SUBCASE("DOS devices") {
    static const struct {
      const wchar_t* name;
      const char* target;
    } cases[] = {{L"c:", "\\Device\\HarddiskVolume1"},
                 {L"D:", "\\Device\\CdRom0"},
                 {L"N:", "\\Device\\LanmanRedirector\\;N:"},
                 {L"X:", "\\??\\C:\\base"},
                 {L"S:", "\\??\\UNC\\srv\\share\\in"}};
    for (const auto& test : cases) {
      CAPTURE(test.target);
      std::fill_n(buffer, 64, L'#');
      const auto length = static_cast<DWORD>(std::string_view(test.target).size());
      CHECK(QueryDosDeviceW(test.name, buffer, length + 2) == length + 2);
      CHECK(ToUtf8(FromWide(buffer)) == test.target);
      CHECK((buffer[length + 1] == 0 && buffer[length + 2] == L'#'));
      CHECK(FailureOf([&] { return QueryDosDeviceW(test.name, buffer, length + 1); }) ==
            ERROR_INSUFFICIENT_BUFFER);
    }
    for (const wchar_t* const name : {L"Q:", L"C:\\"}) {
      CHECK(FailureOf([&] { return QueryDosDeviceW(name, buffer, 64); }) == ERROR_FILE_NOT_FOUND);
    }
  }
}
}

TEST_CASE("an 8-bit-only system has the A functions only, in its file code page") {
  Settings settings = Settings::Windows98();
  settings.fileApisUseAnsi = false;
  MachineSession session(settings);
  CHECK(FailureOf([&] { return GetDriveTypeW(L"C:\\"); }) == ERROR_CALL_NOT_IMPLEMENTED);
  CHECK(FailureOf(INVALID_FILE_ATTRIBUTES, [] { return GetFileAttributesW(L"C:\\"); }) ==
        ERROR_CALL_NOT_IMPLEMENTED);
  // 0x81 is a small u with diaeresis in the OEM code page.
  session.Machine().files.WriteFile(u"C:\\\u00FC.txt", "12345");
  CHECK(GetFileAttributesA("C:\\\x81.txt") == FILE_ATTRIBUTE_ARCHIVE);
  CHECK(FailureOf(INVALID_FILE_ATTRIBUTES, [&] { return GetFileAttributesA("C:\\\xFC.txt"); }) ==
        ERROR_FILE_NOT_FOUND);
  WIN32_FIND_DATAA data;
  const HANDLE find = FindFirstFileA("C:\\*.TXT", &data);
  REQUIRE(find != INVALID_HANDLE_VALUE);
  CHECK((std::string_view(data.cFileName) == "\x81.txt" && data.nFileSizeLow == 5));
  CHECK(FindClose(find) == TRUE);
  CHECK(DeleteFileA("C:\\\x81.txt") == TRUE);
}
