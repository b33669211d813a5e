#include "drivermanagement/ServiceRegistration.h"

#include <doctest/doctest.h>

#include <functional>

#include "RegistryText.h"
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
  for (const wchar_t* const name : names) {
    array.Append(name);
  }
  return array;
}

struct Entry {
  LUnicodeString displayName = L"A driver";
  LUnicodeString description = L"";
  unsigned int type = SERVICE_KERNEL_DRIVER;
  unsigned int start = SERVICE_BOOT_START;
  unsigned int errorControl = SERVICE_ERROR_NORMAL;
  LUnicodeString image = DriverImage;
  LUnicodeString group = L"";
  LUnicodeStringArray dependencies = {};
  LUnicodeString account = L"";
};

LPtrRef<BaseServiceRegistration> Registration(const Entry& entry) {
  return LMakeRef<BaseServiceRegistration>(L"drv", entry.displayName, entry.description, entry.type,
                                           entry.start, entry.errorControl, entry.image, entry.group,
                                           entry.dependencies, entry.account, L"");
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

LPtrRef<Service> HoldEntry() {
  return Service::Open(Manager::Open(SC_MANAGER_CONNECT), L"drv", SERVICE_QUERY_CONFIG);
}

}  // namespace

TEST_CASE("installing creates the entry with everything that it should have") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  const auto registration = Registration(FullEntry());
  CHECK(registration->IsInstalled() == 0);
  CHECK(registration->Update(1) == BaseObject::updateNotInstalled);
  CHECK(registration->Install(1) == BaseObject::installDone);
  CHECK(RegistryText(registry, KeyPath) ==
        "DependOnService=type7:\"first\"\"second\" Description=\"What it does\" DisplayName=\"A driver\" "
        "ErrorControl=1 "
        "Group=\"System Bus Extender\" ImagePath=type2:\"system32\\drivers\\drv.sys\" Start=1 Type=1");
  CHECK(registration->IsInstalled() == 1);
  CHECK(registration->Install(1) == BaseObject::installUpToDate);
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
  const struct {
    std::string title;
    Entry (*entry)();
    std::function<void(winsim::Registry&)> change;
    bool matches;
  } cases[] = {
      {"start type", FullEntry, setNumber(u"Start", 3), false},
      {"error control", FullEntry, setNumber(u"ErrorControl", 0), false},
      {"service type", FullEntry, setNumber(u"Type", 2), false},
      {"letter case of the group", FullEntry, set(u"Group", u"System bus extender", 1), false},
      {"no group", FullEntry, [](winsim::Registry& r) { r.Find(KeyPath)->values.erase(u"Group"); }, false},
      {"display name", FullEntry, set(u"DisplayName", u"Another name", 1), true},
      {"description", FullEntry, set(u"Description", u"Other words", 1), true},
      {"another image", FullEntry, set(u"ImagePath", u"system32\\drivers\\other.sys", 2), false},
      {"account in other letters", Win32Entry, set(u"ObjectName", u"LOCALSYSTEM", 1), true},
      {"another account", Win32Entry, set(u"ObjectName", u".\\somebody", 1), false},
      {"the expanded image", Win32Entry, set(u"ImagePath", u"C:\\WINDOWS\\system32\\drv.exe svc", 2), true},
      {"an image without its argument", Win32Entry, set(u"ImagePath", u"C:\\Windows\\system32\\drv.exe", 2),
       false},
  };
  for (const auto& item : cases) {
    CAPTURE(item.title);
    SystemSession session;
    winsim::Registry& registry = session.Machine().registry;
    const auto registration = Registration(item.entry());
    registration->Install(0);
    const std::string installed = RegistryText(registry, KeyPath);
    item.change(registry);
    const std::string changed = RegistryText(registry, KeyPath);
    CHECK(registration->IsInstalledUpToDate() == item.matches);
    CHECK(registration->Install(1) ==
          (item.matches ? BaseObject::installUpToDate : BaseObject::installUpdated));
    CHECK(RegistryText(registry, KeyPath) == (item.matches ? changed : installed));
    CHECK(registration->Update(1) == BaseObject::updateUpToDate);
  }
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
  const struct {
    std::initializer_list<const wchar_t*> expected;
    std::initializer_list<const wchar_t*> configured;
    unsigned int matches;
  } cases[] = {
      {{L"a", L"b"}, {L"a", L"b"}, 1}, {{L"a", L"b"}, {L"A", L"B"}, 1}, {{L"a", L"b"}, {L"b", L"a"}, 0},
      {{L"a", L"b"}, {L"a"}, 0},       {{L"a"}, {L"a", L"b"}, 0},       {{L"a"}, {}, 0},
      {{}, {L"a", L"b"}, 1},
  };
  for (const auto& item : cases) {
    SystemSession session;
    Registration({.dependencies = Names(item.configured)})->Install(0);
    CHECK(Registration({.dependencies = Names(item.expected)})->IsInstalledUpToDate() == item.matches);
  }
}

TEST_CASE("the spellings of a driver's image path that mean the same file match") {
  SystemSession session;
  const auto registration = Registration({.image = L"\\SystemRoot\\System32\\DRIVERS\\drv.sys"});
  registration->Install(0);
  const struct {
    const char16_t* configured;
    unsigned int matches;
  } cases[] = {
      {u"drv.sys", 1},
      {u"\\DRV.sys\\", 1},
      {u"drivers\\drv.sys", 1},
      {u"system32\\drivers\\drv.sys", 1},
      {u"\\SystemRoot\\system32\\drivers\\drv.sys", 1},
      {u"SystemRoot/System32//Drivers/drv.sys", 1},
      {u"%SystemRoot%\\system32\\drivers\\drv.sys", 0},
      {u"\\??\\C:\\Windows\\system32\\drivers\\drv.sys", 0},
      {u"system32\\drv.sys", 0},
      {u"drivers\\system32\\drv.sys", 0},
      {u"system\\system32\\drivers\\drv.sys", 0},
      {u"\\SystemRoot\\system32\\drivers\\drv.sys\\more", 0},
      {u"other.sys", 0},
      {u"", 0},
  };
  for (const auto& item : cases) {
    CAPTURE(winsim::ToUtf8(item.configured));
    session.Machine().registry.SetString(KeyPath, u"ImagePath", item.configured, 2);
    CHECK(registration->IsInstalledUpToDate() == item.matches);
  }
}

TEST_CASE("an entry marked for deletion blocks installing until the restart") {
  SystemSession session;
  const auto registration = Registration({});
  registration->Install(0);
  const auto held = HoldEntry();
  CHECK(registration->Remove(1) == BaseObject::removeDone);
  CHECK(registration->Remove(1) == BaseObject::removeDoneReboot);
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
  for (const bool present : {false, true}) {
    for (const char* const denied : {"OpenSCManagerW", "OpenServiceW"}) {
      SystemSession session;
      const auto registration = Registration({});
      if (present) registration->Install(0);
      session.Machine().gate.FailFunction(denied, 5, 3);
      CHECK(registration->IsInstalled() == present);
      CHECK(registration->IsInstalledUpToDate() == present);
    }
  }
  SystemSession session;
  const auto registration = Registration({});
  session.Machine().gate.FailFunction("OpenSCManagerW", 5, 6);
  CHECK_THROWS_AS(registration->Remove(1), Manager::AccessDeniedException);
  CHECK_THROWS_AS(registration->Install(1), Manager::AccessDeniedException);
  session.Machine().gate.Restore();
  registration->Install(1);
  session.Machine().gate.FailFunction("QueryServiceConfigW", 5);
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
  machine.deviceNodes.AddLegacy(u"other");
  CHECK(registration->Remove(1) == BaseObject::removeDone);
  CHECK(machine.deviceNodes.Instances(std::nullopt) ==
        std::vector<std::u16string>{u"ROOT\\LEGACY_OTHER\\0000"});
  CHECK(RegistryText(machine.registry, KeyPath) == "none");

  machine.deviceNodes.AddLegacy(u"drv");
  machine.gate.FailFunction("SetupDiCallClassInstaller", 5);
  CHECK(registration->Remove(1) == BaseObject::removeNotInstalled);
  CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 2);
  CHECK(registration->Remove(1) == BaseObject::removeNotInstalled);
  CHECK(machine.deviceNodes.Instances(std::nullopt).size() == 1);
}
