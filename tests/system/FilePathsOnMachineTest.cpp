#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/Utf8.h"
#include "system/ErrorCases.h"
#include "system/File.h"

using LCommon::System::File;

TEST_CASE("substituted drives are followed to what they stand for") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  files.MakeFolder(u"C:\\base\\inner");
  files.AddShare(u"\\\\srv\\share");
  files.Substitute(u'X', u"C:\\base");
  files.Substitute(u'Y', u"X:\\inner");
  files.Substitute(u'Z', u"\\\\srv\\share\\dir");
  const std::pair<std::string, std::string> cases[] = {{R"(X:\data\f)", R"(C:\base\data\f)"},
                                                       {R"(x:)", R"(C:\base)"},
                                                       {R"(\\?\Y:\f)", R"(C:\base\inner\f)"},
                                                       {R"(Z:/f)", R"(\\srv\share\dir\f)"},
                                                       {R"(C:\\f\)", R"(C:\f)"},
                                                       {R"(dir\f)", R"(dir\f)"},
                                                       {R"(//srv/share/f)", R"(\\srv\share\f)"}};
  for (const auto& [path, expected] : cases) {
    CHECK(Utf8(File::ResolveSubstDriveInFullPath(Utf16(path))) == expected);
  }
  CHECK(Thrown([] { File::ResolveSubstDriveInFullPath(L"Q:\\f"); }) == Exactly<File::Exception>(2));
  // Drives that stand for each other lead nowhere.
  files.Substitute(u'V', u"W:\\a");
  files.Substitute(u'W', u"V:\\a");
  CHECK(Thrown([] { File::ResolveSubstDriveInFullPath(L"V:\\f"); }) ==
        Exactly<File::InvalidPathNameException>(123));
}

TEST_CASE("a volume has the type of its drive, and a drive that is none has no type") {
  SystemSession session;
  winsim::FileSystem& files = session.Machine().files;
  for (const unsigned int type : {2u, 4u, 5u, 6u}) {
    files.AddDrive(static_cast<char16_t>(u'D' + type), type);
  }
  files.AddShare(u"\\\\srv\\share");
  std::string types;
  for (const wchar_t* const path : {L"C:", L"C:\\/\\", L"F:", L"H:\\", L"I:", L"J:", L"\\\\srv\\share"}) {
    types += std::to_string(File::GetVolumeType(path)) + " ";
  }
  CHECK(types == "3 3 2 4 5 6 4 ");
  for (const wchar_t* const path : {L"Q:", L"C:\\Windows"}) {
    CHECK(Thrown([&] { File::GetVolumeType(path); }) == Exactly<File::InvalidPathNameException>(123));
  }
}

TEST_CASE("the volume of a path follows from its spelling where the platform cannot tell") {
  SUBCASE("platform tells") {
    SystemSession session;
    const std::string share = "\\\\server\\a share with a name longer than 32 characters";
    session.Machine().files.AddShare(MachineText(Utf16(share)));
    CHECK(Utf8(File::GetVolumePath(L"C:\\dir\\f")) == "C:");
    CHECK(Utf8(File::GetVolumePath(Utf16(share + "\\f"))) == share);
    CHECK(session.Trace("GetFullPathNameW").empty());
  }
  SUBCASE("platform cannot") {
    winsim::Settings settings = winsim::Settings::Windows10();
    settings.missingFunctions.insert("GetVolumePathNameW");
    SystemSession session(settings);
    CHECK(Thrown([] { File::GetVolumePath_New(L"C:\\f"); }) == Exactly<File::NotSupportedException>(120));
    CHECK(Utf8(File::GetVolumePath(L"C:\\dir\\f")) == "C:");
    CHECK(Utf8(File::GetVolumePath(L"\\\\srv\\share\\dir\\f")) == "\\\\srv\\share");
    for (const wchar_t* const path : {L"\\\\srv", L"\\\\.\\"}) {
      CHECK(Thrown([&] { File::GetVolumePath(path); }) == Exactly<File::InvalidPathNameException>(123));
    }
  }
}

TEST_CASE("a path and what a drive stands for are read whole, however long they are") {
  SystemSession session;
  for (const std::string& path :
       {"C:\\" + std::string(251, 'd'), "C:\\" + std::string(250, 'd') + "\\" + std::string(250, 'd')}) {
    CHECK(Utf8(File::GetFullPath(Utf16(path + "/x/.."))) == path);
    session.Machine().files.Substitute(u'X', MachineText(Utf16(path)));
    CHECK(Utf8(File::GetDeviceMapping(L"X:")) == "\\??\\" + path);
  }
}
