#include <doctest/doctest.h>

#include <cstdint>
#include <string>

#include "support/FailedCondition.h"
#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/File.h"
#include "system/Manager.h"
#include "system/PlatformApi.h"
#include "system/Thrown.h"

namespace {

using namespace LCommon::System;

LUnicodeString InWindows(const wchar_t* name) {
  return AppendBackslash(Manager::Instance().GetWindowsDirectoryA()) + name;
}

/// A file of the test's own, gone with the test.
class TestFile {
 public:
  TestFile() : name(InWindows(L"kvdel01 test.bin")) {}
  ~TestFile() {
    if (File::IsExist(name)) File::Delete(name);
  }

  LPtrRef<File> Open(File::AccessType access, unsigned int share, unsigned int disposition) const {
    return LMakeRef<File>(name, access, share, FILE_ATTRIBUTE_NORMAL, disposition);
  }
  LPtrRef<File> Create() const { return Open(File::accessReadWrite, 0, CREATE_ALWAYS); }

  const LUnicodeString name;
};

std::uint64_t ToNumber(FILETIME time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

}  // namespace

TEST_CASE("a file is created, written and measured, and goes when it is deleted") {
  SystemSession session;
  const TestFile test;
  CHECK_FALSE(File::IsExist(test.name));
  {
    const LPtrRef<File> file = test.Create();
    CHECK(file->GetSize() == 0);
    CHECK(file->Write("abc", 3) == 3);
    CHECK(file->Write(LBuffer("defgh", 5)) == 5);
    CHECK(file->Write(LBuffer()) == 0);
    CHECK(file->GetSize() == 8);
  }
  CHECK(File::IsExist(test.name));
  File::Delete(test.name);
  CHECK_FALSE(File::IsExist(test.name));
}

TEST_CASE("a missing file and a missing directory are told apart") {
  SystemSession session;
  const LUnicodeString noFile = InWindows(L"kvdel01 none");
  const LUnicodeString noDirectory = InWindows(L"kvdel01 none\\none");
  const struct {
    LUnicodeString name;
    std::string expected;
  } cases[] = {{noFile, Exactly<File::FileNotFoundException>(2)},
               {noDirectory, Exactly<File::PathNotFoundException>(3)}};
  for (const auto& each : cases) {
    CAPTURE(each.expected);
    CHECK(Thrown([&] { File(each.name, 0, 0, 0, OPEN_EXISTING); }) == each.expected);
    CHECK(Thrown([&] { File::Delete(each.name); }) == each.expected);
    CHECK(Thrown([&] { File::GetAttributes(each.name); }) == each.expected);
    CHECK(Thrown([&] { File::SetAttributes(each.name, FILE_ATTRIBUTE_NORMAL); }) == each.expected);
    CHECK_FALSE(File::IsExist(each.name));
  }
}

TEST_CASE("an open file is shared as its share mode says") {
  SystemSession session;
  const TestFile test;
  const auto sharingViolation = Exactly<File::SharingViolationException>(32);
  LPtrRef<File> file = test.Create();
  CHECK(Thrown([&] { test.Open(File::accessRead, FILE_SHARE_READ, OPEN_EXISTING); }) == sharingViolation);
  CHECK(Thrown([&] { File::Delete(test.name); }) == sharingViolation);
  file = nullptr;
  file = test.Open(File::accessRead, File::TypicalShare(File::accessRead), OPEN_EXISTING);
  CHECK(Thrown([&] { test.Open(File::accessRead, FILE_SHARE_READ, OPEN_EXISTING); }) == "nothing");
  CHECK(Thrown([&] { test.Open(File::accessReadWrite, FILE_SHARE_READ, OPEN_EXISTING); }) ==
        sharingViolation);
}

TEST_CASE("writing needs write access, and a read-only file refuses it and its deletion") {
  SystemSession session;
  const TestFile test;
  const auto denied = Exactly<File::AccessDeniedException>(5);
  test.Create();
  CHECK(Thrown([&] { test.Open(File::accessRead, 0, OPEN_EXISTING)->Write("x", 1); }) == denied);

  File::SetAttributes(test.name, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  CHECK(File::GetAttributes(test.name) == (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  CHECK(Thrown([&] { test.Open(File::accessReadWrite, 0, OPEN_EXISTING); }) == denied);
  CHECK(Thrown([&] { File::Delete(test.name); }) == denied);
  File::SetAttributes(test.name, FILE_ATTRIBUTE_NORMAL);
  CHECK(File::GetAttributes(test.name) == FILE_ATTRIBUTE_NORMAL);
}

TEST_CASE("each of a file's three times is the one that was set") {
  SystemSession session;
  const TestFile test;
  constexpr std::uint64_t creation = 0x01D0000012345670;
  constexpr std::uint64_t lastAccess = 0x01D1000000000000;
  constexpr std::uint64_t lastWrite = 0x01D2000080000000;
  test.Create()->SetTime(creation, lastAccess, lastWrite);

  WIN32_FIND_DATAW found = {};
  const HANDLE search = FindFirstFileU(test.name.Data(), &found);
  REQUIRE(search != INVALID_HANDLE_VALUE);
  FindClose(search);
  CHECK(ToNumber(found.ftCreationTime) == creation);
  CHECK(ToNumber(found.ftLastAccessTime) == lastAccess);
  CHECK(ToNumber(found.ftLastWriteTime) == lastWrite);
}

TEST_CASE("an access mode has its share mode, and no other number is one") {
  SystemSession session;
  CHECK(File::TypicalShare(File::accessRead) == FILE_SHARE_READ);
  CHECK(File::TypicalShare(File::accessReadWrite) == 0);
  CHECK(File::TypicalShare(File::accessReadExecute) == FILE_SHARE_READ);
  CHECK(File::TypicalShare(File::accessReadWriteExecute) == 0);
  CHECK(FailedCondition([] { File::TypicalShare(4); }) == "Unreachable point");
  CHECK(FailedCondition([] { File(L"C:\\x", 4, 0, 0, OPEN_EXISTING); }) == "Unreachable point");
}

TEST_CASE("a path is told with its full form, its volume and its real drive") {
  SystemSession session;
  const LUnicodeString windows = Manager::Instance().GetWindowsDirectoryA();
  const LUnicodeString drive = windows.Mid(0, 2);
  CHECK(Utf8(File::GetFullPath(windows + L"/x/..\\y\\")) == Utf8(windows + L"\\y"));
  CHECK(Utf8(File::GetFullPath(drive + L"\\")) == Utf8(drive));
  CHECK(Utf8(File::GetVolumePath(windows)) == Utf8(drive));
  CHECK(Utf8(File::GetVolumePath_Legacy(windows)) == Utf8(drive));
  CHECK(File::GetVolumeType(drive) == File::volumeFixed);
  CHECK(Utf8(File::GetDeviceMapping(drive).Mid(0, 8)) == "\\Device\\");
  CHECK(Utf8(File::ResolveSubstDriveInFullPath(windows + L"//x/")) == Utf8(windows + L"\\x"));
}

TEST_CASE("a share is the volume of the paths below it") {
  SystemSession session;
  const auto invalid = Exactly<File::InvalidPathNameException>(123);
  CHECK(Utf8(File::GetVolumePath_Legacy(L"\\\\srv\\share\\dir\\f")) == "\\\\srv\\share");
  CHECK(Thrown([] { File::GetVolumePath_Legacy(L"\\\\srv"); }) == invalid);
  CHECK(Utf8(File::ResolveSubstDriveInFullPath(L"//srv/share/f")) == "\\\\srv\\share\\f");
}
