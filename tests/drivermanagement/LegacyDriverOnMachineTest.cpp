#include "drivermanagement/LegacyDriver.h"

#include <doctest/doctest.h>

#include "drivermanagement/LegacyDriverRegistration.h"
#include "drivermanagement/Module.h"
#include "drivermanagement/Service.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "support/Throws.h"
#include "system/ServiceControl.h"

using namespace DriverManagement;
using Stop = winsim::DriverBehaviour::Stop;
namespace ServiceControl = LCommon::System::ServiceControl;

namespace {

constexpr const char16_t* ImagePath = u"C:\\Windows\\system32\\drivers\\drv.sys";

struct Registration : BaseLegacyDriverRegistration {
  Registration()
      : BaseLegacyDriverRegistration(L"drv", L"A driver", L"", SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                     L"system32\\drivers\\drv.sys", L"", LUnicodeStringArray()) {}
};

// A driver or a service over the same real parts: the service control manager runs both alike.
template <class Base>
struct Real : Base {
  template <class... Parts>
  explicit Real(winsim::Devices& its, Parts... parts)
      : Base(L"drv", parts..., LMakeRef<Registration>()), devices(its) {}

  winsim::Devices& devices;
  unsigned int expected = 1;
  unsigned int IsActive() override { return devices.IsLoaded(u"drv"); }
  unsigned int IsActiveUpToDate() override { return IsActive() && expected; }
};

struct DriverSession : SystemSession {
  winsim::Machine& machine = Machine();
  winsim::DriverBehaviour& behaviour = machine.devices.Behaviour(u"drv");
  LPtrRef<TestContainer> container = LMakeRef<TestContainer>();
  LPtrRef<BaseDriverModule> module = LMakeRef<BaseDriverModule>(L"drv.sys", container);
  LPtrRef<GenericLifeTime> lifeTime = LMakeRef<GenericLifeTime>(L"drv", L"client", L"C:\\Windows");

  // The calls that change the system, in order.
  std::string Changes() {
    std::string changes;
    for (const winsim::TraceEntry& call : machine.gate.TakeTrace()) {
      for (const char* const function : {"StartServiceW", "ControlService", "RegDeleteKeyW", "DeleteService",
                                         "SetupDiCallClassInstaller", "DeleteFileW", "MoveFileExW"})
        if (call.function == function) changes += call.function + " ";
    }
    machine.gate.StartTrace();
    return changes;
  }
};

}  // namespace

TEST_CASE("a driver in use stays, and one that can be stopped goes in the order of its parts") {
  DriverSession session;
  Real<BaseLegacyDriver> driver(session.machine.devices, session.lifeTime, session.module);
  driver.Install(1);
  CHECK(session.machine.devices.IsLoaded(u"drv"));
  const std::uint64_t time = session.container->time;
  CHECK(session.machine.files.Find(ImagePath)->times == winsim::FileTimes{time, time, time});
  session.machine.deviceNodes.AddLegacy(u"drv");
  session.Changes();
  CHECK(driver.Purge(1) == BaseObject::purgeStillNeeded);
  CHECK(session.Changes() == "");

  session.behaviour.stop = Stop::staysPending;
  CHECK(ThrownIn([&] { driver.Uninstall(1); }) ==
        "unsigned int __cdecl DriverManagement::BaseLegacyDriver::Stop(void)");
  CHECK(session.Changes() == "RegDeleteKeyW ControlService ");
  session.machine.devices.Unload(u"drv");
  session.behaviour.stop = Stop::stops;
  driver.Start();
  session.Changes();
  CHECK(driver.Purge(1) == BaseObject::purgeDone);
  CHECK(session.Changes() == "ControlService DeleteService SetupDiCallClassInstaller DeleteFileW ");

  driver.Install(1);
  driver.Touch();
  session.behaviour.stop = Stop::refuses;
  CHECK(driver.Uninstall(1) == BaseObject::uninstallDoneReboot);
  CHECK(driver.IsExpired() == 1);
}

TEST_CASE("a service is started, restarted and stopped through the service control manager") {
  DriverSession session;
  Real<BaseService> service(session.machine.devices, session.module);
  session.Changes();
  CHECK(service.Remove(1) == BaseObject::removeNotInstalled);  // without a stop
  session.machine.files.WriteFile(ImagePath, session.container->body);
  Registration().Install(0);
  CHECK(service.Deactivate() == BaseObject::deactivateNotActive);
  CHECK(service.Activate() == BaseObject::activateDone);
  CHECK(service.Activate() == BaseObject::activateUpToDate);
  service.expected = 0;
  CHECK(service.Activate() == BaseObject::activateUpdated);
  CHECK(session.Changes() == "StartServiceW ControlService StartServiceW ");
  service.Start();
  session.behaviour.stop = Stop::refuses;
  CHECK_THROWS_AS(service.Stop(), ServiceControl::Service::InvalidControlException);
  session.behaviour.stop = Stop::staysPending;
  CHECK_THROWS_AS(service.Remove(1), BaseObject::UsageConflictException);
  session.Changes();
  CHECK(service.Remove(0) == BaseObject::removeDoneReboot);
  CHECK(session.Changes() == "DeleteService DeleteFileW MoveFileExW ");
}
