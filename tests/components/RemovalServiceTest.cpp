#include "components/RemovalService.h"

#include <doctest/doctest.h>

#include <algorithm>

#include "support/Lines.h"
#include "support/ManagedMachine.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "support/Throws.h"
#include "system/Wow64FsRedirection.h"

using namespace DriverManagement;
using Gen4::WinNT::kvdel01::Manager;
using LCommon::System::WindowsErrorException;

namespace {

constexpr const char* Description =
    "This service will automatically uninstall KV Quellin drivers when you don't need them anymore to launch "
    "any applications used them. After uninstalling the drivers, the service will also uninstall itself. If "
    "an "
    "application requires KV Quellin drivers, the drivers, as well as this service, will be reinstalled. "
    "This "
    "service isn't constantly operating, and doesn't use memory. It is launched automatically on operational "
    "system start and unloads itself from memory after completing all tasks described above. To view "
    "information on KV Quellin drivers, or to uninstall drivers manually, visit "
    "https://support.quellin.example/drivers.";

// A machine without the service yet. Its executable ends with the code that the test says.
struct ServiceSession : SystemSession {
  explicit ServiceSession(winsim::Settings settings = winsim::Settings::Windows10())
      : SystemSession(std::move(settings)) {
    InstallWindowsKeys(machine);
    EndWith(0);
  }

  winsim::Machine& machine = Machine();
  const LPtrRef<Manager> manager = LMakeRef<Manager>(LMakeRef<NullPeModuleContainer>());

  void EndWith(int exitCode) {
    machine.programs[u"kvdel01.exe"] = [exitCode] { return exitCode; };
  }
  // The calls from the first one of `function` on.
  Lines CallsFrom(std::string_view function) {
    Lines calls = Trace();
    calls.erase(calls.begin(), std::find_if(calls.begin(), calls.end(), [&](const std::string& line) {
                  return line.starts_with(function);
                }));
    return calls;
  }
};

}  // namespace

TEST_CASE("the installed component has its executable, entry and log source, and nothing else is touched") {
  ServiceSession session;
  const auto container = LMakeRef<TestContainer>();
  Manager manager(container);
  const Lines before = Snapshot(session.machine);
  CHECK(manager.IsActiveMeet() == 0);
  CHECK(manager.Install(0) == BaseObject::installDone);

  const std::string services = "+ HKLM\\System\\CurrentControlSet\\Services\\";
  const std::string entry = services + "kvdel01";
  const std::string source = services + "Eventlog\\Application\\kvdel01";
  CHECK(Changes(before, Snapshot(session.machine)) ==
        Lines{"+ C:\\Windows\\system32\\kvdel01.exe", source,
              source + " : EventMessageFile = 2:%SystemRoot%\\system32\\kvdel01.exe",
              source + " : TypesSupported = 4: 7 0 0 0", entry, entry + " : Description = 1:" + Description,
              entry + " : DisplayName = 1:KV Quellin Drivers Auto Removal (v1)",
              entry + " : ErrorControl = 4: 1 0 0 0",
              entry + " : ImagePath = 2:%SystemRoot%\\system32\\kvdel01.exe svc",
              entry + " : ObjectName = 1:LocalSystem", entry + " : Start = 4: 2 0 0 0",
              entry + " : Type = 4: 16 0 0 0"});
  CHECK(session.machine.files.Read(u"C:\\Windows\\system32\\kvdel01.exe") == container->body);
}

TEST_CASE("what a 32-bit program installs starts from the real system directory") {
  ServiceSession session(winsim::Settings::Windows10Wow64());
  {
    const LCommon::System::Wow64FsRedirectionDisabler realDirectories;
    CHECK(Manager(LMakeRef<TestContainer>()).Install(0) == BaseObject::installDone);
  }
  CHECK(session.machine.services.Launch(u"kvdel01") == 0);
}

TEST_CASE("the installed program is asked by its exit code, of which only 0 means expired") {
  ServiceSession session;
  InstallRemovalService(session.machine);
  for (const int exitCode : {0, 1, 2, 259, -1}) {
    CAPTURE(exitCode);
    session.EndWith(exitCode);
    CHECK(session.manager->IsExpired() == (exitCode == 0));
  }
  session.machine.gate.StartTrace();
  session.manager->IsExpired();
  CHECK(
      session.CallsFrom("CreateProcessW") ==
      Lines{
          "CreateProcessW(null, \"\"C:\\Windows\\system32\\kvdel01.exe\" can-remove-now\", 0, 0, null, 0x68)",
          "WaitForSingleObject(process 7, 0xFFFFFFFF)", "GetExitCodeProcess(process 7)",
          "CloseHandle(thread of process 7)", "CloseHandle(process 7)"});
}

TEST_CASE("a missing program means expired, every other failure to ask it is one") {
  ServiceSession session;
  const auto ask = [&] { return session.manager->IsExpired(); };
  CHECK(ask() == 1);
  InstallRemovalService(session.machine);
  session.EndWith(1);
  const struct {
    const char* function;
    unsigned int code;
    std::string thrown;
  } cases[] = {
      {"CreateProcessW", 2, "nothing"},
      {"CreateProcessW", 3, "nothing"},
      {"CreateProcessW", 5, Exactly<WindowsErrorException>(5)},
      {"CreateProcessW", 193, Exactly<WindowsErrorException>(193)},
      {"GetExitCodeProcess", 2, Exactly<WindowsErrorException>(2)},
      {"GetExitCodeProcess", 6, Exactly<WindowsErrorException>(6)},
  };
  for (const auto& item : cases) {
    CAPTURE(item.thrown);
    session.machine.gate.FailFunction(item.function, item.code);
    unsigned int expired = 1;
    CHECK(Thrown([&] { expired = ask(); }) == item.thrown);
    CHECK(expired == 1);
  }
  session.machine.gate.FailFunction("CreateProcessW", 8);
  CHECK(ThrownIn(ask) ==
        "unsigned int __cdecl DriverManagement::Gen4::WinNT::kvdel01::Manager::IsExpired(void)");
  CHECK(ask() == 0);
}

TEST_CASE("a component that is still needed is not touched, one that is not goes whole") {
  ServiceSession session;
  const Lines bare = Snapshot(session.machine);
  CHECK(session.manager->Purge(1) == BaseObject::purgeNotInstalled);
  CHECK(session.manager->Uninstall(1) == BaseObject::uninstallNotInstalled);
  InstallRemovalService(session.machine);
  const Lines installed = Snapshot(session.machine);
  for (const int exitCode : {1, -1}) {
    session.EndWith(exitCode);
    CHECK(session.manager->Purge(1) == BaseObject::purgeStillNeeded);
    CHECK(session.manager->Uninstall(1) == BaseObject::uninstallStillNeeded);
    CHECK(Changes(installed, Snapshot(session.machine)) == Lines{});
  }
  session.EndWith(0);
  CHECK(session.manager->Uninstall(1) == BaseObject::uninstallDone);
  CHECK(Changes(bare, Snapshot(session.machine)) == Lines{});
}
