#include "drivermanagement/Driver.h"

#include <doctest/doctest.h>

#include <tuple>
#include <utility>

#include "drivermanagement/ActivationResults.h"
#include "drivermanagement/LegacyDriver.h"
#include "support/FailedCondition.h"
#include "support/TestHeap.h"

using namespace DriverManagement;

namespace {

// What scripted objects were asked, in order, each call followed by a blank.
struct CallLog {
  std::string text;
  void Add(const std::string& call) { text += call + " "; }
  std::string Take() { return std::exchange(text, std::string()); }
};

// A managed object that answers as the test says and logs what changes something.
struct ScriptedObject : BaseObject {
  CallLog& log;
  const std::string name;
  ActivateResult activates = activateDone;
  DeactivateResult deactivates = deactivateDone;
  unsigned int installed = 1, upToDate = 1;
  InstallResult installs = installDone;
  RemoveResult removes = removeDone;

  ScriptedObject(CallLog& its, std::string called) : log(its), name(called) {}
  ActivateResult Activate() override { return log.Add(name + ".Activate"), activates; }
  DeactivateResult Deactivate() override { return log.Add(name + ".Deactivate"), deactivates; }
  unsigned int IsInstalled() override { return installed; }
  unsigned int IsInstalledUpToDate() override { return upToDate; }
  InstallResult Install(unsigned int flags) override { return Log("Install", flags), installs; }
  RemoveResult Remove(unsigned int flags) override { return Log("Remove", flags), removes; }
  void Log(const char* call, unsigned int flags) {
    log.Add(name + "." + call + "(" + std::to_string(flags) + ")");
  }
};

struct ScriptedLifeTime : BaseLifeTime {
  CallLog& log;
  unsigned int attached = 1, purges = 1, expired = 1;
  bool hasRecord = true;

  explicit ScriptedLifeTime(CallLog& its) : log(its) {}
  unsigned int IsAttached() override { return Log("IsAttached"), attached; }
  void Attach(unsigned int automatic) override { Log("Attach(" + std::to_string(automatic) + ")"); }
  void Detach() override { Log("Detach"); }
  unsigned int Purge() override { return Log("Purge"), purges; }
  unsigned int IsExpired() override { return Log("IsExpired"), expired; }
  void Log(const std::string& call) {
    log.Add("life." + call);
    if (!hasRecord) throw ObjectNotFoundException(L_HERE);
  }
};

// A driver of either kind whose instance is what the test says.
struct Instance {
  unsigned int active = 0, expected = 0, starts = 1, stops = 1;
};
template <class Base>
struct DriverOver : Base {
  CallLog& log;
  Instance instance;

  template <class... Args>
  explicit DriverOver(CallLog& its, Args&&... args) : Base(args...), log(its) {}
  BaseIndependedComplexObject& Components() { return *this->m_components; }
  unsigned int IsActive() override { return instance.active; }
  unsigned int IsActiveUpToDate() override { return instance.expected; }
  unsigned int Start() override { return log.Add("Start"), instance.starts; }
  unsigned int Stop() override { return log.Add("Stop"), instance.stops; }
};
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
        CHECK_THROWS_AS(InstallAndActivate(object, components, 7, here), LMessageException);
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
      unsigned int result = 9;
      const auto remove = [&](unsigned int flags) {
        result = DeactivateAndRemove(object, components, flags, here);
      };
      CHECK(FailedCondition([&] { remove(0); }) == (removed == 3 ? "Unreachable point" : "nothing"));
      if (removed != 3) CHECK(result == removed);
      CHECK(log.Take() == "parts.Remove(0) ");
      const bool known = removed != 3 && deactivated != 3;
      CHECK(FailedCondition([&] { remove(7); }) == (known ? "nothing" : "Unreachable point"));
      if (known) CHECK(result == removal[deactivated][removed]);
      if (known) CHECK(log.Take() == "object.Deactivate parts.Remove(7) ");
      log.Take();
    }
  }
}

TEST_CASE("a driver starts, restarts and stops what its state calls for") {
  TestHeap heap;
  CallLog log;
  DriverOver<BaseDriver> driver(log);
  const auto parts = LMakeRef<ScriptedObject>(log, "parts");
  driver.Components().Add(parts);

  const auto check = [&](Instance instance, BaseObject::ActivateResult activates, std::string activation,
                         BaseObject::DeactivateResult deactivates) {
    driver.instance = instance;
    CHECK(driver.IsActiveMeet() == (instance.active == instance.expected));
    CHECK(driver.Activate() == activates);
    CHECK(log.Take() == activation);
    CHECK(driver.Deactivate() == deactivates);
    CHECK(log.Take() == (instance.active ? "Stop " : ""));
    for (unsigned int present = 0; present <= 1; ++present) {
      parts->installed = parts->upToDate = present;
      CHECK(driver.IsInstalled() == (present | instance.active));
      CHECK(driver.IsInstalledUpToDate() == (present & instance.expected));
    }
  };
  check({0, 0, 1, 1}, BaseObject::activateDone, "Start ", BaseObject::deactivateNotActive);
  check({0, 0, 0, 1}, BaseObject::activateDoneReboot, "Start ", BaseObject::deactivateNotActive);
  check({1, 0, 1, 1}, BaseObject::activateUpdated, "Stop Start ", BaseObject::deactivateDone);
  check({1, 0, 1, 0}, BaseObject::activateUpdatedReboot, "Stop ", BaseObject::deactivateDoneReboot);
  check({1, 0, 0, 1}, BaseObject::activateUpdatedReboot, "Stop Start ", BaseObject::deactivateDone);
  check({1, 1, 1, 1}, BaseObject::activateUpToDate, "", BaseObject::deactivateDone);
  CHECK(FailedCondition([&] { driver.Update(1); }) == "Unreachable point");
}

TEST_CASE("a legacy driver goes from its last component to its first once nobody needs it") {
  LegacyFixture fixture;
  LegacyDriver& driver = *fixture.driver;
  driver.instance.active = 1;
  const std::string removal = "Stop entry.Remove(1) file.Remove(1) ";
  CHECK(driver.Purge(1) == BaseObject::purgeDone);
  CHECK(fixture.log.Take() == "life.Purge " + removal);
  CHECK(driver.Purge(0) == BaseObject::purgeDone);
  CHECK(fixture.log.Take() == "life.Purge entry.Remove(0) file.Remove(0) ");
  driver.instance.stops = 0;
  CHECK(driver.Purge(1) == BaseObject::purgeDoneReboot);
  CHECK(driver.Uninstall(1) == BaseObject::uninstallDoneReboot);
  CHECK(fixture.log.Take() == "life.Purge " + removal + "life.Detach life.Purge " + removal);

  fixture.lifeTime->purges = 0;
  CHECK(driver.Uninstall(1) == BaseObject::uninstallStillNeeded);
  driver.Touch();
  CHECK(fixture.log.Take() == "life.Detach life.Purge life.Attach(0) ");

  fixture.lifeTime->hasRecord = false;  // nobody has a claim
  CHECK(driver.Uninstall(1) == BaseObject::uninstallDoneReboot);
  driver.instance.active = 0;
  fixture.module->removes = fixture.registration->removes = BaseObject::removeNotInstalled;
  CHECK(driver.Purge(1) == BaseObject::purgeNotInstalled);
  CHECK(driver.Uninstall(1) == BaseObject::uninstallNotInstalled);
  CHECK_THROWS_AS(driver.Touch(), BaseLifeTime::ObjectNotFoundException);
  CHECK_THROWS_AS(driver.Install(0), BaseLifeTime::ObjectNotFoundException);
}

TEST_CASE(
    "installing a legacy driver attaches its client and asks for removal only if it put the driver there") {
  LegacyFixture fixture;
  const std::tuple<BaseObject::InstallResult, unsigned int, BaseObject::InstallResult, unsigned int> cases[] =
      {{BaseObject::installDone, 1, BaseObject::installDone, 1},
       {BaseObject::installDone, 0, BaseObject::installDoneReboot, 1},
       {BaseObject::installUpdated, 1, BaseObject::installUpdated, 0},
       {BaseObject::installUpToDate, 1, BaseObject::installUpdated, 0}};
  for (const auto& [installs, starts, result, automatic] : cases) {
    fixture.module->installs = fixture.registration->installs = installs;
    fixture.driver->instance.starts = starts;
    CHECK(fixture.driver->Install(1) == result);
    CHECK(fixture.log.Take() ==
          "file.Install(1) entry.Install(1) Start life.Attach(" + std::to_string(automatic) + ") ");
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
