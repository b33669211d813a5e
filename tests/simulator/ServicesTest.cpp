#include <doctest/doctest.h>

#include <array>
#include <functional>
#include <utility>

#include "simulator/LastError.h"
#include "support/MachineSession.h"
#include "support/Threads.h"

using winsim::FromWide;
using winsim::ServiceConfig;
using winsim::ToUtf8;

namespace {

constexpr const char16_t* DriverKey = u"System\\CurrentControlSet\\Services\\drv";
constexpr const char16_t* DriverImage = u"C:\\Windows\\system32\\drivers\\drv.sys";

/// A handle of the manager or a service, closed at the end of the scope.
struct Handle {
  explicit Handle(SC_HANDLE handle) : value(handle) { REQUIRE(value != nullptr); }
  ~Handle() { Close(); }
  void Close() {
    if (value != nullptr) CHECK(CloseServiceHandle(std::exchange(value, nullptr)));
  }
  operator SC_HANDLE() const { return value; }
  SC_HANDLE value;
};

Handle Manager(DWORD access = SC_MANAGER_ALL_ACCESS) {
  return Handle(OpenSCManagerW(nullptr, nullptr, access));
}

Handle Service(SC_HANDLE manager, const wchar_t* name, DWORD access = SERVICE_ALL_ACCESS) {
  return Handle(OpenServiceW(manager, name, access));
}

/// The error of opening a service, 0 when it opens.
DWORD OpenError(const wchar_t* name, DWORD access = SERVICE_QUERY_CONFIG) {
  const Handle manager = Manager(SC_MANAGER_CONNECT);
  SC_HANDLE service = nullptr;
  const DWORD error = FailureOf([&] { return service = OpenServiceW(manager, name, access); });
  return service != nullptr && CloseServiceHandle(service) ? 0 : error;
}

DWORD CreateError(SC_HANDLE manager, const wchar_t* name, const wchar_t* path = L"C:\\d\\x.sys",
                  DWORD type = SERVICE_KERNEL_DRIVER, const wchar_t* displayName = nullptr,
                  const wchar_t* account = nullptr) {
  SC_HANDLE service = nullptr;
  const DWORD error = FailureOf([&] {
    return service =
               CreateServiceW(manager, name, displayName, SERVICE_ALL_ACCESS, type, SERVICE_DEMAND_START,
                              SERVICE_ERROR_NORMAL, path, nullptr, nullptr, nullptr, account, nullptr);
  });
  return service != nullptr && CloseServiceHandle(service) ? 0 : error;
}

using Status = std::array<DWORD, 3>;
using Answer = std::array<DWORD, 2>;

/// State, controls accepted and exit code.
Status State(SC_HANDLE service) {
  SERVICE_STATUS status{};
  CHECK(QueryServiceStatus(service, &status));
  return {status.dwCurrentState, status.dwControlsAccepted, status.dwWin32ExitCode};
}

DWORD StartError(SC_HANDLE service) {
  return FailureOf([&] { return StartServiceW(service, 0, nullptr); });
}

/// The error of a control (0 for success) and the state it reports, 99 when it reports none.
Answer Control(SC_HANDLE service, DWORD control) {
  SERVICE_STATUS status{};
  status.dwCurrentState = 99;
  const DWORD error = ErrorOf([&] { ControlService(service, control, &status); });
  return {error == Untouched ? 0 : error, status.dwCurrentState};
}

void AddDriver(winsim::Machine& machine, const char16_t* name = u"drv", const char16_t* needed = nullptr) {
  ServiceConfig config;
  config.type = ServiceConfig::KernelDriver;
  config.imagePath = u"system32\\drivers\\drv.sys";
  if (needed != nullptr) config.dependencies = {needed};
  machine.services.Add(name, config);
  machine.files.WriteFile(DriverImage, "image");
}

/// What the service program of these tests does, set by each.
std::function<void()> t_work;
std::vector<std::string> t_arguments;
SERVICE_STATUS_HANDLE t_handle;

void Report(DWORD state) {
  SERVICE_STATUS status{SERVICE_WIN32_OWN_PROCESS, state, 0, 0, 0, 0, 0};
  CHECK(SetServiceStatus(t_handle, &status));
}

void WINAPI HandleControl(DWORD control) {
  CHECK(control == SERVICE_CONTROL_INTERROGATE);
  Report(SERVICE_RUNNING);
}

void WINAPI ServiceMain(DWORD count, LPWSTR* arguments) {
  for (DWORD i = 0; i < count; ++i) {
    t_arguments.push_back(ToUtf8(FromWide(arguments[i])));
  }
  CHECK(arguments[count] == nullptr);
  t_handle = RegisterServiceCtrlHandlerW(L"any name", HandleControl);
  REQUIRE(t_handle != nullptr);
  t_work();
}

/// A machine with the service "svc", whose program connects to the manager and does `t_work`.
void AddProgram(winsim::Machine& machine, std::function<void()> work) {
  t_work = std::move(work);
  t_arguments.clear();
  ServiceConfig config;
  config.imagePath = u"%SystemRoot%\\system32\\svc.exe run";
  machine.services.Add(u"svc", config);
  machine.files.WriteFile(u"C:\\Windows\\system32\\svc.exe", "program");
  machine.programs[u"svc.exe"] = [] {
    wchar_t name[] = L"svc";
    const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : static_cast<int>(GetLastError());
  };
}

}  // namespace

TEST_CASE("services open by name, and their handles do what they were opened for") {
  MachineSession session;
  AddDriver(session.Machine());
  session.Machine().registry.Make(u"System\\CurrentControlSet\\Services\\no service");
  CHECK(OpenError(L"DRV") == 0);
  CHECK(OpenError(L"no service") == ERROR_SERVICE_DOES_NOT_EXIST);
  CHECK(OpenError(L"a\\b") == ERROR_INVALID_NAME);
  const Handle manager = Manager();
  const Handle reader = Service(manager, L"drv", SERVICE_QUERY_CONFIG);
  CHECK(StartError(reader) == ERROR_ACCESS_DENIED);
  CHECK(Control(reader, SERVICE_CONTROL_STOP)[0] == ERROR_ACCESS_DENIED);
  CHECK(FailureOf([&] { return DeleteService(reader); }) == ERROR_ACCESS_DENIED);
  CHECK(StartError(manager) == ERROR_INVALID_HANDLE);
  session.Machine().services.Deny(u"Drv", DELETE);
  CHECK(OpenError(L"drv") == 0);
  CHECK(OpenError(L"drv", SERVICE_ALL_ACCESS) == ERROR_ACCESS_DENIED);
}

TEST_CASE("a new service is refused for what is wrong with it, in the manager's order") {
  MachineSession session(winsim::Settings::Windows10Wow64());
  winsim::Registry& registry = session.Machine().registry;
  AddDriver(session.Machine());
  registry.SetString(DriverKey, u"DisplayName", u"Shown name");
  const Handle manager = Manager();
  CHECK(CreateError(manager, nullptr) == ERROR_INVALID_ADDRESS);
  CHECK(CreateError(manager, L"a/b") == ERROR_INVALID_NAME);
  CHECK(CreateError(manager, L"new", L"") == ERROR_INVALID_PARAMETER);
  CHECK(CreateError(manager, L"DRV", L"x", 0) == ERROR_INVALID_PARAMETER);
  CHECK(CreateError(manager, L"DRV", L"x", SERVICE_KERNEL_DRIVER, L"Shown name") == ERROR_SERVICE_EXISTS);
  CHECK(CreateError(manager, L"new", L"x", SERVICE_KERNEL_DRIVER, L"shown NAME") ==
        ERROR_DUPLICATE_SERVICE_NAME);
  CHECK(CreateError(manager, L"new", L"x", SERVICE_WIN32_OWN_PROCESS, nullptr, L".\\nobody") ==
        ERROR_INVALID_SERVICE_ACCOUNT);
  CHECK(CreateError(Manager(SC_MANAGER_CONNECT), L"new") == ERROR_ACCESS_DENIED);
  CHECK_FALSE(session.Machine().services.Exists(u"new"));
  // A driver's full path is kept as the kernel spells it, and a 32-bit program leaves its mark.
  CHECK(CreateError(manager, L"new") == 0);
  const std::u16string key = u"System\\CurrentControlSet\\Services\\new";
  CHECK(ToUtf8(registry.GetString(key, u"ImagePath")) == "\\??\\C:\\d\\x.sys");
  CHECK(registry.GetNumber(key, u"WOW64") == 1);
}

TEST_CASE("a service goes when it is deleted, stopped and let go of, not before") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  AddDriver(machine);
  machine.registry.SetNumber(std::u16string(DriverKey) + u"\\Sub\\Sub", u"x", 1);
  const Handle manager = Manager();
  Handle first = Service(manager, L"drv");
  Handle second = Service(manager, L"drv");
  REQUIRE(StartServiceW(first, 0, nullptr));
  CHECK(DeleteService(first));
  CHECK(machine.registry.GetNumber(DriverKey, u"DeleteFlag") == 1);
  CHECK(machine.registry.GetNumber(DriverKey, u"Start") == SERVICE_DISABLED);
  CHECK(FailureOf([&] { return DeleteService(second); }) == ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(StartError(second) == ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(CreateError(manager, L"Drv") == ERROR_SERVICE_MARKED_FOR_DELETE);
  first.Close();
  SUBCASE("stopped first") {
    CHECK(Control(second, SERVICE_CONTROL_STOP) == Answer{0, SERVICE_STOPPED});
    CHECK(machine.services.IsMarked(u"drv"));
    second.Close();
    CHECK(machine.registry.Find(DriverKey) == nullptr);
    CHECK(CreateError(manager, L"Drv") == 0);
  }
  SUBCASE("running still") {
    second.Close();
    machine.devices.Unload(u"drv");
    CHECK(OpenError(L"drv") == 0);
    CHECK(OpenError(L"drv") == ERROR_SERVICE_DOES_NOT_EXIST);
  }
  SUBCASE("without power") {
    CHECK(Control(second, SERVICE_CONTROL_STOP)[0] == 0);
    machine.gate.CutPowerAt(1);
    CHECK(FailureOf([&] { return CloseServiceHandle(second); }) == ERROR_NOT_READY);
    machine.gate.Restore();
    CHECK(machine.services.IsMarked(u"drv"));
  }
}

TEST_CASE("a driver starts and stops as its behaviour has it") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  AddDriver(machine);
  const Handle manager = Manager();
  const Handle service = Service(manager, L"drv");
  CHECK(State(service) == Status{SERVICE_STOPPED, 0, ERROR_SERVICE_NEVER_STARTED});
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED});
  machine.files.Remove(DriverImage);
  CHECK(StartError(service) == ERROR_FILE_NOT_FOUND);
  machine.files.WriteFile(DriverImage, "image");
  machine.registry.SetNumber(DriverKey, u"Start", SERVICE_DISABLED);
  CHECK(StartError(service) == ERROR_SERVICE_DISABLED);
  machine.registry.SetNumber(DriverKey, u"Start", SERVICE_DEMAND_START);
  CHECK(StartError(service) == Untouched);
  CHECK(StartError(service) == ERROR_SERVICE_ALREADY_RUNNING);
  // A service that needs it keeps it running.
  AddDriver(machine, u"user", u"DRV");
  const Handle userService = Service(manager, L"user");
  REQUIRE(StartServiceW(userService, 0, nullptr));
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_DEPENDENT_SERVICES_RUNNING, 99});
  CHECK(Control(userService, SERVICE_CONTROL_STOP)[0] == 0);

  machine.devices.Behaviour(u"drv").stop = winsim::DriverBehaviour::Stop::refuses;
  CHECK(State(service) == Status{SERVICE_RUNNING, 0, 0});
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING});
  machine.devices.Behaviour(u"drv").stop = winsim::DriverBehaviour::Stop::staysPending;
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{0, SERVICE_STOP_PENDING});
  CHECK(Control(service, SERVICE_CONTROL_STOP) ==
        Answer{ERROR_SERVICE_CANNOT_ACCEPT_CTRL, SERVICE_STOP_PENDING});
  machine.devices.Unload(u"drv");
  CHECK(State(service) == Status{SERVICE_STOPPED, 0, 0});

  // Starting starts what is needed first.
  CHECK(StartError(userService) == Untouched);
  CHECK(machine.devices.IsLoaded(u"drv"));
  machine.devices.UnloadAll();
  machine.registry.SetNumber(DriverKey, u"Start", SERVICE_DISABLED);
  CHECK(StartError(userService) == ERROR_SERVICE_DEPENDENCY_FAIL);
  machine.registry.DeleteTree(DriverKey);
  CHECK(StartError(userService) == ERROR_SERVICE_DEPENDENCY_DELETED);
}

TEST_CASE("the spellings of a driver's image path") {
  MachineSession session;
  winsim::Services& services = session.Machine().services;
  const std::pair<const char16_t*, std::string> cases[] = {
      {u"", "C:\\Windows\\System32\\drivers\\d.sys"},
      {u"system32\\drivers\\x.sys", "C:\\Windows\\system32\\drivers\\x.sys"},
      {u"\\systemroot\\a\\x.sys", "C:\\Windows\\a\\x.sys"},
      {u"\\??\\D:\\x.sys", "D:\\x.sys"},
      {u"D:\\x.sys", "D:\\x.sys"},
      {u"%SystemRoot%\\x.sys", "C:\\Windows\\x.sys"},
      {u"%windir%\\%none%\\100%.sys", "C:\\Windows\\%none%\\100%.sys"},
      {u"x", "C:\\Windows\\x"}};
  for (const auto& [written, meant] : cases) {
    ServiceConfig config;
    config.type = ServiceConfig::KernelDriver;
    config.imagePath = written;
    services.Add(u"d", config);
    CHECK(ToUtf8(services.DriverImagePath(u"d")) == meant);
  }
}

TEST_CASE("a service's program runs its entry on a second thread and answers controls on the first") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  const Handle manager = Manager();
  SUBCASE("accepting no control") {
    AddProgram(machine, [] {
      Report(SERVICE_RUNNING);
      Pause(1000);
      Report(SERVICE_STOPPED);
    });
    const Handle service = Service(manager, L"svc");
    LPCWSTR arguments[] = {L"one", L"two words"};
    REQUIRE(StartServiceW(service, 2, arguments));
    CHECK(StartError(service) == ERROR_SERVICE_ALREADY_RUNNING);
    Pause(500);
    CHECK(t_arguments == std::vector<std::string>{"svc", "one", "two words"});
    CHECK(State(service) == Status{SERVICE_RUNNING, 0, 0});
    CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING});
    CHECK(Control(service, SERVICE_CONTROL_INTERROGATE) == Answer{0, SERVICE_RUNNING});
    Pause(1000);
    CHECK(State(service) == Status{SERVICE_STOPPED, 0, 0});
    CHECK(Control(service, SERVICE_CONTROL_INTERROGATE) == Answer{ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED});
    CHECK(machine.services.ReportedStates(u"SVC") ==
          std::vector<std::uint32_t>{SERVICE_RUNNING, SERVICE_RUNNING, SERVICE_STOPPED});
  }
  SUBCASE("ending without a word") {
    AddProgram(machine, [] { Report(SERVICE_RUNNING); });
    const Handle service = Service(manager, L"svc");
    REQUIRE(StartServiceW(service, 0, nullptr));
    Pause(100);
    CHECK(State(service) == Status{SERVICE_STOPPED, 0, ERROR_PROCESS_ABORTED});
  }
  SUBCASE("without a program") {
    AddProgram(machine, {});
    const Handle service = Service(manager, L"svc");
    machine.programs.clear();
    CHECK(StartError(service) == ERROR_BAD_EXE_FORMAT);
    machine.programs[u"svc.exe"] = [] { return 0; };
    CHECK(StartError(service) == ERROR_SERVICE_REQUEST_TIMEOUT);
    CHECK(State(service) == Status{SERVICE_STOPPED, 0, ERROR_PROCESS_ABORTED});
  }
  Pause(1);
  CHECK(machine.leakedHandles.empty());
}
