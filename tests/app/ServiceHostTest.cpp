#include <doctest/doctest.h>

#include <optional>

#include "app/EntryPoint.h"
#include "support/Lines.h"
#include "support/MachineSession.h"
#include "support/ManagedMachine.h"
#include "support/Threads.h"
#include "system/WindowsApi.h"

using winsim::ServiceStatus;

namespace {

constexpr const wchar_t* LockName = L"Global\\{E06A1434-144A-4C05-B8EA-F3E3F4216C47}";

// What the service reports. It is of its own process's type and never anything else than in one of two
// states.
const ServiceStatus Running = {.type = SERVICE_WIN32_OWN_PROCESS, .state = SERVICE_RUNNING, .exitCode = 0};
const ServiceStatus Stopped = {.type = SERVICE_WIN32_OWN_PROCESS, .state = SERVICE_STOPPED, .exitCode = 0};

// A machine with the service and an unclaimed loaded driver, seen by another program.
struct HostSession : MachineSession {
  HostSession() {
    InstallWindowsKeys(machine);
    InstallRemovalService(machine);
    InstallDriver(machine, u"kvenv01");
    REQUIRE(machine.devices.Load(u"kvenv01", ImagePath(machine, u"kvenv01")) == 0);
    machine.programs[u"kvdel01.exe"] = [this] {
      const int code = Main::RunProcess();
      exitCode = code;
      return code;
    };
  }

  winsim::Machine& machine = Machine();
  winsim::Services& services = machine.services;
  std::optional<int> exitCode;

  void Start() { REQUIRE(services.Launch(u"kvdel01") == 0); }
  // Starts the service and lets it end.
  void Run() {
    Start();
    Pause(1000);
    CHECK(exitCode.has_value());
  }
};

}  // namespace

TEST_CASE(
    "a started service reports that it runs, answers queries and takes no control while its pass waits, and "
    "reports that it stopped") {
  HostSession session;
  const HANDLE lock = CreateMutexW(nullptr, TRUE, LockName);
  session.Start();
  Pause(1000);
  const auto history = [&] { return session.services.History(u"kvdel01"); };
  CHECK(history() == std::vector{Running});
  const struct {
    DWORD control;
    DWORD error;
  } requests[] = {{SERVICE_CONTROL_INTERROGATE, 0},
                  {SERVICE_CONTROL_STOP, ERROR_INVALID_SERVICE_CONTROL},
                  {SERVICE_CONTROL_PAUSE, ERROR_INVALID_SERVICE_CONTROL}};
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = OpenServiceW(manager, L"kvdel01", SERVICE_ALL_ACCESS);
  for (const auto& item : requests) {
    CAPTURE(item.control);
    SERVICE_STATUS status = {};
    CHECK((ControlService(service, item.control, &status) ? 0 : GetLastError()) == item.error);
    CHECK(status.dwCurrentState == SERVICE_RUNNING);
  }
  CHECK(CloseServiceHandle(service) + CloseServiceHandle(manager) == 2);
  CHECK(history() == std::vector{Running, Running});
  CHECK(session.services.Exists(u"kvenv01"));
  InstallDriver(session.machine, u"kvaux02");  // by who holds the lock
  ClaimByTime(session.machine, u"kvaux02", u"client", session.machine.clock.Now());

  ReleaseMutex(lock);
  CloseHandle(lock);
  Pause(1000);
  CHECK(history() == std::vector{Running, Running, Stopped});
  CHECK(session.exitCode == 0);
  CHECK_FALSE(session.services.Exists(u"kvenv01"));
  CHECK(session.services.Exists(u"kvaux02"));
  CHECK(session.services.Exists(u"kvdel01"));
  CHECK(session.machine.messageBoxes.empty());
  CHECK(session.machine.leakedHandles == Lines{});
}

TEST_CASE("a service that waits for the lock gets it from a holder that dies") {
  HostSession session;
  RunOnThread([&] {
    CreateMutexW(nullptr, TRUE, LockName);
    session.Start();
    Pause(1000);
    CHECK(session.services.Exists(u"kvenv01"));
  });
  Pause(1000);
  CHECK(session.services.History(u"kvdel01") == std::vector{Running, Stopped});
  CHECK_FALSE(session.services.Exists(u"kvenv01"));
  session.Process().handles.CloseAll();
}

TEST_CASE("an installer that waited for the pass finds what the pass could not remove at once marked") {
  HostSession session;
  InstallDriver(session.machine, u"kvaux02");
  REQUIRE(session.machine.devices.Load(u"kvaux02", ImagePath(session.machine, u"kvaux02")) == 0);
  const HANDLE lock = CreateMutexW(nullptr, TRUE, LockName);
  session.Start();
  Pause(1000);
  DWORD installed = 0, again = 0;
  TestThread installer([&] {
    WaitForSingleObject(lock, INFINITE);
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    const auto install = [&](const wchar_t* name) {
      const SC_HANDLE service =
          CreateServiceW(manager, name, name, SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER, SERVICE_BOOT_START,
                         SERVICE_ERROR_NORMAL, L"x.sys", nullptr, nullptr, nullptr, nullptr, nullptr);
      if (service == nullptr) return GetLastError();
      CloseServiceHandle(service);
      return DWORD{0};
    };
    again = install(L"kvaux02");
    installed = install(L"kvenv01");
    CloseServiceHandle(manager);
    ReleaseMutex(lock);
  });
  Pause(1000);
  ReleaseMutex(lock);
  installer.Join();
  Pause(1000);
  CHECK(again == ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(installed == 0);
  CHECK(session.services.Exists(u"kvenv01"));
  CHECK(session.exitCode == 0);
  CloseHandle(lock);
}

TEST_CASE("a pass that fails at once ends as any other, a service that nobody hears does nothing") {
  const struct {
    const char* failing;
    std::vector<ServiceStatus> expected;
    std::size_t passes;
  } cases[] = {{"CreateMutexW", {Running, Stopped}, 1}, {"RegisterServiceCtrlHandlerW", {}, 0}};
  for (const auto& item : cases) {
    HostSession session;
    const Lines before = Snapshot(session.machine);
    session.machine.gate.FailFunction(item.failing, 8);
    session.Run();
    CHECK(session.services.History(u"kvdel01") == item.expected);
    CHECK(session.Trace("CreateMutexW").size() == item.passes);
    CHECK(session.exitCode == 0);
    CHECK(Changes(before, Snapshot(session.machine)) == Lines{});
  }
}
