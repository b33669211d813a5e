#include <doctest/doctest.h>

#include <cstdint>
#include <string>

#include "support/SystemSession.h"
#include "support/TestFile.h"
#include "support/Throws.h"
#include "system/PlatformApi.h"

namespace {

using namespace LCommon::System;

LPtrRef<File> Open(const TestFile& test, File::AccessType access, unsigned int share) {
  return LMakeRef<File>(test.name, access, share, FILE_ATTRIBUTE_NORMAL, OPEN_EXISTING);
}
LPtrRef<File> Create(const TestFile& test) {
  return LMakeRef<File>(test.name, File::accessReadWrite, 0u, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS);
}

std::uint64_t ToNumber(FILETIME time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

}  // namespace

TEST_CASE("a file is created, written and measured, and goes when it is deleted") {
  SystemSession session;
  const TestFile test;
  CHECK_FALSE(File::IsExist(test.name));
  {
    const LPtrRef<File> file = Create(test);
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
  LPtrRef<File> file = Create(test);
  CHECK(Thrown([&] { Open(test, File::accessRead, FILE_SHARE_READ); }) == sharingViolation);
  CHECK(Thrown([&] { File::Delete(test.name); }) == sharingViolation);
  file = nullptr;
  file = Open(test, File::accessRead, File::TypicalShare(File::accessRead));
  CHECK(Thrown([&] { Open(test, File::accessRead, FILE_SHARE_READ); }) == "nothing");
  CHECK(Thrown([&] { Open(test, File::accessReadWrite, FILE_SHARE_READ); }) == sharingViolation);
}

TEST_CASE("the times of last access and of last writing are those that were set") {
  SystemSession session;
  const TestFile test;
  constexpr std::uint64_t lastAccess = 0x01D1000000000000;
  constexpr std::uint64_t lastWrite = 0x01D2000080000000;
  Create(test)->SetTime(0x01D0000012345670, lastAccess, lastWrite);

  WIN32_FIND_DATAW found = {};
  const HANDLE search = FindFirstFileU(test.name.Data(), &found);
  REQUIRE(search != INVALID_HANDLE_VALUE);
  FindClose(search);
  CHECK(ToNumber(found.ftLastAccessTime) == lastAccess);
  CHECK(ToNumber(found.ftLastWriteTime) == lastWrite);
}

TEST_CASE("an access mode has its share mode, and no other number is one") {
  SystemSession session;
  CHECK(File::TypicalShare(File::accessRead) == FILE_SHARE_READ);
  CHECK(File::TypicalShare(File::accessReadWrite) == 0);
  CHECK(File::TypicalShare(File::accessReadExecute) == FILE_SHARE_READ);
  CHECK(File::TypicalShare(File::accessReadWriteExecute) == 0);
  CHECK(Thrown([] { File::TypicalShare(4); }) == "Unreachable point");
  CHECK(Thrown([] { File(L"C:\\x", 4, 0, 0, OPEN_EXISTING); }) == "Unreachable point");
}
