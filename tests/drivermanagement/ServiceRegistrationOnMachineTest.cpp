#include "drivermanagement/ServiceRegistration.h"

#include <doctest/doctest.h>

#include "RegistryTextOnMachine.h"
#include "drivermanagement/LegacyDriverRegistration.h"
#include "support/SystemSession.h"
#include "system/RegistryKey.h"
#include "system/ServiceControl.h"

using namespace DriverManagement;
using LCommon::System::RegistryKey;
using LCommon::System::ServiceControl::Manager;
using LCommon::System::ServiceControl::Service;

namespace {

constexpr const char16_t* KeyPath = u"System\\CurrentControlSet\\Services\\drv";
constexpr const wchar_t* DriverImage = L"system32\\drivers\\drv.sys";

LUnicodeStringArray Names(std::initializer_list<const wchar_t*> names) {
  LUnicodeStringArray array;
  for (const wchar_t* const name : names)
    array.Append(name);
  return array;
}

struct Entry {
  LUnicodeString displayName = L"A driver", description = L"";
  unsigned int type = SERVICE_KERNEL_DRIVER, start = SERVICE_BOOT_START;
  LUnicodeString image = DriverImage, group = L"";
  LUnicodeStringArray dependencies = {};
  LUnicodeString account = L"";
};

LPtrRef<BaseServiceRegistration> Registration(const Entry& entry) {
  return LMakeRef<BaseServiceRegistration>(L"drv", entry.displayName, entry.description, entry.type,
                                           entry.start, static_cast<unsigned int>(SERVICE_ERROR_NORMAL),
                                           entry.image, entry.group, entry.dependencies, entry.account, L"");
}

Entry FullEntry() {
  return {.description = L"What it does",
          .start = SERVICE_SYSTEM_START,
          .group = L"System Bus Extender",
          .dependencies = Names({L"first", L"second"})};
}

Entry Win32Entry() {
  return {.type = SERVICE_WIN32_OWN_PROCESS,
          .start = SERVICE_AUTO_START,
          .image = L"%SystemRoot%\\system32\\drv.exe svc",
          .account = L"LocalSystem"};
}

}  // namespace

TEST_CASE("installing creates the entry with everything that it should have") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  const auto registration = Registration(FullEntry());
  CHECK(registration->Install(1) == BaseObject::installDone);
  CHECK(RegistryText(registry, KeyPath) ==
        "DependOnService=type7:\"first\"\"second\" Description=\"What it does\" DisplayName=\"A driver\" "
        "ErrorControl=1 Group=\"System Bus Extender\" ImagePath=type2:\"system32\\drivers\\drv.sys\" Start=1 "
        "Type=1");
  CHECK(registration->Purge(1) == BaseObject::purgeDone);
  CHECK(RegistryText(registry, KeyPath) == "none");
  CHECK(registration->Uninstall(1) == BaseObject::uninstallNotInstalled);
}

TEST_CASE("an entry that differs in what the registration fixes is reconfigured") {
  const auto set = [](const char16_t* name, const char16_t* text, std::uint32_t type) {
    return [=](winsim::Registry& registry) { registry.SetString(KeyPath, name, text, type); };
  };
  const auto setNumber = [](const char16_t* name, std::uint32_t number) {
    return [=](winsim::Registry& registry) { registry.SetNumber(KeyPath, name, number); };
  };
  const auto check = [](const char* title, bool matches, Entry (*entry)(), auto change) {
    CAPTURE(title);
    SystemSession session;
    winsim::Registry& registry = session.Machine().registry;
    const auto registration = Registration(entry());
    registration->Install(0);
    const std::string installed = RegistryText(registry, KeyPath);
    change(registry);
    const std::string changed = RegistryText(registry, KeyPath);
    CHECK(registration->IsInstalledUpToDate() == matches);
    CHECK(registration->Install(1) == (matches ? BaseObject::installUpToDate : BaseObject::installUpdated));
    CHECK(RegistryText(registry, KeyPath) == (matches ? changed : installed));
  };
  const auto withoutGroup = [](winsim::Registry& registry) {
    registry.Find(KeyPath)->values.erase(u"Group");
  };
  check("start type", false, FullEntry, setNumber(u"Start", 3));
  check("error control", false, FullEntry, setNumber(u"ErrorControl", 0));
  check("service type", false, FullEntry, setNumber(u"Type", 2));
  check("letter case of the group", false, FullEntry, set(u"Group", u"System bus extender", 1));
  check("no group", false, FullEntry, withoutGroup);
  check("display name", true, FullEntry, set(u"DisplayName", u"Another name", 1));
  check("description", true, FullEntry, set(u"Description", u"Other words", 1));
  check("another image", false, FullEntry, set(u"ImagePath", u"system32\\drivers\\other.sys", 2));
  check("account in other letters", true, Win32Entry, set(u"ObjectName", u"LOCALSYSTEM", 1));
  check("another account", false, Win32Entry, set(u"ObjectName", u".\\somebody", 1));
  check("the expanded image", true, Win32Entry, set(u"ImagePath", u"C:\\WINDOWS\\system32\\drv.exe svc", 2));
  check("no argument", false, Win32Entry, set(u"ImagePath", u"C:\\Windows\\system32\\drv.exe", 2));
}

TEST_CASE("what a registration leaves open accepts and keeps what is configured") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  Registration(FullEntry())->Install(0);
  const std::string installed = RegistryText(registry, KeyPath);
  const auto open = Registration({.displayName = L"", .start = SERVICE_SYSTEM_START, .image = L""});
  CHECK(open->Install(1) == BaseObject::installUpToDate);
  registry.SetNumber(KeyPath, u"Start", 3);
  CHECK(open->Install(1) == BaseObject::installUpdated);
  CHECK(RegistryText(registry, KeyPath) == installed);
}

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

TEST_CASE("the spellings of a driver's image path that mean the same file match") {
  SystemSession session;
  const auto registration = Registration({.image = L"\\SystemRoot\\System32\\DRIVERS\\drv.sys"});
  registration->Install(0);
  const auto matches = [&](const char16_t* configured) {
    session.Machine().registry.SetString(KeyPath, u"ImagePath", configured, 2);
    return registration->IsInstalledUpToDate() == 1;
  };
  for (const char16_t* const same :
       {u"drv.sys", u"\\DRV.sys\\", u"drivers\\drv.sys", u"system32\\drivers\\drv.sys",
        u"\\SystemRoot\\system32\\drivers\\drv.sys", u"SystemRoot/System32//Drivers/drv.sys"}) {
    CHECK_MESSAGE(matches(same), winsim::ToUtf8(same));
  }
  for (const char16_t* const other :
       {u"%SystemRoot%\\system32\\drivers\\drv.sys", u"\\??\\C:\\Windows\\system32\\drivers\\drv.sys",
        u"system32\\drv.sys", u"drivers\\system32\\drv.sys", u"system\\system32\\drivers\\drv.sys",
        u"\\SystemRoot\\system32\\drivers\\drv.sys\\more", u"other.sys", u""}) {
    CHECK_FALSE_MESSAGE(matches(other), winsim::ToUtf8(other));
  }
}

TEST_CASE("an entry marked for deletion blocks installing until the restart") {
  SystemSession session;
  const auto registration = Registration({});
  registration->Install(0);
  const auto held = Service::Open(Manager::Open(SC_MANAGER_CONNECT), L"drv", SERVICE_QUERY_CONFIG);
  CHECK(registration->Remove(1) == BaseObject::removeDone);
  CHECK(registration->Purge(1) == BaseObject::purgeDoneReboot);
  CHECK(registration->IsInstalled() == 1);
  try {
    registration->Install(1);
    FAIL("installed over an entry marked for deletion");
  } catch (const BaseObject::NeedRebootImmediatelyException& exception) {
    CHECK(exception.Line() == 287);
    CHECK(std::string(exception.Function()) ==
          "enum DriverManagement::BaseObject::InstallResult __cdecl "
          "DriverManagement::BaseServiceRegistration::Install(unsigned int)");
  }
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
  const std::string entry = RegistryText(session.Machine().registry, KeyPath);
  CHECK(entry.find("WOW64") == std::string::npos);
  CHECK(entry.find("Description") == std::string::npos);
  CHECK(session.Trace("RegDeleteValueW").size() == 1);
  Registration(FullEntry())->Remove(0);

  gate.FailFunction("RegDeleteValueW", 5);
  CHECK_THROWS_AS(Registration(FullEntry())->Install(1), RegistryKey::AccessDeniedException);
}

TEST_CASE("a legacy driver's device node goes with its entry") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  const auto registration = LMakeRef<BaseLegacyDriverRegistration>(
      L"drv", L"A driver", L"", static_cast<unsigned int>(SERVICE_BOOT_START),
      static_cast<unsigned int>(SERVICE_ERROR_NORMAL), DriverImage, L"", LUnicodeStringArray());
  CHECK(registration->Install(1) == BaseObject::installDone);
  machine.deviceNodes.AddLegacy(u"drv");
  machine.gate.FailFunction("SetupDiCallClassInstaller", 5);
  CHECK(registration->Remove(1) == BaseObject::removeDone);
  CHECK(RegistryText(machine.registry, KeyPath) == "none");
  CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 1);
  CHECK(registration->Remove(1) == BaseObject::removeNotInstalled);
  CHECK(machine.deviceNodes.Instances(std::nullopt).empty());
}
