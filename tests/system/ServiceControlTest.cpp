#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/ServiceControl.h"

namespace {

using namespace LCommon::System::ServiceControl;

constexpr wchar_t name[] = L"kvdel01test";
constexpr wchar_t displayName[] = L"KV test service";

LPtrRef<Manager> OpenManager() {
  return Manager::Open(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
}

LPtrRef<Service> Create(const wchar_t* serviceName, const wchar_t* serviceDisplayName) {
  return Service::Create(OpenManager(), serviceName, serviceDisplayName, SERVICE_ALL_ACCESS,
                         Service::typeWin32OwnProcess, Service::startOnDemand, Service::errorControlNormal,
                         L"C:\\x.exe svc", L"", nullptr, {}, L"", L"");
}

/// All fields of a configuration but the dependencies and the tag.
std::string Summary(LPtrRef<Service::Config> config) {
  std::string summary = std::to_string(config->serviceType) + " " + std::to_string(config->startType) + " " +
                        std::to_string(config->errorControl);
  for (const LUnicodeString& text :
       {config->binaryPathName, config->loadOrderGroup, config->serviceStartName, config->displayName}) {
    summary += " '" + Utf8(text) + "'";
  }
  return summary;
}

}  // namespace

TEST_CASE("a service is configured as it was created and stays so where a change says nothing") {
  SystemSession session;
  const LPtrRef<Service> service = Create(name, displayName);
  CHECK(Summary(service->QueryConfig()) == "16 3 1 'C:\\x.exe svc' '' 'LocalSystem' 'KV test service'");

  service->ChangeConfig(L"Other name", Service::typeWin32OwnProcess, Service::startAuto,
                        Service::errorControlCritical, L"C:\\y.exe", L"Group", nullptr, {}, L"LocalSystem",
                        L"");
  CHECK(Summary(service->QueryConfig()) == "16 2 3 'C:\\y.exe' 'Group' 'LocalSystem' 'Other name'");

  LUnicodeString terminatorOnly(L"x");
  terminatorOnly.Delete(0);
  for (const LUnicodeString& nothing : {LUnicodeString(), terminatorOnly}) {
    service->ChangeConfig(nothing, Service::typeWin32OwnProcess, Service::startDisabled,
                          Service::errorControlIgnore, nothing, nothing, nullptr, LUnicodeStringArray(),
                          nothing, nothing);
    CHECK(Summary(service->QueryConfig()) == "16 4 0 'C:\\y.exe' 'Group' 'LocalSystem' 'Other name'");
  }
  service->ChangeDescription(L"What it is for");
  service->Delete();
}

TEST_CASE("names are taken once, also as display names") {
  SystemSession session;
  const LPtrRef<Service> service = Create(name, displayName);
  CHECK(Thrown([] { Create(L"KVDEL01TEST", L"Another"); }) == Exactly<Service::AlreadyExistException>(1073));
  CHECK(Thrown([] { Create(L"kvdel01other", displayName); }) ==
        Exactly<Service::DuplicateNameException>(1078));
  service->Delete();
}

TEST_CASE("a service exists until it is deleted and its last handle closed") {
  SystemSession session;
  const LPtrRef<Manager> manager = Manager::Open(SC_MANAGER_CONNECT);
  const auto missing = Exactly<Service::NotFoundException>(1060);
  CHECK_FALSE(Service::IsExist(manager, name));
  CHECK(Thrown([&] { Service::Open(manager, name, SERVICE_QUERY_CONFIG); }) == missing);
  CHECK(Thrown([&] { Create(name, displayName); }) == "nothing");
  CHECK(Service::IsExist(manager, name));

  LPtrRef<Service> service = Service::Open(manager, name, SERVICE_ALL_ACCESS);
  CHECK(Thrown([&] { service->Stop(); }) == Exactly<Service::NotRunningException>(1062));
  service->Delete();
  const auto marked = Exactly<Service::MarkedForDeleteException>(1072);
  CHECK(Thrown([&] { service->Delete(); }) == marked);
  service = nullptr;
  CHECK(Thrown([&] { Service::Open(manager, name, SERVICE_QUERY_CONFIG); }) == missing);
}
