#include "drivermanagement/Driver.h"

#include <doctest/doctest.h>

#include <utility>

#include "drivermanagement/ActivationResults.h"
#include "support/TestHeap.h"
#include "support/Throws.h"

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

// A driver whose instance is what the test says.
struct Instance {
  unsigned int active, expected, starts, stops;
};
struct ScriptedDriver : BaseDriver {
  CallLog& log;
  Instance instance = {};

  explicit ScriptedDriver(CallLog& its) : log(its) {}
  BaseIndependedComplexObject& Components() { return *m_components; }
  unsigned int IsActive() override { return instance.active; }
  unsigned int IsActiveUpToDate() override { return instance.expected; }
  unsigned int Start() override { return log.Add("Start"), instance.starts; }
  unsigned int Stop() override { return log.Add("Stop"), instance.stops; }
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
      CHECK(Thrown([&] { remove(0); }) == (removed == 3 ? "Unreachable point" : "nothing"));
      if (removed != 3) CHECK(result == removed);
      CHECK(log.Take() == "parts.Remove(0) ");
      const bool known = removed != 3 && deactivated != 3;
      CHECK(Thrown([&] { remove(7); }) == (known ? "nothing" : "Unreachable point"));
      if (known) CHECK(result == removal[deactivated][removed]);
      if (known) CHECK(log.Take() == "object.Deactivate parts.Remove(7) ");
      log.Take();
    }
  }
}

TEST_CASE("a driver starts, restarts and stops what its state calls for") {
  TestHeap heap;
  CallLog log;
  ScriptedDriver driver(log);
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
  CHECK(Thrown([&] { driver.Update(1); }) == "Unreachable point");
}
