#include "drivermanagement/LegacyDriver.h"

#include <doctest/doctest.h>

#include "RegistryText.h"
#include "drivermanagement/LegacyDriverRegistration.h"
#include "drivermanagement/LogSource.h"
#include "drivermanagement/Module.h"
#include "drivermanagement/Service.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"
#include "system/ServiceControl.h"

using namespace DriverManagement;
namespace ServiceControl = LCommon::System::ServiceControl;

namespace {

constexpr const char16_t* ImagePath = u"C:\\Windows\\system32\\drivers\\drv.sys";
constexpr const char16_t* ServicesPath = u"System\\CurrentControlSet\\Services";
constexpr const char16_t* RecordPath = u"System\\CurrentControlSet\\Services\\drv\\LifeTime";
constexpr std::uint32_t StateCode = 0x91012400;

class Registration : public BaseLegacyDriverRegistration {
 public:
  Registration()
      : BaseLegacyDriverRegistration(L"drv", L"A driver", L"", SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                     L"system32\\drivers\\drv.sys", L"", LUnicodeStringArray()) {}
};

// A driver made of real parts.
class Driver : public BaseLegacyDriver {
 public:
  explicit Driver(LPtrRef<TestContainer> container)
      : BaseLegacyDriver(L"drv", LMakeRef<GenericLifeTime>(L"drv", L"client", L"C:\\Windows"),
                         LMakeRef<BaseDriverModule>(L"drv.sys", container), LMakeRef<Registration>()),
        m_container(container) {
    m_components->Add(LMakeRef<BaseLogSource>(L"System", L"drv", 0u, 7u, L"", L"%SystemRoot%\\drv.sys", L""));
  }

  unsigned int IsActive() override { return IsDeviceExist(L"\\\\.\\drvi"); }
  unsigned int IsActiveUpToDate() override {
    return IsDriverStateUpToDate(L"\\\\.\\drvi", StateCode, m_container->GetBuildType(),
                                 m_container->GetVersion(), m_container->GetTargetOsVersion());
  }

 private:
  const LPtrRef<TestContainer> m_container;
};

// A service over the same entry: the service control manager runs drivers and processes alike.
class RunningService : public BaseService {
 public:
  explicit RunningService(winsim::Devices& devices)
      : BaseService(L"drv", LMakeRef<BaseDriverModule>(L"drv.sys", LMakeRef<NullPeModuleContainer>()),
                    LMakeRef<Registration>()),
        m_devices(devices) {}

  unsigned int expected = 1;
  unsigned int IsActive() override { return m_devices.IsLoaded(u"drv"); }
  unsigned int IsActiveUpToDate() override { return IsActive() && expected; }

 private:
  winsim::Devices& m_devices;
};

struct DriverSession : SystemSession {
  winsim::Machine& machine = Machine();
  winsim::DriverBehaviour& behaviour = machine.devices.Behaviour(u"drv");
  LPtrRef<TestContainer> container = LMakeRef<TestContainer>();

  DriverSession() { behaviour.replies[StateCode] = {}; }

  std::string Services() { return RegistryText(machine.registry, ServicesPath); }

  // The calls that change the system, in order.
  std::string Changes() {
    std::string changes;
    for (const winsim::TraceEntry& call : machine.gate.TakeTrace()) {
      for (const char* const function : {"StartServiceW", "ControlService", "RegDeleteKeyW", "DeleteService",
                                         "SetupDiCallClassInstaller", "DeleteFileW", "MoveFileExW"}) {
        if (call.function == function) changes += call.function + " ";
      }
    }
    machine.gate.StartTrace();
    return changes;
  }
};

}  // namespace

TEST_CASE("a driver is installed, kept while claimed, and leaves nothing behind") {
  DriverSession session;
  Driver driver(session.container);
  const std::string before = session.Services();
  CHECK(driver.IsInstalled() == 0);
  CHECK(driver.Purge(1) == BaseObject::purgeNotInstalled);

  CHECK(driver.Install(1) == BaseObject::installDone);
  CHECK(session.machine.devices.IsLoaded(u"drv"));
  CHECK(session.machine.files.Read(ImagePath) == session.container->body);
  CHECK(RegistryText(session.machine.registry, RecordPath) == "Auto=1 client{File=\"C:\\Windows\" Mode=0}");
  CHECK(driver.IsInstalledUpToDate() == 1);
  CHECK(driver.Install(1) == BaseObject::installUpToDate);
  session.machine.deviceNodes.AddLegacy(u"drv");
  session.Changes();

  const std::string installed = session.Services();
  CHECK(driver.Purge(1) == BaseObject::purgeStillNeeded);
  CHECK(session.Services() == installed);
  CHECK(session.Changes() == "");

  CHECK(driver.Uninstall(1) == BaseObject::uninstallDone);
  CHECK(session.Changes() ==
        "RegDeleteKeyW ControlService RegDeleteKeyW DeleteService SetupDiCallClassInstaller DeleteFileW ");
  CHECK(session.Services() == before);
  CHECK_FALSE(session.machine.files.Exists(ImagePath));
  CHECK(session.machine.devices.Loaded().empty());
  CHECK(session.machine.deviceNodes.Instances(std::nullopt).empty());
}

TEST_CASE("a driver that does not unload goes with the restart, one in use stays whole") {
  DriverSession session;
  Driver driver(session.container);
  driver.Install(1);
  session.machine.registry.DeleteTree(std::u16string(RecordPath) + u"\\client");
  session.Changes();

  session.behaviour.stop = winsim::DriverBehaviour::Stop::staysPending;
  const std::string installed = session.Services();
  try {
    driver.Purge(1);
    FAIL("a driver in use was removed");
  } catch (const BaseObject::UsageConflictException& exception) {
    CHECK(exception.Line() == 71);
    CHECK(std::string(exception.Function()) ==
          "unsigned int __cdecl DriverManagement::BaseLegacyDriver::Stop(void)");
  }
  CHECK(session.Changes() == "ControlService ");
  CHECK(session.Services() == installed);

  session.machine.devices.Unload(u"drv");
  session.behaviour.stop = winsim::DriverBehaviour::Stop::refuses;
  driver.Start();
  session.Changes();
  CHECK(driver.Purge(1) == BaseObject::purgeDoneReboot);
  CHECK(session.Changes() == "ControlService RegDeleteKeyW DeleteService DeleteFileW MoveFileExW ");
  CHECK(session.machine.files.Exists(ImagePath));
}

TEST_CASE("starting what runs and stopping what does not is no failure, everything else is") {
  DriverSession session;
  Driver driver(session.container);
  CHECK_THROWS_AS(driver.Start(), ServiceControl::Service::NotFoundException);
  CHECK_THROWS_AS(driver.Stop(), ServiceControl::Service::NotFoundException);
  driver.Install(0);
  CHECK(driver.Stop() == 1);
  CHECK(driver.Start() == 1);
  CHECK(driver.Start() == 1);
  CHECK(driver.Stop() == 1);
  CHECK_FALSE(session.machine.devices.IsLoaded(u"drv"));
  session.behaviour.loadError = 31;
  CHECK_THROWS_AS(driver.Start(), ServiceControl::Service::Exception);
  CHECK_THROWS_AS(driver.Activate(), ServiceControl::Service::Exception);
}

TEST_CASE("a service is started, restarted and stopped through the service control manager") {
  DriverSession session;
  session.machine.files.WriteFile(ImagePath, session.container->body);
  Registration().Install(0);
  RunningService service(session.machine.devices);
  CHECK(service.IsInstalled() == 1);
  CHECK(service.IsActiveMeet() == 1);
  CHECK(service.Deactivate() == BaseObject::deactivateNotActive);
  CHECK(service.Activate() == BaseObject::activateDone);
  CHECK(service.Activate() == BaseObject::activateUpToDate);
  service.expected = 0;
  CHECK(service.IsActiveMeet() == 0);
  session.Changes();
  CHECK(service.Activate() == BaseObject::activateUpdated);
  CHECK(session.Changes() == "ControlService StartServiceW ");
  service.Start();
  CHECK(service.Deactivate() == BaseObject::deactivateDone);
  service.Stop();

  service.Start();
  session.behaviour.stop = winsim::DriverBehaviour::Stop::refuses;
  CHECK_THROWS_AS(service.Stop(), ServiceControl::Service::InvalidControlException);
  session.behaviour.stop = winsim::DriverBehaviour::Stop::staysPending;
  CHECK_THROWS_AS(service.Remove(1), BaseObject::UsageConflictException);
  CHECK(session.machine.files.Exists(ImagePath));
  session.Changes();
  CHECK(service.Remove(0) == BaseObject::removeDoneReboot);
  CHECK(session.Changes() == "DeleteService DeleteFileW MoveFileExW ");
  session.machine.devices.Unload(u"drv");
  session.machine.files.Remove(ImagePath);
}

TEST_CASE("a service is not asked to stop when there is nothing to remove") {
  DriverSession session;
  RunningService service(session.machine.devices);
  session.Changes();
  CHECK(service.Remove(1) == BaseObject::removeNotInstalled);
  CHECK(service.Uninstall(1) == BaseObject::uninstallNotInstalled);
  CHECK(session.Changes() == "");
  CHECK(service.Update(1) == BaseObject::updateNotInstalled);
}
