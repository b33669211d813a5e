#include "system/File.h"

#include <doctest/doctest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/FailedCondition.h"
#include "support/Utf8.h"
#include "system/ErrorCases.h"
#include "system/FileMapping.h"
#include "system/PlatformApi.h"

namespace {

using namespace LCommon::System;

constexpr wchar_t fileName[] = L"C:\\test.bin";
constexpr std::uint32_t requestCode = 0x222000;

LPtrRef<File> OpenTestFile(unsigned int disposition) {
  return LMakeRef<File>(fileName, File::accessReadWrite, FILE_SHARE_READ | FILE_SHARE_DELETE,
                        FILE_ATTRIBUTE_NORMAL, disposition);
}

/// A loaded driver with a device "test".
winsim::DriverBehaviour& LoadTestDriver(winsim::Machine& machine) {
  machine.files.WriteFile(u"C:\\test.sys", "image");
  REQUIRE(machine.devices.Load(u"test", u"C:\\test.sys") == 0);
  return machine.devices.Behaviour(u"test");
}

LPtrRef<File> OpenTestDevice() {
  return LMakeRef<File>(L"\\\\.\\test", File::accessReadWrite, 0u, 0u, OPEN_EXISTING);
}

std::uint64_t ToNumber(FILETIME time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

}  // namespace

TEST_CASE("every file error becomes the exception of its operation") {
  SystemSession session;
  const LPtrRef<File> file = OpenTestFile(CREATE_ALWAYS);
  file->Write("abc", 3);
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
}

TEST_CASE("a file has the contents, the attributes and each of the three times that were set") {
  SystemSession session;
  constexpr std::uint64_t creation = 0x01D0000012345670, access = 0x01D1000000000000,
                          write = 0x01D2000080000000;
  {
    const LPtrRef<File> file = OpenTestFile(CREATE_ALWAYS);
    CHECK(file->Write("abc", 3) == 3);
    CHECK(file->Write(LBuffer("defgh", 5)) == 5);
    CHECK(file->Write(LBuffer()) == 0);
    CHECK(file->GetSize() == 8);
    file->SetTime(creation, access, write);
  }
  CHECK(session.Machine().files.ReadFile(u"C:\\test.bin") == "abcdefgh");
  WIN32_FIND_DATAW found = {};
  CHECK(FindClose(FindFirstFileU(fileName, &found)));
  CHECK(std::tuple(ToNumber(found.ftCreationTime), ToNumber(found.ftLastAccessTime),
                   ToNumber(found.ftLastWriteTime)) == std::tuple(creation, access, write));
  File::SetAttributes(fileName, FILE_ATTRIBUTE_HIDDEN);
  CHECK(File::GetAttributes(fileName) == FILE_ATTRIBUTE_HIDDEN);
  File::Delete(fileName);
  CHECK_FALSE(File::IsExist(fileName));
}

TEST_CASE("an access mode has its share mode, and no other number is one") {
  SystemSession session;
  const unsigned int shares[] = {FILE_SHARE_READ, 0, FILE_SHARE_READ, 0};
  for (unsigned int access = 0; access < 4; ++access) {
    CHECK(File::TypicalShare(access) == shares[access]);
    session.Machine().files.WriteFile(u"C:\\test.bin", "");
    File(fileName, access, 3, 0x80, OPEN_EXISTING);
  }
  CHECK(TraceText(session, "CreateFileW") ==
        "CreateFileW(\"C:\\test.bin\", 0x80000000, 3, 3, 0x80)\n"
        "CreateFileW(\"C:\\test.bin\", 0xC0000000, 3, 3, 0x80)\n"
        "CreateFileW(\"C:\\test.bin\", 0xA0000000, 3, 3, 0x80)\n"
        "CreateFileW(\"C:\\test.bin\", 0xE0000000, 3, 3, 0x80)\n");
  CHECK(FailedCondition([] { File::TypicalShare(4); }) == "Unreachable point");
  CHECK(FailedCondition([] { File(fileName, 4, 0, 0, OPEN_EXISTING); }) == "Unreachable point");
}

TEST_CASE("a device request is repeated with twice the room while the driver has more data") {
  SystemSession session;
  winsim::DriverBehaviour& driver = LoadTestDriver(session.Machine());
  driver.replies[requestCode].bytes = winsim::Bytes(300, 7);
  const LPtrRef<File> device = OpenTestDevice();

  session.Machine().gate.StartTrace();
  const LBuffer output = device->Control(requestCode, 0, 1);
  CHECK(output.Size() == 300);
  CHECK(output.Data()[299] == 7);
  CHECK(Rooms(session, "DeviceIoControl") == "0 0x40 0x80 0x100 0x200 ");

  session.Machine().gate.StartTrace();
  CHECK(device->Control(requestCode, 299, 1).Size() == 300);
  CHECK(Rooms(session, "DeviceIoControl") == "0x12B 0x256 ");
  CHECK(Thrown([&] { device->Control(requestCode, 299, 0); }) == Exactly<File::MoreDataException>(234));
  CHECK(device->Control(requestCode, 1000, 0).Size() == 300);
}

TEST_CASE("a device request brings its input to the driver") {
  SystemSession session;
  winsim::DriverBehaviour& driver = LoadTestDriver(session.Machine());
  driver.replies[requestCode].bytes = winsim::Bytes(300, 7);
  driver.replies[requestCode + 1].error = 5;
  driver.replies[requestCode + 2] = {};
  const LPtrRef<File> device = OpenTestDevice();
  const LBuffer input("in", 2);

  device->Control(requestCode, input);
  CHECK(Thrown([&] { device->Control(requestCode + 2, input, 10, 0); }) == "nothing");
  CHECK(Thrown([&] { device->Control(requestCode + 1, input); }) == Exactly<File::AccessDeniedException>(5));
  device->Control(requestCode, 300, 0);
  const winsim::Bytes bytes = {'i', 'n'};
  const std::vector<winsim::DeviceRequest> expected = {{u"test", requestCode, bytes},
                                                       {u"test", requestCode + 2, bytes},
                                                       {u"test", requestCode + 1, bytes},
                                                       {u"test", requestCode, {}}};
  CHECK((driver.requests == expected));
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

TEST_CASE("what is scheduled for the restart is done by it") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.WriteFile(u"C:\\gone", "1");
  files.WriteFile(u"C:\\old", "2");
  LUnicodeString terminatorOnly(L"x");
  terminatorOnly.Delete(0);
  File::MoveAfterReboot(L"C:\\gone", terminatorOnly);
  File::MoveAfterReboot(L"C:\\old", L"C:\\new");
  const auto exist = [&] {
    return std::tuple(files.Exists(u"C:\\gone"), files.Exists(u"C:\\old"), files.Exists(u"C:\\new"));
  };
  CHECK(exist() == std::tuple(true, true, false));
  files.RunPendingOperations();
  CHECK(exist() == std::tuple(false, false, true));
}
