#include <doctest/doctest.h>

#include <utility>

#include "simulator/LastError.h"
#include "support/MachineSession.h"
#include "support/Threads.h"

using winsim::ServiceConfig;
using winsim::ToUtf8;

namespace {

/// The error of starting a service, 0 when it starts.
DWORD StartError(const wchar_t* name) {
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = OpenServiceW(manager, name, SERVICE_START);
  const DWORD error = FailureOf([&] { return StartServiceW(service, 0, nullptr); });
  CHECK((CloseServiceHandle(service) && CloseServiceHandle(manager)));
  return error == Untouched ? 0 : error;
}

std::string t_arguments;
SERVICE_STATUS_HANDLE t_handle;

void Report(DWORD state) {
  SERVICE_STATUS status{SERVICE_WIN32_OWN_PROCESS, state, 0, 0, 0, 0, 0};
  CHECK(SetServiceStatus(t_handle, &status));
}

void WINAPI ServiceMain(DWORD count, LPWSTR* arguments) {
  t_arguments.clear();
  for (DWORD i = 0; i < count; ++i) {
    t_arguments += ToUtf8(winsim::FromWide(arguments[i])) + "|";
  }
  t_handle = RegisterServiceCtrlHandlerW(L"any name", [](DWORD) { Report(SERVICE_RUNNING); });
  Report(SERVICE_RUNNING);
  Pause(1000);
  Report(SERVICE_STOPPED);
}

}  // namespace

TEST_CASE("a service starts after what it needs, and keeps it running") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  ServiceConfig config;
  config.type = ServiceConfig::KernelDriver;
  config.imagePath = u"system32\\drivers\\drv.sys";
  machine.services.Add(u"drv", config);
  config.dependencies = {u"DRV"};
  machine.services.Add(u"user", config);
  CHECK(StartError(L"user") == ERROR_SERVICE_DEPENDENCY_FAIL);  // there is no image
  machine.files.WriteFile(u"C:\\Windows\\system32\\drivers\\drv.sys", "image");
  CHECK(StartError(L"user") == 0);
  CHECK(machine.devices.IsLoaded(u"drv"));
  CHECK(machine.services.Request(u"drv", SERVICE_CONTROL_STOP) == ERROR_DEPENDENT_SERVICES_RUNNING);
  machine.devices.Unload(u"user");
  CHECK(machine.services.Request(u"drv", SERVICE_CONTROL_STOP) == 0);
  machine.registry.DeleteTree(winsim::ServiceDatabase::KeyPath(u"drv"));
  CHECK(StartError(L"user") == ERROR_SERVICE_DEPENDENCY_DELETED);
}

TEST_CASE("a service's program gets its arguments and answers controls, or has ended with an error") {
  MachineSession session;
  winsim::Machine& machine = session.Machine();
  ServiceConfig config;
  config.imagePath = u"%SystemRoot%\\svc.exe";
  machine.services.Add(u"svc", config);
  machine.files.WriteFile(u"C:\\Windows\\svc.exe", "program");
  CHECK(StartError(L"svc") == ERROR_BAD_EXE_FORMAT);
  machine.programs[u"svc.exe"] = [] { return 0; };
  CHECK(StartError(L"svc") == ERROR_SERVICE_REQUEST_TIMEOUT);
  CHECK(machine.services.Status(u"svc").exitCode == ERROR_PROCESS_ABORTED);

  machine.programs[u"svc.exe"] = [] {
    wchar_t name[] = L"svc";
    const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
  };
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = OpenServiceW(manager, L"svc", SERVICE_ALL_ACCESS);
  LPCWSTR arguments[] = {L"one", L"two words"};
  REQUIRE(StartServiceW(service, 2, arguments));
  SERVICE_STATUS status{};
  const auto interrogate = [&] { return ControlService(service, SERVICE_CONTROL_INTERROGATE, &status); };
  CHECK(FailureOf(interrogate) == ERROR_SERVICE_CANNOT_ACCEPT_CTRL);  // it has not reported yet
  Pause(500);
  CHECK(interrogate());
  CHECK(status.dwCurrentState == SERVICE_RUNNING);
  CHECK(FailureOf([&] { return ControlService(service, SERVICE_CONTROL_STOP, &status); }) ==
        ERROR_INVALID_SERVICE_CONTROL);
  Pause(2000);
  CHECK(QueryServiceStatus(service, &status));
  CHECK(status.dwCurrentState == SERVICE_STOPPED);
  CHECK(t_arguments == "svc|one|two words|");
  CHECK((CloseServiceHandle(service) && CloseServiceHandle(manager)));
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
