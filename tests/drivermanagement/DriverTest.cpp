#include "drivermanagement/Driver.h"

#include <doctest/doctest.h>

#include "ScriptedObject.h"
#include "drivermanagement/ActivationResults.h"
#include "support/TestHeap.h"
#include "support/Throws.h"

using namespace DriverManagement;

namespace {

// A driver whose instance is what the test says.
struct Instance {
  unsigned int active, expected, starts, stops;
};
struct ScriptedDriver : BaseDriver {
  Instance instance = {};

  BaseIndependedComplexObject& Components() { return *m_components; }
  unsigned int IsActive() override { return instance.active; }
  unsigned int IsActiveUpToDate() override { return instance.expected; }
  unsigned int Start() override { return g_trace += "Start ", instance.starts; }
  unsigned int Stop() override { return g_trace += "Stop ", instance.stops; }
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
  TakeTrace();
  Member object('o'), components('p');
  const LLocation here = L_HERE;

  for (unsigned int installed = 0; installed <= 5; ++installed) {
    for (unsigned int activated = 0; activated <= 5; ++activated) {
      CAPTURE(installed);
      CAPTURE(activated);
      components.answer = installed;
      object.answer = activated;
      CHECK(InstallAndActivate(object, components, 0, here) == installed);
      CHECK(TakeTrace() == "p:Install(0) ");
      if (installed == 5 || (activated == 5 && installed % 2 == 0)) {
        CHECK_THROWS_AS(InstallAndActivate(object, components, 7, here), LMessageException);
        TakeTrace();
        continue;
      }
      const bool restartFirst = installed == 1 || installed == 3;
      CHECK(InstallAndActivate(object, components, 7, here) ==
            (restartFirst ? installed : ExpectedInstall(installed, activated)));
      CHECK(TakeTrace() == (restartFirst ? "p:Install(7) " : "p:Install(7) o:Activate "));
    }
  }

  constexpr unsigned int removal[3][3] = {{0, 1, 0}, {1, 1, 1}, {0, 1, 2}};  // by deactivation, then by parts
  for (unsigned int deactivated = 0; deactivated <= 3; ++deactivated) {
    for (unsigned int removed = 0; removed <= 3; ++removed) {
      CAPTURE(deactivated);
      CAPTURE(removed);
      object.answer = deactivated;
      components.answer = removed;
      unsigned int result = 9;
      const auto remove = [&](unsigned int flags) {
        result = DeactivateAndRemove(object, components, flags, here);
      };
      CHECK(Thrown([&] { remove(0); }) == (removed == 3 ? "Unreachable point" : "nothing"));
      if (removed != 3) CHECK(result == removed);
      CHECK(TakeTrace() == "p:Remove(0) ");
      const bool known = removed != 3 && deactivated != 3;
      CHECK(Thrown([&] { remove(7); }) == (known ? "nothing" : "Unreachable point"));
      if (known) CHECK(result == removal[deactivated][removed]);
      if (known) CHECK(TakeTrace() == "o:Deactivate p:Remove(7) ");
      TakeTrace();
    }
  }
}

TEST_CASE("a driver starts, restarts and stops what its state calls for") {
  TestHeap heap;
  ScriptedDriver driver;
  const auto parts = LMakeRef<Member>('p');
  driver.Components().Add(parts);

  const auto check = [&](Instance instance, BaseObject::ActivateResult activates, std::string activation,
                         BaseObject::DeactivateResult deactivates) {
    driver.instance = instance;
    CHECK(driver.IsActiveMeet() == (instance.active == instance.expected));
    TakeTrace();
    CHECK(driver.Activate() == activates);
    CHECK(TakeTrace() == activation);
    CHECK(driver.Deactivate() == deactivates);
    CHECK(TakeTrace() == (instance.active ? "Stop " : ""));
    for (unsigned int present = 0; present <= 1; ++present) {
      parts->answer = present;
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
