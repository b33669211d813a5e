#include <doctest/doctest.h>

#include <array>
#include <functional>
#include <utility>

#include "simulator/LastError.h"
#include "support/MachineSession.h"
#include "support/Threads.h"

using winsim::FromWide;
using winsim::ServiceConfig;
using winsim::ServiceStatus;
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
  const DWORD error = FailureOf(SC_HANDLE{}, [&] { return service = OpenServiceW(manager, name, access); });
  if (service != nullptr) {
    CHECK(error == Untouched);
    CloseServiceHandle(service);
    return 0;
  }
  return error;
}

struct NewService {
  const wchar_t* name = L"new";
  const wchar_t* displayName = nullptr;
  DWORD type = SERVICE_WIN32_OWN_PROCESS;
  DWORD start = SERVICE_DEMAND_START;
  DWORD errorControl = SERVICE_ERROR_NORMAL;
  const wchar_t* path = L"C:\\x.exe";
  const wchar_t* group = nullptr;
  DWORD* tag = nullptr;
  const wchar_t* dependencies = nullptr;
  const wchar_t* account = nullptr;
};

/// The error of making a service, 0 when it is there afterwards.
DWORD CreateError(SC_HANDLE manager, const NewService& entry) {
  SC_HANDLE service = nullptr;
  const DWORD error = FailureOf(SC_HANDLE{}, [&] {
    return service = CreateServiceW(manager, entry.name, entry.displayName, SERVICE_ALL_ACCESS, entry.type,
                                    entry.start, entry.errorControl, entry.path, entry.group, entry.tag,
                                    entry.dependencies, entry.account, nullptr);
  });
  if (service == nullptr) return error;
  CloseServiceHandle(service);
  return 0;
}

DWORD Change(SC_HANDLE service, const NewService& change) {
  return ErrorOf([&] {
    ChangeServiceConfigW(service, change.type, change.start, change.errorControl, change.path, change.group,
                         change.tag, change.dependencies, change.account, nullptr, change.displayName);
  });
}

constexpr NewService NoChange{nullptr,           nullptr,           SERVICE_NO_CHANGE,
                              SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr};

/// The texts of an entry as QueryServiceConfig tells them, separated by '|', lists by ','.
std::string Config(SC_HANDLE service) {
  DWORD needed = 0;
  CHECK(FailureOf(FALSE, [&] { return QueryServiceConfigW(service, nullptr, 0, &needed); }) ==
        ERROR_INSUFFICIENT_BUFFER);
  std::vector<std::uint64_t> room(needed / 8 + 1);
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(room.data());
  DWORD neededAgain = 0;
  CHECK(FailureOf(FALSE, [&] { return QueryServiceConfigW(service, config, needed - 1, &neededAgain); }) ==
        ERROR_INSUFFICIENT_BUFFER);
  REQUIRE(QueryServiceConfigW(service, config, needed, &neededAgain));
  CHECK(neededAgain == needed);
  std::string dependencies;
  for (const wchar_t* text = config->lpDependencies; *text != 0; text += FromWide(text).size() + 1) {
    dependencies += ToUtf8(FromWide(text)) + ",";
  }
  const auto text = [](const wchar_t* wide) { return ToUtf8(FromWide(wide)) + "|"; };
  return std::to_string(config->dwServiceType) + " " + std::to_string(config->dwStartType) + " " +
         std::to_string(config->dwErrorControl) + " " + std::to_string(config->dwTagId) + "|" +
         text(config->lpBinaryPathName) + text(config->lpLoadOrderGroup) + dependencies + "|" +
         text(config->lpServiceStartName) + text(config->lpDisplayName);
}

/// State, controls accepted and exit code.
std::array<DWORD, 3> State(SC_HANDLE service) {
  SERVICE_STATUS status{};
  CHECK(QueryServiceStatus(service, &status));
  return {status.dwCurrentState, status.dwControlsAccepted, status.dwWin32ExitCode};
}

/// The error of a control (0 for success) and the state it reports, 99 when it reports none.
std::array<DWORD, 2> Control(SC_HANDLE service, DWORD control) {
  SERVICE_STATUS status{};
  status.dwCurrentState = 99;
  const DWORD error = ErrorOf([&] { ControlService(service, control, &status); });
  return {error == Untouched ? 0 : error, status.dwCurrentState};
}

void AddDriver(winsim::Machine& machine) {
  ServiceConfig config;
  config.type = ServiceConfig::KernelDriver;
  config.imagePath = u"system32\\drivers\\drv.sys";
  machine.services.Add(u"drv", config);
  machine.files.WriteFile(DriverImage, "image");
}

/// What the service program of these tests does, set by each.
std::function<void(SERVICE_STATUS_HANDLE)> t_work;
std::vector<std::string> t_arguments;
SERVICE_STATUS_HANDLE t_handle;
SERVICE_STATUS t_status;

void Report(DWORD state, DWORD accepted = 0) {
  t_status = {SERVICE_WIN32_OWN_PROCESS, state, accepted, 0, 0, 0, 0};
  CHECK(SetServiceStatus(t_handle, &t_status));
}

void WINAPI HandleControl(DWORD control) {
  if (control == SERVICE_CONTROL_STOP) t_status.dwCurrentState = SERVICE_STOP_PENDING;
  CHECK(SetServiceStatus(t_handle, &t_status));
}

void WINAPI ServiceMain(DWORD count, LPWSTR* arguments) {
  for (DWORD i = 0; i < count; ++i) {
    t_arguments.push_back(ToUtf8(FromWide(arguments[i])));
  }
  CHECK(arguments[count] == nullptr);
  t_handle = RegisterServiceCtrlHandlerW(L"any name", HandleControl);
  REQUIRE(t_handle != nullptr);
  t_work(t_handle);
}

/// A machine with the service "svc", whose program connects to the manager and does `t_work`.
void AddProgram(winsim::Machine& machine, std::function<void(SERVICE_STATUS_HANDLE)> work) {
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

TEST_CASE("the manager opens for the local machine's active database") {
  MachineSession session;
  const auto openError = [](const wchar_t* machine, const wchar_t* database,
                            DWORD access = SC_MANAGER_CONNECT) {
    SC_HANDLE manager = nullptr;
    const DWORD error =
        FailureOf(SC_HANDLE{}, [&] { return manager = OpenSCManagerW(machine, database, access); });
    if (manager != nullptr) CloseServiceHandle(manager);
    return error;
  };
  CHECK(openError(nullptr, nullptr) == Untouched);
  CHECK(openError(L"", L"servicesactive") == Untouched);
  CHECK(openError(nullptr, L"ServicesFailed") == ERROR_DATABASE_DOES_NOT_EXIST);
  CHECK(openError(nullptr, L"Other") == ERROR_INVALID_NAME);
  CHECK(openError(L"\\\\other", nullptr) == RPC_S_SERVER_UNAVAILABLE);
  session.Machine().services.DenyManager(SC_MANAGER_CREATE_SERVICE);
  CHECK(openError(nullptr, nullptr) == Untouched);
  CHECK(openError(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE) == ERROR_ACCESS_DENIED);
  CHECK(openError(nullptr, nullptr, GENERIC_WRITE) == ERROR_ACCESS_DENIED);
  session.Machine().services.DenyManager();
  CHECK(openError(nullptr, nullptr, 0) == ERROR_ACCESS_DENIED);
  CHECK(FailureOf(FALSE, [] { return CloseServiceHandle(nullptr); }) == ERROR_INVALID_HANDLE);
}

TEST_CASE("services open by name, and their handles do what they were opened for") {
  MachineSession session;
  AddDriver(session.Machine());
  session.Machine().registry.Make(u"System\\CurrentControlSet\\Services\\no service");
  CHECK(OpenError(L"DRV") == 0);
  CHECK(OpenError(L"no service") == ERROR_SERVICE_DOES_NOT_EXIST);
  CHECK(OpenError(L"missing") == ERROR_SERVICE_DOES_NOT_EXIST);
  CHECK(OpenError(L"") == ERROR_INVALID_NAME);
  CHECK(OpenError(L"a\\b") == ERROR_INVALID_NAME);
  CHECK(OpenError(nullptr) == ERROR_INVALID_ADDRESS);
  CHECK(FailureOf(SC_HANDLE{}, [] { return OpenServiceW(nullptr, L"drv", 0); }) == ERROR_INVALID_HANDLE);
  session.Machine().services.Deny(u"Drv", DELETE);
  CHECK(OpenError(L"drv") == 0);
  CHECK(OpenError(L"drv", SERVICE_ALL_ACCESS) == ERROR_ACCESS_DENIED);
  session.Machine().services.Deny(u"drv", 0);

  const Handle manager = Manager();
  const Handle nothing = Service(manager, L"drv", SERVICE_USER_DEFINED_CONTROL);
  SERVICE_STATUS status{};
  DWORD needed = 0;
  const auto failures = [&](SC_HANDLE service) {
    return std::vector<DWORD>{
        FailureOf(FALSE, [&] { return QueryServiceConfigW(service, nullptr, 0, &needed); }),
        FailureOf(FALSE, [&] { return QueryServiceStatus(service, &status); }),
        FailureOf(FALSE, [&] { return StartServiceW(service, 0, nullptr); }),
        Control(service, SERVICE_CONTROL_STOP)[0],
        Control(service, SERVICE_CONTROL_INTERROGATE)[0],
        Control(service, SERVICE_CONTROL_PAUSE)[0],
        FailureOf(FALSE, [&] { return DeleteService(service); }),
        Change(service, NoChange),
        FailureOf(FALSE, [&] { return ChangeServiceConfig2W(service, 1, nullptr); })};
  };
  CHECK(failures(nothing) == std::vector<DWORD>(9, ERROR_ACCESS_DENIED));
  CHECK(failures(manager) == std::vector<DWORD>(9, ERROR_INVALID_HANDLE));
  CHECK(Control(nothing, 0)[0] == ERROR_INVALID_PARAMETER);
  CHECK(Control(nothing, 5)[0] == ERROR_INVALID_PARAMETER);
  CHECK(Control(nothing, 200)[0] == ERROR_INVALID_SERVICE_CONTROL);
}

TEST_CASE("a new service is refused for what is wrong with it, in the manager's order") {
  MachineSession session;
  AddDriver(session.Machine());
  session.Machine().registry.SetString(DriverKey, u"DisplayName", u"Shown name");
  const Handle manager = Manager();
  const std::vector<wchar_t> longName = [] {
    std::vector<wchar_t> name(257, L'n');
    name.push_back(0);
    return name;
  }();
  DWORD tag = 0;
  struct Case {
    NewService entry;
    DWORD error;
  };
  const Case cases[] = {
      {{.name = nullptr}, ERROR_INVALID_ADDRESS},
      {{.path = nullptr}, ERROR_INVALID_ADDRESS},
      {{.name = L""}, ERROR_INVALID_NAME},
      {{.name = L"a/b"}, ERROR_INVALID_NAME},
      {{.name = longName.data()}, ERROR_INVALID_NAME},
      {{.displayName = longName.data()}, ERROR_INVALID_NAME},
      {{.path = L""}, ERROR_INVALID_PARAMETER},
      {{.type = 0}, ERROR_INVALID_PARAMETER},
      {{.type = SERVICE_KERNEL_DRIVER | SERVICE_FILE_SYSTEM_DRIVER}, ERROR_INVALID_PARAMETER},
      {{.type = SERVICE_WIN32_OWN_PROCESS | SERVICE_WIN32_SHARE_PROCESS}, ERROR_INVALID_PARAMETER},
      {{.start = SERVICE_BOOT_START}, ERROR_INVALID_PARAMETER},
      {{.start = 5}, ERROR_INVALID_PARAMETER},
      {{.errorControl = 4}, ERROR_INVALID_PARAMETER},
      {{.tag = &tag}, ERROR_INVALID_PARAMETER},
      {{.name = L"DRV", .displayName = L"Shown name", .account = L"nobody"}, ERROR_SERVICE_EXISTS},
      {{.name = L"DRV", .type = 0}, ERROR_INVALID_PARAMETER},
      {{.displayName = L"shown NAME"}, ERROR_DUPLICATE_SERVICE_NAME},
      {{.displayName = L"Drv"}, ERROR_DUPLICATE_SERVICE_NAME},
      {{.account = L".\\nobody"}, ERROR_INVALID_SERVICE_ACCOUNT},
      {{.type = SERVICE_KERNEL_DRIVER, .account = L"LocalSyste"}, ERROR_INVALID_SERVICE_ACCOUNT},
      {{.dependencies = L"NEW\0"}, ERROR_CIRCULAR_DEPENDENCY},
      {{.group = L"G", .dependencies = L"+g\0"}, ERROR_CIRCULAR_DEPENDENCY},
      {{.displayName = L"new", .account = L"NT AUTHORITY\\LocalService"}, 0},
  };
  std::size_t number = 0;
  for (const auto& [entry, error] : cases) {
    ++number;
    CAPTURE(number);
    CHECK_FALSE(session.Machine().services.Exists(u"new"));
    CHECK(CreateError(manager, entry) == error);
  }
  CHECK(session.Machine().services.Exists(u"new"));
  CHECK(CreateError(Manager(SC_MANAGER_CONNECT), {.name = L"other"}) == ERROR_ACCESS_DENIED);
  CHECK(CreateError(nullptr, {.name = L"other"}) == ERROR_INVALID_HANDLE);
}

TEST_CASE("an entry is kept in the registry as Windows keeps it and changes field by field") {
  MachineSession session;
  winsim::Registry& registry = session.Machine().registry;
  const Handle manager = Manager();
  const std::u16string path = u"System\\CurrentControlSet\\Services\\new";
  REQUIRE(CreateError(manager, {.displayName = L"Shown",
                                .path = L"%SystemRoot%\\x.exe run",
                                .group = L"G",
                                .dependencies = L"first\0+Group\0second\0"}) == 0);
  CHECK(registry.GetValue(path, u"ImagePath")->type == REG_EXPAND_SZ);
  CHECK(ToUtf8(registry.GetString(path, u"ObjectName")) == "LocalSystem");
  CHECK(registry.GetValue(path, u"DependOnService")->data.size() == 28);
  CHECK(registry.GetValue(path, u"DependOnGroup")->data.size() == 14);
  CHECK(registry.GetValue(path, u"WOW64") == nullptr);
  CHECK(registry.GetValue(path, u"Tag") == nullptr);

  const Handle service = Service(manager, L"new");
  CHECK(Config(service) == "16 3 1 0|%SystemRoot%\\x.exe run|G|first,second,+Group,|LocalSystem|Shown|");
  CHECK(Change(service, NoChange) == Untouched);
  CHECK(Config(service) == "16 3 1 0|%SystemRoot%\\x.exe run|G|first,second,+Group,|LocalSystem|Shown|");

  // The image path stays of its type, as Wine writes it.
  registry.SetString(path, u"ImagePath", u"old.exe");
  DWORD tag = 0;
  NewService change = NoChange;
  change.start = SERVICE_AUTO_START;
  change.path = L"y.exe";
  change.group = L"H";
  change.tag = &tag;
  change.dependencies = L"";
  change.account = L".\\LocalSystem";
  change.displayName = L"";
  CHECK(Change(service, change) == Untouched);
  CHECK(Config(service) == "16 2 1 1|y.exe|H||.\\LocalSystem|new|");
  CHECK(tag == 1);
  CHECK(registry.GetValue(path, u"ImagePath")->type == REG_SZ);
  CHECK(registry.GetValue(path, u"DependOnService") == nullptr);
  CHECK(registry.GetValue(path, u"DisplayName") == nullptr);

  const auto changed = [&](auto field, auto value) {
    NewService wrong = NoChange;
    wrong.*field = value;
    return Change(service, wrong);
  };
  CHECK(changed(&NewService::type, SERVICE_KERNEL_DRIVER) == ERROR_INVALID_PARAMETER);
  CHECK(changed(&NewService::start, SERVICE_SYSTEM_START) == ERROR_INVALID_PARAMETER);
  CHECK(changed(&NewService::account, L"nobody") == ERROR_INVALID_SERVICE_ACCOUNT);
  CHECK(changed(&NewService::dependencies, L"new\0") == ERROR_CIRCULAR_DEPENDENCY);
  REQUIRE(CreateError(manager, {.name = L"third", .dependencies = L"NEW\0"}) == 0);
  CHECK(changed(&NewService::dependencies, L"third\0") == ERROR_CIRCULAR_DEPENDENCY);
  CHECK(changed(&NewService::displayName, L"Third") == ERROR_DUPLICATE_SERVICE_NAME);

  wchar_t text[] = L"what it does";
  wchar_t empty[] = L"";
  SERVICE_DESCRIPTIONW description{text};
  CHECK(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description));
  description.lpDescription = nullptr;
  CHECK(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description));
  CHECK(ToUtf8(registry.GetString(path, u"Description")) == "what it does");
  description.lpDescription = empty;
  CHECK(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description));
  CHECK(registry.GetValue(path, u"Description") == nullptr);
  CHECK(FailureOf(FALSE, [&] { return ChangeServiceConfig2W(service, 99, nullptr); }) == ERROR_INVALID_LEVEL);
}

TEST_CASE("a driver's entry keeps a full path as the kernel spells it, a 32-bit program leaves its mark") {
  MachineSession session(winsim::Settings::Windows10Wow64());
  const Handle manager = Manager();
  REQUIRE(CreateError(manager, {.type = SERVICE_KERNEL_DRIVER, .path = L"C:\\d\\x.sys"}) == 0);
  CHECK(Config(Service(manager, L"new")) == "1 3 1 0|\\??\\C:\\d\\x.sys||||new|");
  CHECK(session.Machine().registry.GetNumber(u"System\\CurrentControlSet\\Services\\new", u"WOW64") == 1);
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
  CHECK(FailureOf(FALSE, [&] { return DeleteService(second); }) == ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(FailureOf(FALSE, [&] { return StartServiceW(second, 0, nullptr); }) ==
        ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(Change(second, NoChange) == ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(CreateError(manager, {.name = L"Drv"}) == ERROR_SERVICE_MARKED_FOR_DELETE);
  CHECK(Config(second) == "1 4 1 0|system32\\drivers\\drv.sys||||drv|");
  first.Close();
  SUBCASE("stopped first") {
    CHECK(Control(second, SERVICE_CONTROL_STOP) == std::array<DWORD, 2>{0, SERVICE_STOPPED});
    CHECK(machine.services.IsMarked(u"drv"));
    second.Close();
    CHECK(machine.registry.Find(DriverKey) == nullptr);
    CHECK(CreateError(manager, {.name = L"Drv"}) == 0);
  }
  SUBCASE("running still") {
    second.Close();
    CHECK(OpenError(L"drv") == 0);
    machine.devices.Unload(u"drv");
    CHECK(OpenError(L"drv") == 0);
    CHECK(OpenError(L"drv") == ERROR_SERVICE_DOES_NOT_EXIST);
  }
  SUBCASE("without power") {
    CHECK(Control(second, SERVICE_CONTROL_STOP)[0] == 0);
    machine.gate.CutPowerAt(1);
    CHECK(FailureOf(FALSE, [&] { return CloseServiceHandle(second); }) == ERROR_NOT_READY);
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
  using Status = std::array<DWORD, 3>;
  using Answer = std::array<DWORD, 2>;
  const auto startError = [&] { return ErrorOf([&] { StartServiceW(service, 0, nullptr); }); };

  CHECK(State(service) == Status{SERVICE_STOPPED, 0, ERROR_SERVICE_NEVER_STARTED});
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED});
  machine.files.Remove(DriverImage);
  CHECK(startError() == ERROR_FILE_NOT_FOUND);
  machine.files.WriteFile(DriverImage, "image");
  machine.registry.SetNumber(DriverKey, u"Start", SERVICE_DISABLED);
  CHECK(startError() == ERROR_SERVICE_DISABLED);
  machine.registry.SetNumber(DriverKey, u"Start", SERVICE_DEMAND_START);
  CHECK(startError() == Untouched);
  CHECK(startError() == ERROR_SERVICE_ALREADY_RUNNING);
  CHECK(State(service) == Status{SERVICE_RUNNING, SERVICE_ACCEPT_STOP, 0});
  CHECK(Control(service, SERVICE_CONTROL_INTERROGATE) == Answer{0, SERVICE_RUNNING});
  CHECK(Control(service, SERVICE_CONTROL_PAUSE) == Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING});

  // A service that needs it keeps it running.
  ServiceConfig user;
  user.type = ServiceConfig::KernelDriver;
  user.imagePath = u"system32\\drivers\\drv.sys";
  user.dependencies = {u"DRV"};
  machine.services.Add(u"user", user);
  const Handle userService = Service(manager, L"user");
  REQUIRE(StartServiceW(userService, 0, nullptr));
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_DEPENDENT_SERVICES_RUNNING, 99});
  CHECK(Control(userService, SERVICE_CONTROL_STOP)[0] == 0);

  machine.devices.Behaviour(u"drv").stop = winsim::DriverBehaviour::Stop::refuses;
  CHECK(State(service) == Status{SERVICE_RUNNING, 0, 0});
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING});
  machine.devices.Behaviour(u"drv").stop = winsim::DriverBehaviour::Stop::staysPending;
  CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{0, SERVICE_STOP_PENDING});
  CHECK(State(service) == Status{SERVICE_STOP_PENDING, 0, 0});
  CHECK(Control(service, SERVICE_CONTROL_STOP) ==
        Answer{ERROR_SERVICE_CANNOT_ACCEPT_CTRL, SERVICE_STOP_PENDING});
  machine.devices.Unload(u"drv");
  CHECK(State(service) == Status{SERVICE_STOPPED, 0, 0});

  // Starting starts what is needed first.
  CHECK(ErrorOf([&] { StartServiceW(userService, 0, nullptr); }) == Untouched);
  CHECK(machine.devices.IsLoaded(u"drv"));
  machine.devices.UnloadAll();
  machine.registry.SetNumber(DriverKey, u"Start", SERVICE_DISABLED);
  CHECK(ErrorOf([&] { StartServiceW(userService, 0, nullptr); }) == ERROR_SERVICE_DEPENDENCY_FAIL);
  machine.registry.DeleteTree(DriverKey);
  CHECK(ErrorOf([&] { StartServiceW(userService, 0, nullptr); }) == ERROR_SERVICE_DEPENDENCY_DELETED);
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
  using Answer = std::array<DWORD, 2>;
  std::vector<Answer> answers;
  const Handle manager = Manager();
  SUBCASE("accepting no control") {
    AddProgram(machine, [](SERVICE_STATUS_HANDLE) {
      Report(SERVICE_RUNNING);
      Pause(1000);
      Report(SERVICE_STOPPED);
    });
    const Handle service = Service(manager, L"svc");
    LPCWSTR arguments[] = {L"one", L"two words"};
    REQUIRE(StartServiceW(service, 2, arguments));
    CHECK(FailureOf(FALSE, [&] { return StartServiceW(service, 0, nullptr); }) ==
          ERROR_SERVICE_ALREADY_RUNNING);
    Pause(500);
    CHECK(t_arguments == std::vector<std::string>{"svc", "one", "two words"});
    CHECK(State(service) == std::array<DWORD, 3>{SERVICE_RUNNING, 0, 0});
    CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING});
    CHECK(Control(service, SERVICE_CONTROL_PAUSE) == Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING});
    CHECK(Control(service, SERVICE_CONTROL_INTERROGATE) == Answer{0, SERVICE_RUNNING});
    Pause(1000);
    CHECK(State(service) == std::array<DWORD, 3>{SERVICE_STOPPED, 0, 0});
    CHECK(Control(service, SERVICE_CONTROL_INTERROGATE) == Answer{ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED});
    CHECK(machine.services.ReportedStates(u"SVC") ==
          std::vector<std::uint32_t>{SERVICE_RUNNING, SERVICE_RUNNING, SERVICE_STOPPED});
  }
  SUBCASE("stopped on demand") {
    AddProgram(machine, [](SERVICE_STATUS_HANDLE) {
      Pause(100);
      Report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP);
      while (t_status.dwCurrentState == SERVICE_RUNNING) {
        Pause(100);
      }
      Pause(100);
      Report(SERVICE_STOPPED);
    });
    const Handle service = Service(manager, L"svc");
    REQUIRE(StartServiceW(service, 0, nullptr));
    CHECK(State(service) == std::array<DWORD, 3>{SERVICE_START_PENDING, 0, 0});
    CHECK(Control(service, SERVICE_CONTROL_STOP) ==
          Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_START_PENDING});
    CHECK(Control(service, SERVICE_CONTROL_INTERROGATE) ==
          Answer{ERROR_SERVICE_CANNOT_ACCEPT_CTRL, SERVICE_START_PENDING});
    Pause(150);
    CHECK(DeleteService(service));
    CHECK(Control(service, SERVICE_CONTROL_STOP) == Answer{0, SERVICE_STOP_PENDING});
    CHECK(Control(service, SERVICE_CONTROL_STOP) ==
          Answer{ERROR_SERVICE_CANNOT_ACCEPT_CTRL, SERVICE_STOP_PENDING});
    CHECK(machine.services.IsMarked(u"svc"));
    Pause(1000);
    CHECK(State(service)[0] == SERVICE_STOPPED);
  }
  SUBCASE("ending without a word") {
    AddProgram(machine, [](SERVICE_STATUS_HANDLE) { Report(SERVICE_RUNNING); });
    const Handle service = Service(manager, L"svc");
    REQUIRE(StartServiceW(service, 0, nullptr));
    Pause(100);
    CHECK(State(service) == std::array<DWORD, 3>{SERVICE_STOPPED, 0, ERROR_PROCESS_ABORTED});
  }
  SUBCASE("without a program") {
    AddProgram(machine, {});
    const Handle service = Service(manager, L"svc");
    machine.programs.clear();
    CHECK(FailureOf(FALSE, [&] { return StartServiceW(service, 0, nullptr); }) == ERROR_BAD_EXE_FORMAT);
    machine.files.Remove(u"C:\\Windows\\system32\\svc.exe");
    CHECK(FailureOf(FALSE, [&] { return StartServiceW(service, 0, nullptr); }) == ERROR_FILE_NOT_FOUND);
    machine.files.WriteFile(u"C:\\Windows\\system32\\svc.exe", "program");
    machine.programs[u"svc.exe"] = [] { return 0; };
    CHECK(FailureOf(FALSE, [&] { return StartServiceW(service, 0, nullptr); }) ==
          ERROR_SERVICE_REQUEST_TIMEOUT);
    CHECK(State(service) == std::array<DWORD, 3>{SERVICE_STOPPED, 0, ERROR_PROCESS_ABORTED});
  }
  Pause(1);
  CHECK(machine.leakedHandles.empty());
}

TEST_CASE("a program that no service was started for cannot act as one") {
  MachineSession session;
  wchar_t name[] = L"svc";
  const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
  CHECK(FailureOf(FALSE, [&] { return StartServiceCtrlDispatcherW(table); }) ==
        ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
  CHECK(FailureOf(FALSE, [&] { return StartServiceCtrlDispatcherW(table + 1); }) == ERROR_INVALID_PARAMETER);
  CHECK(FailureOf(SERVICE_STATUS_HANDLE{}, [&] {
          return RegisterServiceCtrlHandlerW(name, HandleControl);
        }) == ERROR_SERVICE_NOT_IN_EXE);
  SERVICE_STATUS status{};
  CHECK(FailureOf(FALSE, [&] { return SetServiceStatus(nullptr, &status); }) == ERROR_INVALID_HANDLE);
}

TEST_CASE("a service refuses statuses that cannot be, and the handle of another process") {
  MachineSession session;
  DWORD errors[3] = {};
  AddProgram(session.Machine(), [&](SERVICE_STATUS_HANDLE handle) {
    SERVICE_STATUS status{SERVICE_WIN32_OWN_PROCESS, 8, 0, 0, 0, 0, 0};
    errors[0] = FailureOf(FALSE, [&] { return SetServiceStatus(handle, &status); });
    status = {SERVICE_KERNEL_DRIVER, SERVICE_RUNNING, 0, 0, 0, 0, 0};
    errors[1] = FailureOf(FALSE, [&] { return SetServiceStatus(handle, &status); });
    Report(SERVICE_RUNNING);
    Pause(100);
    wchar_t name[] = L"svc";
    const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    errors[2] = FailureOf(FALSE, [&] { return StartServiceCtrlDispatcherW(table); });
    Report(SERVICE_STOPPED);
  });
  const Handle manager = Manager();
  REQUIRE(StartServiceW(Service(manager, L"svc"), 0, nullptr));
  Pause(50);
  SERVICE_STATUS status{SERVICE_WIN32_OWN_PROCESS, SERVICE_STOPPED, 0, 0, 0, 0, 0};
  CHECK(FailureOf(FALSE, [&] { return SetServiceStatus(t_handle, &status); }) == ERROR_INVALID_HANDLE);
  Pause(100);
  CHECK(errors[0] == ERROR_INVALID_DATA);
  CHECK(errors[1] == ERROR_INVALID_DATA);
  CHECK(errors[2] == ERROR_SERVICE_ALREADY_RUNNING);
}

TEST_CASE("an 8-bit-only system has no service manager") {
  MachineSession session(winsim::Settings::Windows98());
  SERVICE_STATUS status{};
  const SERVICE_TABLE_ENTRYW table[] = {{nullptr, nullptr}};
  const std::vector<DWORD> errors = {
      FailureOf(SC_HANDLE{}, [] { return OpenSCManagerW(nullptr, nullptr, 1); }),
      FailureOf(FALSE, [] { return CloseServiceHandle(nullptr); }),
      FailureOf(FALSE, [&] { return ControlService(nullptr, 1, &status); }),
      FailureOf(FALSE, [&] { return StartServiceCtrlDispatcherW(table); }),
      FailureOf(FALSE, [&] { return SetServiceStatus(nullptr, &status); })};
  CHECK(errors == std::vector<DWORD>(5, ERROR_CALL_NOT_IMPLEMENTED));
}
