#include <doctest/doctest.h>

#include <cstdint>
#include <string>

#include "support/FailedCondition.h"
#include "support/SystemSession.h"
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
