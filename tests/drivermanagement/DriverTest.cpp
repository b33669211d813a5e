#include "drivermanagement/Driver.h"

#include <doctest/doctest.h>

#include "Scripted.h"
#include "drivermanagement/ActivationResults.h"
#include "drivermanagement/LegacyDriver.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"

using namespace DriverManagement;

namespace {

// The state of a scripted driver's instance, shared by the two kinds of drivers.
struct Instance {
  unsigned int active = 0;
  unsigned int expected = 0;
  unsigned int starts = 1;
  unsigned int stops = 1;
  bool stopPending = false;
};

template <class Base>
class DriverOver : public Base {
 public:
  template <class... Args>
  explicit DriverOver(CallLog& log, Args&&... args) : Base(args...), m_log(log) {}

  Instance instance;
  BaseIndependedComplexObject& Components() { return *this->m_components; }

  unsigned int IsActive() override { return instance.active; }
  unsigned int IsActiveUpToDate() override { return instance.expected; }
  unsigned int Start() override { return m_log.Add("Start"), instance.starts; }
  unsigned int Stop() override {
    m_log.Add("Stop");
    if (instance.stopPending) throw BaseObject::UsageConflictException(L_HERE);
    return instance.stops;
  }

 private:
  CallLog& m_log;
};
using PlainDriver = DriverOver<BaseDriver>;
using LegacyDriver = DriverOver<BaseLegacyDriver>;

struct LegacyFixture {
  TestHeap heap;
  CallLog log;
  LPtrRef<ScriptedObject> module = LMakeRef<ScriptedObject>(log, "file");
  LPtrRef<ScriptedObject> registration = LMakeRef<ScriptedObject>(log, "entry");
  LPtrRef<ScriptedLifeTime> lifeTime = LMakeRef<ScriptedLifeTime>(log);
  LPtrRef<LegacyDriver> driver = LMakeRef<LegacyDriver>(log, L"drv", lifeTime, module, registration);
};

// A start that has to wait gives the reboot form, any activation work makes an up-to-date object updated.
unsigned int ExpectedInstall(unsigned int installed, unsigned int activated) {
  if (installed == 4 && activated == 4) return 4;
  const bool anew = installed == 0 && activated <= 1;
  const bool reboot = activated == 1 || activated == 3;
  return (anew ? 0 : 2) + (reboot ? 1 : 0);
}

}  // namespace

TEST_CASE("installing activates afterwards and removing deactivates before, with combined results") {
  CallLog log;
  ScriptedObject object(log, "object");
  ScriptedObject components(log, "parts");
  const LLocation here = L_HERE;

  for (unsigned int installed = 0; installed <= 5; ++installed) {
    for (unsigned int activated = 0; activated <= 5; ++activated) {
      CAPTURE(installed);
      CAPTURE(activated);
      components.installs = static_cast<BaseObject::InstallResult>(installed);
      object.activates = static_cast<BaseObject::ActivateResult>(activated);
      CHECK(InstallAndActivate(object, components, 0, here) == installed);
      CHECK(log.Take() == "parts.Install(0) ");
      if (installed == 5 || (activated == 5 && installed % 2 == 0)) {
        CHECK(FailedCondition([&] { InstallAndActivate(object, components, 7, here); }) ==
              "Unreachable point");
        log.Take();
        continue;
      }
      const bool restartFirst = installed == 1 || installed == 3;
      CHECK(InstallAndActivate(object, components, 7, here) ==
            (restartFirst ? installed : ExpectedInstall(installed, activated)));
      CHECK(log.Take() == (restartFirst ? "parts.Install(7) " : "parts.Install(7) object.Activate "));
    }
  }

  constexpr unsigned int removal[3][3] = {{0, 1, 0}, {1, 1, 1}, {0, 1, 2}};  // by deactivation, then by parts
  for (unsigned int deactivated = 0; deactivated <= 3; ++deactivated) {
    for (unsigned int removed = 0; removed <= 3; ++removed) {
      CAPTURE(deactivated);
      CAPTURE(removed);
      object.deactivates = static_cast<BaseObject::DeactivateResult>(deactivated);
      components.removes = static_cast<BaseObject::RemoveResult>(removed);
      const auto remove = [&](unsigned int flags) {
        return DeactivateAndRemove(object, components, flags, here);
      };
      if (removed == 3) {
        CHECK(FailedCondition([&] { remove(0); }) == "Unreachable point");
      } else {
        CHECK(remove(0) == removed);
      }
      CHECK(log.Take() == "parts.Remove(0) ");
      if (removed == 3 || deactivated == 3) {
        CHECK(FailedCondition([&] { remove(7); }) == "Unreachable point");
        log.Take();
      } else {
        CHECK(remove(7) == removal[deactivated][removed]);
        CHECK(log.Take() == "object.Deactivate parts.Remove(7) ");
      }
    }
  }
}

TEST_CASE("a driver starts, restarts and stops what its state calls for") {
  TestHeap heap;
  CallLog log;
  PlainDriver driver(log);
  const auto parts = LMakeRef<ScriptedObject>(log, "parts");
  driver.Components().Add(parts);

  const struct {
    Instance instance;
    unsigned int meets;
    BaseObject::ActivateResult activates;
    const char* activation;
    BaseObject::DeactivateResult deactivates;
    const char* deactivation;
  } cases[] = {
      {{0, 0, 1, 1}, 1, BaseObject::activateDone, "Start ", BaseObject::deactivateNotActive, ""},
      {{0, 0, 0, 1}, 1, BaseObject::activateDoneReboot, "Start ", BaseObject::deactivateNotActive, ""},
      {{1, 0, 1, 1}, 0, BaseObject::activateUpdated, "Stop Start ", BaseObject::deactivateDone, "Stop "},
      {{1, 0, 1, 0},
       0,
       BaseObject::activateUpdatedReboot,
       "Stop ",
       BaseObject::deactivateDoneReboot,
       "Stop "},
      {{1, 0, 0, 1},
       0,
       BaseObject::activateUpdatedReboot,
       "Stop Start ",
       BaseObject::deactivateDone,
       "Stop "},
      {{1, 1, 1, 1}, 1, BaseObject::activateUpToDate, "", BaseObject::deactivateDone, "Stop "},
  };
  for (const auto& item : cases) {
    driver.instance = item.instance;
    CHECK(driver.IsActiveMeet() == item.meets);
    CHECK(driver.Activate() == item.activates);
    CHECK(log.Take() == item.activation);
    CHECK(driver.Deactivate() == item.deactivates);
    CHECK(log.Take() == item.deactivation);
    for (unsigned int present = 0; present <= 1; ++present) {
      parts->installed = present;
      parts->upToDate = present;
      CHECK(driver.IsInstalled() == (present | item.instance.active));
      CHECK(driver.IsInstalledUpToDate() == (present & item.instance.expected));
    }
  }
  CHECK(FailedCondition([&] { driver.Update(1); }) == "Unreachable point");
}

TEST_CASE("a legacy driver that its lifetime keeps is not touched") {
  LegacyFixture fixture;
  fixture.driver->instance.active = 1;
  fixture.lifeTime->purges = 0;
  CHECK(fixture.driver->Purge(1) == BaseObject::purgeStillNeeded);
  CHECK(fixture.log.Take() == "life.Purge ");
  CHECK(fixture.driver->Uninstall(1) == BaseObject::uninstallStillNeeded);
  CHECK(fixture.log.Take() == "life.Detach life.Purge ");
  fixture.driver->Touch();
  CHECK(fixture.log.Take() == "life.Attach(0) ");
}

TEST_CASE("a legacy driver goes from its last component to its first once nobody needs it") {
  LegacyFixture fixture;
  fixture.driver->instance.active = 1;
  const std::string removal = "Stop entry.Remove(1) file.Remove(1) ";

  SUBCASE("stopped and removed") {
    CHECK(fixture.driver->Purge(1) == BaseObject::purgeDone);
    CHECK(fixture.log.Take() == "life.Purge " + removal);
    CHECK(fixture.driver->Purge(0) == BaseObject::purgeDone);
    CHECK(fixture.log.Take() == "life.Purge entry.Remove(0) file.Remove(0) ");
  }
  SUBCASE("a driver that cannot be stopped goes with the restart") {
    fixture.driver->instance.stops = 0;
    CHECK(fixture.driver->Purge(1) == BaseObject::purgeDoneReboot);
    CHECK(fixture.driver->Uninstall(1) == BaseObject::uninstallDoneReboot);
    CHECK(fixture.log.Take() == "life.Purge " + removal + "life.Detach life.Purge " + removal);
  }
  SUBCASE("without a record nobody has a claim") {
    fixture.lifeTime->hasRecord = false;
    fixture.module->removes = BaseObject::removeDoneReboot;
    CHECK(fixture.driver->Uninstall(1) == BaseObject::uninstallDoneReboot);
    CHECK(fixture.log.Take() == "life.Detach life.Purge " + removal);
    fixture.driver->instance.active = 0;
    fixture.module->removes = fixture.registration->removes = BaseObject::removeNotInstalled;
    CHECK(fixture.driver->Purge(1) == BaseObject::purgeNotInstalled);
    CHECK(fixture.driver->Uninstall(1) == BaseObject::uninstallNotInstalled);
    CHECK_THROWS_AS(fixture.driver->Touch(), BaseLifeTime::ObjectNotFoundException);
    CHECK_THROWS_AS(fixture.driver->Install(0), BaseLifeTime::ObjectNotFoundException);
  }
  SUBCASE("a driver in use keeps all its components") {
    fixture.driver->instance.stopPending = true;
    CHECK_THROWS_AS(fixture.driver->Purge(1), BaseObject::UsageConflictException);
    CHECK(fixture.log.Take() == "life.Purge Stop ");
  }
}

TEST_CASE(
    "installing a legacy driver attaches its client and asks for removal only if it put the driver there") {
  LegacyFixture fixture;
  const struct {
    BaseObject::InstallResult installs;
    unsigned int starts;
    BaseObject::InstallResult result;
    const char* attach;
  } cases[] = {
      {BaseObject::installDone, 1, BaseObject::installDone, "life.Attach(1) "},
      {BaseObject::installDone, 0, BaseObject::installDoneReboot, "life.Attach(1) "},
      {BaseObject::installUpdated, 1, BaseObject::installUpdated, "life.Attach(0) "},
      {BaseObject::installUpdated, 0, BaseObject::installUpdatedReboot, "life.Attach(0) "},
      {BaseObject::installUpToDate, 1, BaseObject::installUpdated, "life.Attach(0) "},
  };
  for (const auto& item : cases) {
    fixture.module->installs = fixture.registration->installs = item.installs;
    fixture.driver->instance.starts = item.starts;
    CHECK(fixture.driver->Install(1) == item.result);
    CHECK(fixture.log.Take() == std::string("file.Install(1) entry.Install(1) Start ") + item.attach);
  }

  fixture.driver->instance.expected = 1;
  for (unsigned int attached = 0; attached <= 1; ++attached) {
    fixture.lifeTime->attached = attached;
    fixture.lifeTime->expired = attached;
    CHECK(fixture.driver->IsInstalledUpToDate() == attached);
    CHECK(fixture.driver->IsExpired() == attached);
    CHECK(fixture.log.Take() == "life.IsAttached life.IsExpired ");
  }
}
