#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/ErrorCases.h"
#include "system/File.h"
#include "system/FileMapping.h"

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

/// The last arguments of the calls of `function` since the trace was started: of the functions here, the
/// room.
std::string Rooms(const SystemSession& session, const char* function) {
  std::string rooms;
  for (const std::string& line : session.Trace(function)) {
    const std::size_t start = line.rfind(", ") + 2;
    rooms += line.substr(start, line.rfind(')') - start) + " ";
  }
  return rooms;
}

}  // namespace

TEST_CASE("every file error becomes the exception of its operation") {
  SystemSession session;
  const LPtrRef<File> file = OpenTestFile(CREATE_ALWAYS);
  file->Write("abc", 3);
  const ErrorCase noFile = {2, Exactly<File::FileNotFoundException>(2)};
  const ErrorCase noPath = {3, Exactly<File::PathNotFoundException>(3)};
  const ErrorCase denied = {5, Exactly<File::AccessDeniedException>(5)};
  const ErrorCase shared = {32, Exactly<File::SharingViolationException>(32)};
  const ErrorCase moreData = {234, Exactly<File::MoreDataException>(234)};
  using Exception = File::Exception;

  CheckErrors<Exception>(session, "CreateFileW", {noFile, noPath, denied, shared},
                         [&] { OpenTestFile(OPEN_EXISTING); });
  CheckErrors<Exception>(session, "DeleteFileW", {noFile, noPath, denied, shared},
                         [&] { File::Delete(fileName); });
  CheckErrors<Exception>(session, "GetFileAttributesW", {noFile, noPath, denied},
                         [&] { File::GetAttributes(fileName); });
  CheckErrors<Exception>(session, "SetFileAttributesW", {noFile, noPath, denied},
                         [&] { File::SetAttributes(fileName, FILE_ATTRIBUTE_HIDDEN); });
  CheckErrors<Exception>(session, "SetFileTime", {noFile, noPath, denied}, [&] { file->SetTime(1, 2, 3); });
  CheckErrors<Exception>(session, "WriteFile", {denied}, [&] { file->Write("x", 1); });
  CheckErrors<Exception>(session, "MoveFileExW", {denied}, [&] { File::DeleteAfterReboot(fileName); });
  CheckErrors<Exception>(session, "FindFirstFileW", {denied, {2, "nothing"}, {3, "nothing"}, {18, "nothing"}},
                         [&] {
                           const bool exists = File::IsExist(fileName);
                           CHECK_FALSE(exists);
                         });
  CheckErrors<Exception>(session, "GetFileSize", {}, [&] { file->GetSize(); });
  CheckErrors<Exception>(session, "GetFullPathNameW", {}, [&] { File::GetFullPath(fileName); });
  CheckErrors<Exception>(session, "GetVolumePathNameW",
                         {{120, Exactly<File::NotSupportedException>(120)}, {206, "nothing"}},
                         [&] { File::GetVolumePath_New(fileName); });
  CheckErrors<Exception>(session, "QueryDosDeviceW", {{122, "nothing"}},
                         [&] { File::GetDeviceMapping(L"C:"); });
  CheckErrors<Exception>(session, "DeviceIoControl", {denied, moreData}, [&] { file->Control(1, 8, 0); });
  CheckErrors<Exception>(session, "DeviceIoControl", {denied, {234, "nothing"}},
                         [&] { file->Control(1, LBuffer("in", 2)); });
  CheckErrors<FileMapping::Exception>(session, "CreateFileMappingW", {},
                                      [&] { FileMapping(file, FileMapping::accessRead, 0); });
  const LPtrRef<FileMapping> mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  CheckErrors<FileMappingView::Exception>(
      session, "MapViewOfFile", {}, [&] { FileMappingView(mapping, FileMappingView::accessRead, 0, 0); });
  CHECK(file->GetSize() == 3);
  CHECK(File::IsExist(fileName));
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
  winsim::FileSystem& files = session.Machine().files;
  for (const std::uint64_t size : {0xFFFFFFFFull, 0x1FFFFFFFFull, 0x200000001ull}) {
    CAPTURE(size);
    files.AddHostFile(u"C:\\large", "never read", size);
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
  CHECK(files.Exists(u"C:\\gone"));
  CHECK(files.Exists(u"C:\\old"));
  files.RunPendingOperations();
  CHECK_FALSE(files.Exists(u"C:\\gone"));
  CHECK_FALSE(files.Exists(u"C:\\old"));
  CHECK(files.Exists(u"C:\\new"));
}

TEST_CASE("substituted drives are followed to what they stand for") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.MakeFolder(u"C:\\base\\inner");
  files.AddShare(u"\\\\srv\\share");
  files.Substitute(u'X', u"C:\\base");
  files.Substitute(u'Y', u"X:\\inner");
  files.Substitute(u'Z', u"\\\\srv\\share\\dir");
  const struct {
    std::string path;
    const char* expected;
  } cases[] = {
      {R"(X:\data\f)", R"(C:\base\data\f)"}, {R"(x:)", R"(C:\base)"},  {R"(\\?\Y:\f)", R"(C:\base\inner\f)"},
      {R"(Z:/f)", R"(\\srv\share\dir\f)"},   {R"(C:\\f\)", R"(C:\f)"}, {R"(dir\f)", R"(dir\f)"},
  };
  for (const auto& each : cases) {
    CAPTURE(each.path);
    CHECK(Utf8(File::ResolveSubstDriveInFullPath(Utf16(each.path))) == each.expected);
  }
  CHECK(Thrown([] { File::ResolveSubstDriveInFullPath(L"Q:\\f"); }) == Exactly<File::Exception>(2));
}

TEST_CASE("drives that stand for each other lead nowhere") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.Substitute(u'X', u"Y:\\a");
  files.Substitute(u'Y', u"X:\\a");
  CHECK(Thrown([] { File::ResolveSubstDriveInFullPath(L"X:\\f"); }) ==
        Exactly<File::InvalidPathNameException>(123));
}

TEST_CASE("a volume has the type of its drive, and a drive that is none has no type") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  for (const unsigned int type : {2u, 4u, 5u, 6u}) {
    files.AddDrive(static_cast<char16_t>(u'D' + type), type);
  }
  files.AddShare(u"\\\\srv\\share");
  CHECK(File::GetVolumeType(L"C:") == File::volumeFixed);
  CHECK(File::GetVolumeType(L"C:\\/\\") == File::volumeFixed);
  CHECK(File::GetVolumeType(L"F:") == File::volumeRemovable);
  CHECK(File::GetVolumeType(L"H:\\") == File::volumeRemote);
  CHECK(File::GetVolumeType(L"I:") == File::volumeCdRom);
  CHECK(File::GetVolumeType(L"J:") == File::volumeRamDisk);
  CHECK(File::GetVolumeType(L"\\\\srv\\share") == File::volumeRemote);
  const auto invalid = Exactly<File::InvalidPathNameException>(123);
  CHECK(Thrown([] { File::GetVolumeType(L"Q:"); }) == invalid);
  CHECK(Thrown([] { File::GetVolumeType(L"C:\\Windows"); }) == invalid);
}

TEST_CASE("the volume of a path follows from its spelling where the platform cannot tell") {
  const auto invalid = Exactly<File::InvalidPathNameException>(123);
  SUBCASE("platform tells") {
    SystemSession session;
    session.Machine().files.AddShare(u"\\\\server\\a share with a name longer than 32 characters");
    CHECK(Utf8(File::GetVolumePath(L"C:\\dir\\f")) == "C:");
    CHECK(Utf8(File::GetVolumePath(L"\\\\server\\a share with a name longer than 32 characters\\f")) ==
          "\\\\server\\a share with a name longer than 32 characters");
    CHECK(Rooms(session, "GetVolumePathNameW") == "0x20 0x20 0x40 ");
    CHECK(session.Trace("GetFullPathNameW").empty());
  }
  SUBCASE("platform cannot") {
    winsim::Settings settings = winsim::Settings::Windows10();
    settings.missingFunctions.insert("GetVolumePathNameW");
    SystemSession session(settings);
    CHECK(Thrown([] { File::GetVolumePath_New(L"C:\\f"); }) == Exactly<File::NotSupportedException>(120));
    CHECK(Utf8(File::GetVolumePath(L"C:\\dir\\f")) == "C:");
    CHECK(Utf8(File::GetVolumePath(L"\\\\srv\\share\\dir\\f")) == "\\\\srv\\share");
    CHECK(Thrown([] { File::GetVolumePath(L"\\\\srv"); }) == invalid);
    CHECK(Thrown([] { File::GetVolumePath(L"\\\\.\\"); }) == invalid);
  }
}

TEST_CASE("texts of any length are read with twice the room each time") {
  SystemSession session;
  const std::string component(250, 'd');
  const std::string path = "C:\\" + component + "\\" + component + "\\" + component;
  CHECK(Utf8(File::GetFullPath(Utf16(path + "/"))) == path);
  CHECK(Rooms(session, "GetFullPathNameW") == "0x104 0x208 0x410 ");

  session.Machine().files.MakeFolder(MachineText(Utf16(path)));
  session.Machine().files.Substitute(u'X', MachineText(Utf16(path)));
  CHECK(Utf8(File::GetDeviceMapping(L"X:")) == "\\??\\" + path);
  CHECK(Rooms(session, "QueryDosDeviceW") == "0x104 0x208 0x410 ");

  // An answer that fills the room to its end may be cut.
  session.Machine().files.Substitute(u'X', u"C:\\" + std::u16string(251, u'd'));
  session.Machine().gate.StartTrace();
  CHECK(File::GetDeviceMapping(L"X:").Length() == 258);
  CHECK(Rooms(session, "QueryDosDeviceW") == "0x104 0x208 ");
}

TEST_CASE("accesses, sizes and offsets reach the platform as its numbers") {
  SystemSession session;
  session.Machine().files.WriteFile(u"C:\\test.bin", "abc");
  for (unsigned int access = 0; access < 4; ++access) {
    File(fileName, access, 3, 0x80, OPEN_EXISTING);
  }
  CHECK(TraceText(session, "CreateFileW") ==
        "CreateFileW(\"C:\\test.bin\", 0x80000000, 3, 3, 0x80)\n"
        "CreateFileW(\"C:\\test.bin\", 0xC0000000, 3, 3, 0x80)\n"
        "CreateFileW(\"C:\\test.bin\", 0xA0000000, 3, 3, 0x80)\n"
        "CreateFileW(\"C:\\test.bin\", 0xE0000000, 3, 3, 0x80)\n");

  const LPtrRef<File> file = OpenTestFile(OPEN_EXISTING);
  session.Machine().gate.FailFunction("CreateFileMappingW", 8, 5);
  for (unsigned int access = 0; access < 5; ++access) {
    Thrown([&] { FileMapping(file, static_cast<FileMapping::AccessType>(access), 0x200000003); });
  }
  CHECK(TraceText(session, "CreateFileMappingW") ==
        "CreateFileMappingW(file C:\\test.bin, 2, 2, 3, null) = 8\n"
        "CreateFileMappingW(file C:\\test.bin, 4, 2, 3, null) = 8\n"
        "CreateFileMappingW(file C:\\test.bin, 8, 2, 3, null) = 8\n"
        "CreateFileMappingW(file C:\\test.bin, 0x20, 2, 3, null) = 8\n"
        "CreateFileMappingW(file C:\\test.bin, 0x40, 2, 3, null) = 8\n");

  const LPtrRef<FileMapping> mapping = LMakeRef<FileMapping>(file, FileMapping::accessRead, 0u);
  session.Machine().gate.FailFunction("MapViewOfFile", 8, 5);
  for (unsigned int access = 0; access < 5; ++access) {
    Thrown(
        [&] { FileMappingView(mapping, static_cast<FileMappingView::AccessType>(access), 0x400000005, 6); });
  }
  CHECK(TraceText(session, "MapViewOfFile") ==
        "MapViewOfFile(mapping of C:\\test.bin, 4, 4, 5, 6) = 8\n"
        "MapViewOfFile(mapping of C:\\test.bin, 2, 4, 5, 6) = 8\n"
        "MapViewOfFile(mapping of C:\\test.bin, 1, 4, 5, 6) = 8\n"
        "MapViewOfFile(mapping of C:\\test.bin, 0x20, 4, 5, 6) = 8\n"
        "MapViewOfFile(mapping of C:\\test.bin, 0x20, 4, 5, 6) = 8\n");
}
