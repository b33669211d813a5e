#include "system/File.h"

#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/Throws.h"
#include "system/ErrorCases.h"
#include "system/FileMapping.h"

namespace {

using namespace LCommon::System;

constexpr wchar_t fileName[] = L"C:\\test.bin";
constexpr std::uint32_t requestCode = 0x222000;

LPtrRef<File> OpenTestFile(unsigned int disposition) {
  return LMakeRef<File>(fileName, File::accessReadWrite, FILE_SHARE_READ | FILE_SHARE_DELETE,
                        FILE_ATTRIBUTE_NORMAL, disposition);
}

LPtrRef<File> OpenToRead() {
  return LMakeRef<File>(fileName, File::accessRead, FILE_SHARE_READ, 0u, OPEN_EXISTING);
}

}  // namespace

TEST_CASE("every file error becomes the exception of its operation") {
  SystemSession session;
  const LPtrRef<File> file = OpenTestFile(CREATE_ALWAYS);
  CHECK(file->Write("abc", 3) == 3);
  const ErrorCase noFile = Throws<File::FileNotFoundException>(2);
  const ErrorCase noPath = Throws<File::PathNotFoundException>(3);
  const ErrorCase denied = Throws<File::AccessDeniedException>(5);
  const ErrorCase shared = Throws<File::SharingViolationException>(32);
  const ErrorCase notSupported = Throws<File::NotSupportedException>(120);
  const ErrorCase moreData = Throws<File::MoreDataException>(234);
  const auto check = [&](const char* function, std::initializer_list<ErrorCase> cases, auto operation) {
    CheckErrors<File::Exception>(session, function, cases, operation);
  };
  check("CreateFileW", {noFile, noPath, denied, shared}, [&] { OpenTestFile(OPEN_EXISTING); });
  check("DeleteFileW", {noFile, noPath, denied, shared}, [&] { File::Delete(fileName); });
  check("GetFileAttributesW", {noFile, noPath, denied}, [&] { File::GetAttributes(fileName); });
  check("SetFileAttributesW", {noFile, noPath, denied}, [&] { File::SetAttributes(fileName, 2); });
  check("SetFileTime", {noFile, noPath, denied}, [&] { file->SetTime(1, 2, 3); });
  check("WriteFile", {denied}, [&] { file->Write("x", 1); });
  check("MoveFileExW", {denied}, [&] { File::DeleteAfterReboot(fileName); });
  check("FindFirstFileW", {denied, {2, "nothing"}, {3, "nothing"}, {18, "nothing"}}, [&] {
    const bool exists = File::IsExist(fileName);
    CHECK_FALSE(exists);
  });
  check("GetFileSize", {}, [&] { file->GetSize(); });
  check("GetFullPathNameW", {}, [&] { File::GetFullPath(fileName); });
  check("GetVolumePathNameW", {notSupported, {206, "nothing"}}, [&] { File::GetVolumePath_New(fileName); });
  check("QueryDosDeviceW", {{122, "nothing"}}, [&] { File::GetDeviceMapping(L"C:"); });
  check("DeviceIoControl", {denied, moreData}, [&] { file->Control(1, 8, 0); });
  check("DeviceIoControl", {denied, {234, "nothing"}}, [&] { file->Control(1, LBuffer("in", 2)); });
  CheckErrors<FileMapping::Exception>(session, "CreateFileMappingW", {},
                                      [&] { FileMapping(file, FileMapping::accessRead, 0); });
  const LPtrRef<FileMapping> mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  CheckErrors<FileMappingView::Exception>(
      session, "MapViewOfFile", {}, [&] { FileMappingView(mapping, FileMappingView::accessRead, 0, 0); });
  CHECK(file->GetSize() == 3);
  CHECK(File::IsExist(fileName));
  file->SetTime(0x01D0000012345670, 2, 3);
  CHECK(session.Machine().files.Find(u"C:\\test.bin")->times == winsim::FileTimes{0x01D0000012345670, 2, 3});
}

TEST_CASE("a device request brings its input, and is repeated with twice the room while there is more data") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  machine.files.WriteFile(u"C:\\test.sys", "image");
  REQUIRE(machine.devices.Load(u"test", u"C:\\test.sys") == 0);
  winsim::DriverBehaviour& driver = machine.devices.Behaviour(u"test");
  driver.replies[requestCode].bytes = winsim::Bytes(300, 7);
  driver.replies[requestCode + 1] = {};
  const LPtrRef<File> device = LMakeRef<File>(L"\\\\.\\test", File::accessReadWrite, 0u, 0u, OPEN_EXISTING);
  const LBuffer input("in", 2);
  device->Control(requestCode, input);
  CHECK(device->Control(requestCode + 1, input, 10, 0).Size() == 0);
  CHECK(device->Control(requestCode, 300, 0).Size() == 300);
  const winsim::Bytes bytes = {'i', 'n'};
  const std::vector<winsim::DeviceRequest> expected = {
      {u"test", requestCode, bytes}, {u"test", requestCode + 1, bytes}, {u"test", requestCode, {}}};
  CHECK(driver.requests == expected);

  for (const unsigned int room : {0u, 299u}) {
    const LBuffer output = device->Control(requestCode, room, 1);
    CHECK(winsim::Bytes(output.Data(), output.Data() + output.Size()) == winsim::Bytes(300, 7));
  }
  CHECK(Thrown([&] { device->Control(requestCode, 299, 0); }) == Exactly<File::MoreDataException>(234));
}

TEST_CASE("sizes have 64 bits, and a low half of all ones is a size too") {
  SystemSession session;
  for (const std::uint64_t size : {0xFFFFFFFFull, 0x1FFFFFFFFull, 0x200000001ull}) {
    CAPTURE(size);
    session.Machine().files.AddHostFile(u"C:\\large", "never read", size);
    SetLastError(5);
    CHECK(File(L"C:\\large", File::accessRead, FILE_SHARE_READ, 0, OPEN_EXISTING).GetSize() == size);
  }
}

TEST_CASE("a file is moved by the restart, to nowhere without a name to move to") {
  SystemSession session;
  LUnicodeString terminatorOnly(L"x");
  terminatorOnly.Delete(0);
  session.Machine().files.WriteFile(u"C:\\test.bin", "1");
  File::MoveAfterReboot(fileName, L"C:\\new");
  File::MoveAfterReboot(fileName, terminatorOnly);
  CHECK(TraceText(session, "MoveFileExW") ==
        "MoveFileExW(\"C:\\test.bin\", \"C:\\new\", 4)\nMoveFileExW(\"C:\\test.bin\", null, 4)\n");
}

TEST_CASE("accesses, sizes and offsets reach the platform as its numbers, and no other number is an access") {
  SystemSession session;
  session.Machine().files.WriteFile(u"C:\\test.bin", "abc");
  const LPtrRef<File> file = OpenToRead();
  const LPtrRef<FileMapping> mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  winsim::Gate& gate = session.Machine().gate;
  constexpr std::pair<const char*, unsigned int> masksAndShares[] = {
      {"0x80000000, 7", 1}, {"0xC0000000, 7", 0}, {"0xA0000000, 7", 1}, {"0xE0000000, 7", 0}};
  for (unsigned int access = 0; access < 4; ++access) {
    CAPTURE(access);
    gate.StartTrace();
    gate.FailFunction("CreateFileW", 8);
    Thrown([&] { File(fileName, access, 7, 0, OPEN_EXISTING); });
    CHECK(TraceText(session, "CreateFileW") ==
          std::string("CreateFileW(\"C:\\test.bin\", ") + masksAndShares[access].first + ", 3, 0) = 8\n");
    CHECK(File::TypicalShare(access) == masksAndShares[access].second);
  }
  const struct {
    File::AccessType fileAccess;
    std::string protection, viewAccess;
  } cases[] = {{File::accessRead, "2", "4"},
               {File::accessReadWrite, "4", "2"},
               {File::accessReadWrite, "8", "1"},
               {File::accessReadExecute, "0x20", "0x20"},
               {File::accessReadWriteExecute, "0x40", "0x20"}};
  for (unsigned int number = 0; number < 5; ++number) {
    CAPTURE(number);
    const auto access = static_cast<FileMapping::AccessType>(number);
    const auto viewAccess = static_cast<FileMappingView::AccessType>(number);
    CHECK(FileMapping::ToFileAccess(access) == cases[number].fileAccess);
    CHECK(FileMappingView::ToMappingAccess(viewAccess) == number);
    gate.StartTrace();
    gate.FailFunction("CreateFileMappingW", 8);
    Thrown([&] { FileMapping(file, access, 0x200000003); });
    CHECK(TraceText(session, "CreateFileMappingW") ==
          "CreateFileMappingW(file C:\\test.bin, " + cases[number].protection + ", 2, 3, null) = 8\n");
    gate.FailFunction("MapViewOfFile", 8);
    Thrown([&] { FileMappingView(mapping, viewAccess, 0x400000005, 6); });
    CHECK(TraceText(session, "MapViewOfFile") ==
          "MapViewOfFile(mapping of C:\\test.bin, " + cases[number].viewAccess + ", 4, 5, 6) = 8\n");
  }
  constexpr auto noAccess = static_cast<FileMapping::AccessType>(5);
  constexpr auto noViewAccess = static_cast<FileMappingView::AccessType>(5);
  for (const auto& failed :
       {Thrown([] { File::TypicalShare(4); }), Thrown([] { File(fileName, 4, 0, 0, OPEN_EXISTING); }),
        Thrown([&] { FileMapping::ToFileAccess(noAccess); }),
        Thrown([&] { FileMappingView::ToMappingAccess(noViewAccess); }),
        Thrown([&] { FileMapping(file, noAccess, 0); }),
        Thrown([&] { FileMappingView(mapping, noViewAccess, 0, 0); })}) {
    CHECK(failed == "Unreachable point");
  }
}
