#include <doctest/doctest.h>

#include <utility>

#include "drivermanagement/Containers.h"
#include "drivermanagement/File.h"
#include "drivermanagement/LegacyDeviceNode.h"
#include "drivermanagement/Lock.h"
#include "drivermanagement/LogSource.h"
#include "drivermanagement/Module.h"
#include "support/Lines.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "support/TestFile.h"
#include "support/TestKey.h"
#include "system/LogSource.h"
#include "system/Wow64FsRedirection.h"

// What Windows refuses or fails to do.

using namespace DriverManagement;
using LCommon::System::File;
using LCommon::System::Mutex;
using LCommon::System::Log::Source;

namespace {

constexpr const char16_t* LogPath = u"System\\CurrentControlSet\\Services\\Eventlog\\System";
constexpr const char16_t* SourcePath = u"System\\CurrentControlSet\\Services\\Eventlog\\System\\drv";

// The outcome with the last error behind it.
std::string RemoveNode() {
  SetLastError(77);
  const bool done = RemoveLegacyDeviceNode(L"drv");
  return done ? "done" : "failed with " + std::to_string(GetLastError());
}

}  // namespace

TEST_CASE("a log source that may not be read counts as up to date, one that may not be changed fails") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  BaseLogSource source(L"System", L"drv", 0, 7, L"", L"%SystemRoot%\\drv.sys", L"");
  registry.Make(SourcePath);

  registry.Deny(LogPath, KEY_WRITE);
  CHECK(source.IsInstalledUpToDate() == 0);
  CHECK_THROWS_AS(source.Remove(1), Source::AccessDeniedException);
  registry.Deny(SourcePath, KEY_WRITE);
  CHECK_THROWS_AS(source.Install(1), Source::AccessDeniedException);
  CHECK(RegistryText(L"System\\CurrentControlSet\\Services\\Eventlog\\System\\drv") == "");

  registry.Deny(SourcePath, KEY_READ);
  CHECK(source.IsInstalledUpToDate() == 1);
  CHECK(source.Install(1) == BaseObject::installUpToDate);
  CHECK_THROWS_AS(source.IsInstalled(), Source::AccessDeniedException);
  registry.DeleteTree(u"System\\CurrentControlSet\\Services\\Eventlog");
  CHECK_THROWS_AS(source.IsInstalled(), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.Install(1), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.Remove(1), Source::LoggerNotFoundException);
}

TEST_CASE("a failing search changes nothing and keeps the error") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  machine.deviceNodes.AddLegacy(u"before");
  machine.deviceNodes.AddLegacy(u"drv");
  CHECK(RemoveLegacyDeviceNode(L"none"));
  CHECK(session.Trace("SetupDiGetClassDevsW").size() == 1);  // there is one class of the name
  const std::pair<const char*, std::uint32_t> cases[] = {{"SetupDiClassGuidsFromNameW", 8},
                                                         {"SetupDiClassGuidsFromNameW", 122},
                                                         {"SetupDiGetClassDevsW", 5},
                                                         {"SetupDiGetDeviceRegistryPropertyW", 13},
                                                         {"SetupDiCallClassInstaller", 5}};
  for (const auto& [function, error] : cases) {
    machine.gate.FailFunction(function, error);
    machine.gate.FailFunction("SetupDiDestroyDeviceInfoList", 6);  // releasing has an error of its own
    CHECK(RemoveNode() == "failed with " + std::to_string(error));
    machine.gate.Restore();
    session.Process().handles.CloseAll();
    CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 2);
  }
  // A device without a service ends the search before the one that is looked for.
  machine.registry.Find(u"System\\CurrentControlSet\\Enum\\ROOT\\LEGACY_BEFORE\\0000")
      ->values.erase(u"Service");
  CHECK(RemoveNode().starts_with("failed"));
  CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 2);
}

TEST_CASE(
    "a file that vanishes meanwhile is no failure, a refusal to look at it is, and nothing is scheduled") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  machine.files.WriteFile(u"C:\\drv.sys", std::string_view("image"));
  BaseFile file(L"C:\\drv.sys", LMakeRef<NullPeModuleContainer>());
  machine.gate.FailFunction("DeleteFileW", ERROR_FILE_NOT_FOUND);
  CHECK(file.Remove(1) == BaseObject::removeNotInstalled);
  machine.files.Deny(u"C:\\drv.sys");
  CHECK_THROWS_AS(file.Remove(1), File::AccessDeniedException);
  CHECK(machine.files.Exists(u"C:\\drv.sys"));
  CHECK(session.Trace("MoveFileExW").empty());
  CHECK(session.Trace("SetFileAttributesW").empty());  // it is not read-only
}

TEST_CASE("a version is read while the redirection is off, and not without the system's library") {
  SystemSession session(winsim::Settings::Windows10Wow64());
  const TestFile file;
  file.Write(BuildImage({}));
  BasePeModule module(file.name, LMakeRef<TestContainer>());
  const LCommon::System::Wow64FsRedirectionDisabler disabler;
  CHECK(module.IsInstalledUpToDate() == 1);
  session.Machine().gate.FailFunction("LoadLibraryW", ERROR_MOD_NOT_FOUND);
  CHECK(module.IsInstalledUpToDate() == 0);
}

TEST_CASE("everybody may open the lock; where its global name is refused it is the plain one") {
  SystemSession session;
  winsim::Gate& gate = session.Machine().gate;
  const auto first = LMakeRef<Lock>();
  session.Process().account = u"somebody else";
  LMakeRef<Lock>();
  CHECK(session.Trace("CreateMutexW").size() == 2);

  gate.StartTrace();
  gate.FailFunction("CreateMutexW", 5);
  const Locker locker(LMakeRef<Lock>());
  CHECK(session.Trace("CreateMutexW") ==
        Lines{R"(CreateMutexW(0, "Global\{E06A1434-144A-4C05-B8EA-F3E3F4216C47}") = 5)",
              R"(CreateMutexW(0, "{E06A1434-144A-4C05-B8EA-F3E3F4216C47}"))"});
  gate.FailFunction("CreateMutexW", 8);
  CHECK_THROWS_AS(LMakeRef<Lock>(), Mutex::Exception);
}
