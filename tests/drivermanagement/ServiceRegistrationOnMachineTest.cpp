#include "drivermanagement/ServiceRegistration.h"

#include <doctest/doctest.h>

#include "LegacyDevices.h"
#include "ServiceEntry.h"
#include "drivermanagement/LegacyDriverRegistration.h"
#include "support/SystemSession.h"
#include "system/ServiceControl.h"

using namespace DriverManagement;
using LCommon::System::RegistryKey;
using LCommon::System::ServiceControl::Manager;
using LCommon::System::ServiceControl::Service;

TEST_CASE("dependencies match in order and number, unless none are expected") {
  using List = std::initializer_list<const wchar_t*>;
  const auto matches = [](List expected, List configured) {
    SystemSession session;
    Registration({.dependencies = Names(configured)})->Install(0);
    return Registration({.dependencies = Names(expected)})->IsInstalledUpToDate() == 1;
  };
  CHECK(matches({L"a", L"b"}, {L"A", L"B"}));
  CHECK(matches({}, {L"a", L"b"}));
  for (const List configured : {List{L"b", L"a"}, List{L"a"}, List{}, List{L"a", L"b", L"c"}})
    CHECK_FALSE(matches({L"a", L"b"}, configured));
}

TEST_CASE("where the service control manager denies access the registry tells whether the entry exists") {
  SystemSession session;
  winsim::Gate& gate = session.Machine().gate;
  const auto registration = Registration({});
  for (const unsigned int present : {0u, 1u}) {
    for (const char* const denied : {"OpenSCManagerW", "OpenServiceW"}) {
      gate.FailFunction(denied, 5, 3);
      CHECK(registration->IsInstalled() == present);
      CHECK(registration->IsInstalledUpToDate() == present);
      gate.Restore();
    }
    registration->Install(0);
  }
  gate.FailFunction("OpenSCManagerW", 5);
  CHECK_THROWS_AS(registration->Remove(1), Manager::AccessDeniedException);
  gate.FailFunction("QueryServiceConfigW", 5);
  CHECK_THROWS_AS(registration->IsInstalledUpToDate(), Service::AccessDeniedException);
}

TEST_CASE(
    "a new entry loses the mark of 32-bit programs, and a system without descriptions is none the worse") {
  winsim::Settings settings = winsim::Settings::Windows10Wow64();
  settings.missingFunctions.insert("ChangeServiceConfig2W");
  SystemSession session(settings);
  winsim::Gate& gate = session.Machine().gate;
  CHECK(Registration(FullEntry())->Install(1) == BaseObject::installDone);
  CHECK(ValueText(L"System\\CurrentControlSet\\Services\\kvtest", L"WOW64") == "none");
  CHECK(EntryText().find("Description=none") != std::string::npos);
  CHECK(session.Trace("RegDeleteValueW").size() == 1);
  Registration(FullEntry())->Remove(0);

  gate.FailFunction("RegDeleteValueW", 5);
  CHECK_THROWS_AS(Registration(FullEntry())->Install(1), RegistryKey::AccessDeniedException);
}

TEST_CASE(
    "an entry goes even when its driver's device node does not, which goes when it is asked for again") {
  SystemSession session;
  const LegacyDevices devices;
  const auto registration = LMakeRef<BaseLegacyDriverRegistration>(
      L"kvtest", L"KV test", L"", static_cast<unsigned int>(SERVICE_BOOT_START),
      static_cast<unsigned int>(SERVICE_ERROR_NORMAL), L"system32\\drivers\\kvtest.sys", L"",
      LUnicodeStringArray());
  CHECK(registration->Install(1) == BaseObject::installDone);
  AddLegacyDevice(L"KVTEST", L"0000");
  session.Machine().gate.FailFunction("SetupDiCallClassInstaller", 5);
  CHECK(registration->Remove(1) == BaseObject::removeDone);
  CHECK(EntryText() == "none");
  CHECK(devices.Counts() == "0 before, 1 of the test, 0 after");
  CHECK(registration->Remove(1) == BaseObject::removeNotInstalled);
  CHECK(devices.Counts() == "0 before, 0 of the test, 0 after");
}
