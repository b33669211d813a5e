#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/ServiceControl.h"

namespace {

using namespace LCommon::System::ServiceControl;

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
  const LPtrRef<Service> service =
      Service::Create(Manager::Open(SC_MANAGER_CREATE_SERVICE), L"kvdel01test", L"KV test service",
                      SERVICE_ALL_ACCESS, Service::typeWin32OwnProcess, Service::startOnDemand,
                      Service::errorControlNormal, L"C:\\x.exe svc", L"", nullptr, {}, L"", L"");
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
