#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/ErrorCases.h"
#include "system/ServiceControl.h"

namespace {

using namespace LCommon::System::ServiceControl;

LPtrRef<Service> Create(LPtrRef<Manager> manager, const wchar_t* name,
                        const wchar_t* binaryPath = L"C:\\a folder\\x.exe") {
  return Service::Create(manager, name, L"", SERVICE_ALL_ACCESS, Service::typeWin32OwnProcess,
                         Service::startOnDemand, Service::errorControlNormal, binaryPath, L"", nullptr, {},
                         L"", L"");
}

}  // namespace

TEST_CASE("every service error becomes the exception of its operation") {
  SystemSession session;
  const LPtrRef<Manager> manager = Manager::Open(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
  const LPtrRef<Service> service = Create(manager, L"test");
  const ErrorCase denied = {5, Exactly<Service::AccessDeniedException>(5)};
  const ErrorCase circular = {1059, Exactly<Service::CircularDependencyException>(1059)};
  const ErrorCase marked = {1072, Exactly<Service::MarkedForDeleteException>(1072)};
  const ErrorCase duplicate = {1078, Exactly<Service::DuplicateNameException>(1078)};
  const ErrorCase missing = {1060, Exactly<Service::NotFoundException>(1060)};
  using Exception = Service::Exception;

  CheckErrors<Manager::Exception>(session, "OpenSCManagerW",
                                  {{5, Exactly<Manager::AccessDeniedException>(5)}},
                                  [&] { Manager::Open(SC_MANAGER_CONNECT); });
  CheckErrors<Exception>(session, "OpenServiceW", {denied, missing},
                         [&] { Service::Open(manager, L"test", SERVICE_QUERY_CONFIG); });
  CheckErrors<Exception>(session, "OpenServiceW", {denied, {1060, "nothing"}}, [&] {
    const bool exists = Service::IsExist(manager, L"test");
    CHECK_FALSE(exists);
  });
  CheckErrors<Exception>(session, "CreateServiceW",
                         {denied, circular, duplicate, {1073, Exactly<Service::AlreadyExistException>(1073)}},
                         [&] { Create(manager, L"new"); });
  CheckErrors<Exception>(session, "ChangeServiceConfigW", {denied, circular, marked, duplicate}, [&] {
    service->ChangeConfig(L"", Service::typeWin32OwnProcess, Service::startDisabled,
                          Service::errorControlIgnore, L"", L"", nullptr, {}, L"", L"");
  });
  CheckErrors<Exception>(session, "ChangeServiceConfig2W",
                         {denied, {120, Exactly<Service::NotSupportedException>(120)}},
                         [&] { service->ChangeDescription(L"x"); });
  CheckErrors<Exception>(session, "QueryServiceConfigW", {denied, {122, "nothing"}},
                         [&] { service->QueryConfig(); });
  CheckErrors<Exception>(session, "StartServiceW",
                         {denied, marked, {1056, Exactly<Service::AlreadyRunningException>(1056)}},
                         [&] { service->Start(); });
  CheckErrors<Exception>(session, "ControlService",
                         {denied,
                          marked,
                          {1052, Exactly<Service::InvalidControlException>(1052)},
                          {1062, Exactly<Service::NotRunningException>(1062)}},
                         [&] { service->Stop(); });
  CheckErrors<Exception>(session, "DeleteService", {denied, marked}, [&] { service->Delete(); });
  CHECK(service->QueryConfig()->startType == Service::startOnDemand);
}

TEST_CASE("a driver is started and stopped through its service") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  machine.files.WriteFile(u"C:\\Windows\\system32\\drivers\\test.sys", "image");
  const LPtrRef<Service> service =
      Service::Create(Manager::Open(SC_MANAGER_CREATE_SERVICE), L"test", L"", SERVICE_ALL_ACCESS,
                      Service::typeKernelDriver, Service::startOnDemand, Service::errorControlNormal,
                      L"system32\\drivers\\test.sys", L"", nullptr, {}, L"", L"");
  service->Start();
  CHECK(machine.devices.IsLoaded(u"test"));
  CHECK(Thrown([&] { service->Start(); }) == Exactly<Service::AlreadyRunningException>(1056));
  const LPtrRef<Service::Status> status = service->Stop();
  CHECK_FALSE(machine.devices.IsLoaded(u"test"));
  CHECK(status->serviceType == Service::typeKernelDriver);
  CHECK(status->currentState == SERVICE_STOPPED);
  CHECK(Thrown([&] { service->Stop(); }) == Exactly<Service::NotRunningException>(1062));
}

TEST_CASE("a tag is handed back and dependencies are passed as one list") {
  SystemSession session;
  LUnicodeStringArray dependencies;
  dependencies.Append(L"a");
  dependencies.Append(L"b2");
  const LPtrRef<Manager> manager = Manager::Open(SC_MANAGER_CREATE_SERVICE);
  unsigned int tag = 0;
  const LPtrRef<Service> service = Service::Create(
      manager, L"test", L"", SERVICE_ALL_ACCESS, Service::typeKernelDriver, Service::startBoot,
      Service::errorControlNormal, L"system32\\drivers\\test.sys", L"Group", &tag, dependencies, L"", L"");
  CHECK(tag != 0);
  CHECK(service->QueryConfig()->tagId == tag);
  const winsim::RegistryValue* stored =
      session.Machine().registry.GetValue(winsim::ServiceDatabase::KeyPath(u"test"), u"DependOnService");
  REQUIRE(stored != nullptr);
  CHECK(std::string(stored->data.begin(), stored->data.end()) == std::string("a\0\0\0b\0002\0\0\0\0\0", 12));

  unsigned int newTag = 0;
  service->ChangeConfig(L"", Service::typeKernelDriver, Service::startBoot, Service::errorControlNormal, L"",
                        L"Other", &newTag, {}, L"", L"");
  CHECK(newTag != 0);
  CHECK(service->QueryConfig()->tagId == newTag);
}

TEST_CASE("a configuration is read with the size that the manager reports, or else with twice the room") {
  SystemSession session;
  const LPtrRef<Service> service = Create(Manager::Open(SC_MANAGER_CREATE_SERVICE), L"test");
  DWORD needed = 0;
  QUERY_SERVICE_CONFIGW record;
  const LPtrRef<Manager> manager = Manager::Open(SC_MANAGER_CONNECT);
  const SC_HANDLE handle = OpenServiceW(manager->GetHandle(), L"test", SERVICE_QUERY_CONFIG);
  QueryServiceConfigW(handle, &record, 0, &needed);
  CloseServiceHandle(handle);
  REQUIRE(needed > 128);
  REQUIRE(needed <= 256);

  winsim::Gate& gate = session.Machine().gate;
  const std::string path(1000, 'p');
  const LPtrRef<Service> large =
      Create(Manager::Open(SC_MANAGER_CREATE_SERVICE), L"large", Utf16(path).Data());
  gate.StartTrace();
  CHECK(Utf8(large->QueryConfig()->binaryPathName) == path);
  CHECK(session.Trace("QueryServiceConfigW").size() == 2);

  // Refused calls report no size: the room is 128, 256, 512 bytes then.
  for (const unsigned int refusals : {0u, 1u, 2u}) {
    CAPTURE(refusals);
    gate.StartTrace();
    gate.FailFunction("QueryServiceConfigW", 122, refusals);
    CHECK(Utf8(service->QueryConfig()->binaryPathName) == "C:\\a folder\\x.exe");
    CHECK(session.Trace("QueryServiceConfigW").size() == (refusals == 0 ? 2 : refusals + 1));
    gate.Restore();
  }
}

TEST_CASE("a service is closed before the manager that it keeps open") {
  SystemSession session;
  LPtrRef<Manager> manager = Manager::Open(SC_MANAGER_CREATE_SERVICE);
  LPtrRef<Service> service = Create(manager, L"test");
  manager = nullptr;
  CHECK(session.Trace("CloseServiceHandle").empty());
  service = nullptr;
  CHECK(TraceText(session, "CloseServiceHandle") ==
        "CloseServiceHandle(service test)\nCloseServiceHandle(service manager)\n");
}

TEST_CASE("a system without service functions or descriptions says so") {
  SUBCASE("no service control manager") {
    SystemSession session(winsim::Settings::Windows98());
    CHECK(Thrown([] { Manager::Open(SC_MANAGER_CONNECT); }) == Exactly<Manager::Exception>(120));
  }
  SUBCASE("no descriptions") {
    SystemSession session(winsim::Settings::WindowsNt4());
    const LPtrRef<Service> service = Create(Manager::Open(SC_MANAGER_CREATE_SERVICE), L"test");
    CHECK(Thrown([&] { service->ChangeDescription(L"x"); }) == Exactly<Service::NotSupportedException>(120));
  }
}
