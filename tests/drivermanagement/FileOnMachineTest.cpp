#include "drivermanagement/File.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "system/File.h"
#include "system/WindowsApi.h"

using namespace DriverManagement;
using LCommon::System::File;

namespace {

constexpr const wchar_t* Path = L"C:\\Windows\\system32\\drivers\\drv.sys";
constexpr const char16_t* MachinePath = u"C:\\Windows\\system32\\drivers\\drv.sys";
constexpr const char16_t* SessionManager = u"System\\CurrentControlSet\\Control\\Session Manager";

// Attributes and size of the file, or "none".
std::string FileState(winsim::Machine& machine) {
  const winsim::FileNode* const node = machine.files.Find(MachinePath);
  return node ? std::to_string(node->attributes) + " " + std::to_string(node->Size()) : "none";
}

}  // namespace

TEST_CASE("a file is deployed over whatever is there and carries the container's bytes and time") {
  constexpr std::uint32_t none = 0, plain = 0x20, readOnlyHidden = 0x03;
  for (const std::uint32_t before : {none, plain, readOnlyHidden}) {
    CAPTURE(before);
    SystemSession session;
    winsim::FileSystem& files = session.Machine().files;
    if (before != none)
      files.WriteFile(MachinePath, std::string_view("something longer")).attributes = before;
    const auto container = LMakeRef<TestContainer>(std::vector<unsigned char>{1, 2, 3});
    BaseFile file(Path, container);
    CHECK(file.Install(1) == (before == none ? BaseObject::installDone : BaseObject::installUpToDate));
    CHECK(container->bodiesAsked == (before == none ? 1 : 0));

    file.Deploy();
    CHECK(files.Read(MachinePath) == container->body);
    CHECK(files.Find(MachinePath)->times ==
          winsim::FileTimes{container->time, container->time, container->time});
    CHECK((files.Attributes(MachinePath) & readOnlyHidden) == 0);
    CHECK(file.Update(1) == BaseObject::updateUpToDate);
  }
}

TEST_CASE("removing a file deletes it now, with the restart, or finds nothing") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  winsim::FileSystem& files = machine.files;
  BaseFile file(Path, LMakeRef<NullPeModuleContainer>());
  const auto pending = [&] {
    return machine.registry.GetValue(SessionManager, u"PendingFileRenameOperations");
  };
  const auto write = [&](std::uint32_t attributes) {
    files.WriteFile(MachinePath, std::string_view("image")).attributes = attributes;
  };

  SUBCASE("a plain or read-only file") {
    for (const std::uint32_t attributes : {0x20u, 0x07u}) {
      write(attributes);
      CHECK(file.Purge(1) == BaseObject::purgeDone);
      CHECK(FileState(machine) == "none");
    }
    CHECK(pending() == nullptr);
    CHECK(file.Purge(1) == BaseObject::purgeNotInstalled);
    files.Remove(u"C:\\Windows\\system32\\drivers");
    CHECK(file.Remove(0) == BaseObject::removeNotInstalled);
    CHECK(file.IsInstalled() == 0);
  }
  SUBCASE("an image in use goes with the restart, even a read-only one") {
    write(0x23);
    const auto use = files.UseImage(MachinePath);
    CHECK(file.Remove(1) == BaseObject::removeDoneReboot);
    CHECK(FileState(machine) == "34 5");
    REQUIRE(pending() != nullptr);
    const std::u16string scheduled = std::u16string(u"\\??\\") + MachinePath;
    CHECK(pending()->data.size() == (scheduled.size() + 1 + 2) * 2);
  }
  SUBCASE("a file that vanishes is no failure, others pass, and nothing is scheduled") {
    write(0x20);
    machine.gate.FailFunction("DeleteFileW", ERROR_FILE_NOT_FOUND);
    CHECK(file.Remove(1) == BaseObject::removeNotInstalled);
    {
      const File open(Path, File::accessRead, FILE_SHARE_READ, 0, OPEN_EXISTING);
      CHECK_THROWS_AS(file.Remove(1), File::SharingViolationException);
    }
    files.Deny(MachinePath);
    CHECK_THROWS_AS(file.Remove(1), File::AccessDeniedException);
    CHECK(FileState(machine) == "32 5");
    CHECK(pending() == nullptr);
  }
}
