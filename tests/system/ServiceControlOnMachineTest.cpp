#include "system/ServiceControl.h"

#include <doctest/doctest.h>

#include <string>

#include "support/Utf8.h"
#include "system/ErrorCases.h"

namespace {

using namespace LCommon::System::ServiceControl;

LPtrRef<Manager> OpenManager() {
  return Manager::Open(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
}

LPtrRef<Service> Create(LPtrRef<Manager> manager, const wchar_t* name, const wchar_t* path = L"C:\\x y.exe") {
  return Service::Create(manager, name, LUnicodeString(L"Display ") + name, SERVICE_ALL_ACCESS,
                         Service::typeWin32OwnProcess, Service::startOnDemand, Service::errorControlNormal,
                         path, L"", nullptr, {}, L"", L"");
}

}  // namespace

TEST_CASE("every service error becomes the exception of its operation") {
  SystemSession session;
  const LPtrRef<Manager> manager = OpenManager();
  const LPtrRef<Service> service = Create(manager, L"test");
  const ErrorCase denied = Throws<Service::AccessDeniedException>(5);
  const ErrorCase notSupported = Throws<Service::NotSupportedException>(120);
  const ErrorCase badControl = Throws<Service::InvalidControlException>(1052);
  const ErrorCase running = Throws<Service::AlreadyRunningException>(1056);
  const ErrorCase circular = Throws<Service::CircularDependencyException>(1059);
  const ErrorCase missing = Throws<Service::NotFoundException>(1060);
  const ErrorCase stopped = Throws<Service::NotRunningException>(1062);
  const ErrorCase marked = Throws<Service::MarkedForDeleteException>(1072);
  const ErrorCase exists = Throws<Service::AlreadyExistException>(1073);
  const ErrorCase duplicate = Throws<Service::DuplicateNameException>(1078);
  const auto check = [&](const char* function, std::initializer_list<ErrorCase> cases, auto operation) {
    CheckErrors<Service::Exception>(session, function, cases, operation);
  };
  CheckErrors<Manager::Exception>(session, "OpenSCManagerW", {Throws<Manager::AccessDeniedException>(5)},
                                  OpenManager);
  check("OpenServiceW", {denied, missing}, [&] { Service::Open(manager, L"test", SERVICE_QUERY_CONFIG); });
  check("OpenServiceW", {denied, {1060, "nothing"}}, [&] {
    const bool found = Service::IsExist(manager, L"test");
    CHECK_FALSE(found);
  });
  check("CreateServiceW", {denied, circular, duplicate, exists}, [&] { Create(manager, L"new"); });
  check("ChangeServiceConfigW", {denied, circular, marked, duplicate}, [&] {
    service->ChangeConfig(L"", Service::typeWin32OwnProcess, Service::startDisabled,
                          Service::errorControlIgnore, L"", L"", nullptr, {}, L"", L"");
  });
  check("ChangeServiceConfig2W", {denied, notSupported}, [&] { service->ChangeDescription(L"x"); });
  check("QueryServiceConfigW", {denied, {122, "nothing"}}, [&] { service->QueryConfig(); });
  check("StartServiceW", {denied, marked, running}, [&] { service->Start(); });
  check("ControlService", {denied, marked, badControl, stopped}, [&] { service->Stop(); });
  check("DeleteService", {denied, marked}, [&] { service->Delete(); });
  CHECK(Service::IsExist(manager, L"test"));
  CHECK(service->QueryConfig()->startType == Service::startOnDemand);
  service->Delete();
  CHECK(Thrown([&] { service->Start(); }) == marked.outcome);
}

TEST_CASE("a configuration is read with the size that the manager reports, or else with twice the room") {
  SystemSession session;
  const std::string path(1000, 'p');
  const LPtrRef<Service> service = Create(OpenManager(), L"large", Utf16(path).Data());
  session.Machine().gate.FailFunction("QueryServiceConfigW", 122, 2);  // without a size
  CHECK(Utf8(service->QueryConfig()->binaryPathName) == path);
}
