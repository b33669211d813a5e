#include "drivermanagement/File.h"

#include <doctest/doctest.h>

#include "support/MachineParts.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "support/TestFile.h"
#include "support/TestKey.h"
#include "support/Utf8.h"
#include "system/PlatformFiles.h"

using namespace DriverManagement;
using LCommon::System::File;

namespace {

constexpr const wchar_t* SessionManager = L"System\\CurrentControlSet\\Control\\Session Manager";

// The files that wait for the restart, put back at the end.
struct Pending {
  const LPtrRef<LCommon::System::RegistryKey> key = MakeKey(SessionManager);
  const LPtrRef<LCommon::System::RegistryKey::Value> before = key->GetValue(Name, nullptr);

  static constexpr const wchar_t* Name = L"PendingFileRenameOperations";

  std::string Text() const { return ValueText(SessionManager, Name); }
  ~Pending() {
    if (before.Valid()) key->SetValue(Name, before);
    if (!before.Valid() && Text() != "none") key->DeleteValue(Name);
  }
};

// When the file was last written.
std::uint64_t WriteTime(const TestFile& file) {
  WIN32_FIND_DATAW found = {};
  FindClose(LCommon::System::FindFirstFileU(file.name.Data(), &found));
  return std::uint64_t{found.ftLastWriteTime.dwHighDateTime} << 32 | found.ftLastWriteTime.dwLowDateTime;
}

}  // namespace

TEST_CASE("a file is deployed over whatever is there and carries the container's bytes and time") {
  constexpr unsigned int none = 0, plain = 0x20, readOnlyHidden = 0x03;
  for (const unsigned int before : {none, plain, readOnlyHidden}) {
    CAPTURE(before);
    SystemSession session;
    const TestFile there;
    if (before != none) there.Write(std::string("something longer"), before);
    const auto container = LMakeRef<TestContainer>(std::vector<unsigned char>{1, 2, 3});
    BaseFile file(there.name, container);
    CHECK(file.Install(1) == (before == none ? BaseObject::installDone : BaseObject::installUpToDate));
    CHECK(container->bodiesAsked == (before == none ? 1 : 0));

    file.Deploy();
    CHECK(there.Read() == container->body);
    CHECK(WriteTime(there) == container->time);
    CHECK((File::GetAttributes(there.name) & readOnlyHidden) == 0);
    CHECK(file.Update(1) == BaseObject::updateUpToDate);
  }
}

TEST_CASE("removing a file deletes it now, with the restart, or finds nothing") {
  SystemSession session;
  const Pending pending;
  const std::string waiting = pending.Text();
  const TestFile there;
  BaseFile file(there.name, LMakeRef<NullPeModuleContainer>());

  SUBCASE("a plain or read-only file") {
    for (const unsigned int attributes : {0x20u, 0x07u}) {
      there.Write(std::string("image"), attributes);
      CHECK(file.Purge(1) == BaseObject::purgeDone);
      CHECK_FALSE(there.Exists());
    }
    CHECK(file.Purge(1) == BaseObject::purgeNotInstalled);
    BaseFile below(there.name + L"\\none", LMakeRef<NullPeModuleContainer>());
    CHECK(below.Remove(0) == BaseObject::removeNotInstalled);
    CHECK(below.IsInstalled() == 0);
    CHECK(pending.Text() == waiting);
  }
  SUBCASE("a file in use as an image goes with the restart, even a read-only one") {
    there.Write(BuildImage({}), 0x23);
    const auto use = UseImage(there.name);
    CHECK(file.Remove(1) == BaseObject::removeDoneReboot);
    CHECK(File::GetAttributes(there.name) == 0x22);
    CHECK(pending.Text().ends_with("\\??\\" + Utf8(there.name) + '"'));
  }
  SUBCASE("one that somebody keeps open stays, and nothing is scheduled") {
    there.Write(std::string("image"));
    const File open(there.name, File::accessRead, FILE_SHARE_READ, 0, OPEN_EXISTING);
    CHECK_THROWS_AS(file.Remove(1), File::SharingViolationException);
    CHECK(there.Exists());
    CHECK(pending.Text() == waiting);
  }
}
