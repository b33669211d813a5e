#include <doctest/doctest.h>

#include <tuple>
#include <utility>

#include "simulator/LastError.h"
#include "support/MachineSession.h"

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

TEST_CASE("a service whose program is none, or ends without having connected, does not start") {
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

TEST_CASE("drivers load by start type, then group, then name") {
  const auto machine = MakeMachine();
  machine->registry.SetValue(u"System\\CurrentControlSet\\Control\\ServiceGroupOrder", u"List",
                             winsim::RegistryValue::Strings({u"Boot Bus Extender", u"System Bus Extender"}));
  constexpr const char16_t* Boot = u"Boot Bus Extender";
  const std::tuple<const char16_t*, std::uint32_t, const char16_t*> drivers[] = {
      {u"a0", 0, u""},  {u"b0", 0, u"system bus extender"},
      {u"c0", 0, Boot}, {u"e0", 0, u"Unlisted"},
      {u"d0", 0, Boot}, {u"h3", 3, u"Unlisted"},
      {u"f2", 2, Boot}, {u"g1", 1, u"Unlisted"}};
  for (const auto& [name, start, group] : drivers) {
    winsim::ServiceConfig config;
    config.type = winsim::ServiceConfig::KernelDriver;
    config.start = start;
    config.group = group;
    machine->services.Add(name, config);
  }
  std::string order;
  for (const std::u16string& name : machine->services.DriversInLoadOrder()) {
    order += winsim::ToUtf8(name) + " ";
  }
  CHECK(order == "c0 d0 b0 a0 e0 g1 f2 ");
}

TEST_CASE("a driver that is told to stop leaves its open devices behind") {
  const std::u16string image = u"C:\\Windows\\system32\\drivers\\kvenv01.sys";
  MachineSession session;
  winsim::Devices& devices = session.Machine().devices;
  const auto open = [](const wchar_t* name) {
    return CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  };
  CHECK(devices.Load(u"kvenv01", image) == ERROR_FILE_NOT_FOUND);
  session.Machine().files.WriteFile(image, "image");
  REQUIRE(devices.Load(u"kvenv01", image) == 0);
  const HANDLE device = open(L"\\\\.\\KVENV01I");
  CHECK(devices.Stop(u"kvenv01") == winsim::Devices::StopResult::pending);
  CHECK(FailureOf(INVALID_HANDLE_VALUE, [&] { return open(L"\\\\.\\kvenv01"); }) == ERROR_FILE_NOT_FOUND);
  CHECK(devices.IsLoaded(u"kvenv01"));
  CHECK(CloseHandle(device) == TRUE);
  CHECK_FALSE(devices.IsLoaded(u"kvenv01"));
}
