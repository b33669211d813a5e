#include "drivermanagement/ServiceRegistration.h"

#include <doctest/doctest.h>

#include "ServiceEntry.h"
#include "support/SystemSession.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/Manager.h"
#include "system/ServiceControl.h"

using namespace DriverManagement;
using LCommon::System::ServiceControl::Manager;
using LCommon::System::ServiceControl::Service;

TEST_CASE("installing creates the entry with everything that it should have") {
  SystemSession session;
  const NoEntry before;
  Entry entry = FullEntry();
  entry.dependencies = Names({L"first", L"second"});
  const auto registration = Registration(entry);
  CHECK(registration->Install(1) == BaseObject::installDone);
  CHECK(EntryText() == R"(Type=1 Start=1 ErrorControl=1 DisplayName="KV test" Group="System Bus Extender" )"
                       R"(DependOnService=type7:"first|second" Description="What it does" )"
                       R"("system32\drivers\kvtest.sys")");
  CHECK(registration->Purge(1) == BaseObject::purgeDone);
  CHECK(EntryText() == "none");
  CHECK(registration->Uninstall(1) == BaseObject::uninstallNotInstalled);
}

TEST_CASE("an entry that differs in what the registration fixes is reconfigured") {
  const auto check = [](const char* title, bool matches, Entry (*entry)(), auto change) {
    CAPTURE(title);
    SystemSession session;
    const NoEntry before;
    const auto registration = Registration(entry());
    registration->Install(0);
    const std::string wanted = EntryText();
    registration->Remove(0);
    Entry other = entry();
    change(other);
    Registration(other)->Install(0);
    const std::string found = EntryText();
    CHECK(registration->IsInstalledUpToDate() == matches);
    CHECK(registration->Install(1) == (matches ? BaseObject::installUpToDate : BaseObject::installUpdated));
    CHECK(EntryText() == (matches ? found : wanted));
    CHECK(wanted != found);
  };
  check("start type", false, FullEntry, [](Entry& entry) { entry.start = 3; });
  check("error control", false, FullEntry, [](Entry& entry) { entry.errorControl = 0; });
  check("service type", false, FullEntry, [](Entry& entry) { entry.type = 2; });
  check("letter case of the group", false, FullEntry, [](Entry& e) { e.group = L"System bus extender"; });
  check("no group", false, FullEntry, [](Entry& entry) { entry.group = L""; });
  check("display name", true, FullEntry, [](Entry& entry) { entry.displayName = L"KV test two"; });
  check("description", true, FullEntry, [](Entry& entry) { entry.description = L"Other words"; });
  check("another image", false, FullEntry, [](Entry& entry) { entry.image = L"system32\\drivers\\x.sys"; });
  check("another account", false, Win32Entry, [](Entry& e) { e.account = L"NT AUTHORITY\\LocalService"; });
  check("letter case of the account", true, Win32Entry, [](Entry& e) { e.account = L"LOCALSYSTEM"; });
  check("the expanded image", true, Win32Entry,
        [](Entry& entry) { entry.image = InWindows(L"SYSTEM32\\kvtest.exe svc"); });
  check("no argument", false, Win32Entry,
        [](Entry& entry) { entry.image = InWindows(L"system32\\kvtest.exe"); });
}

TEST_CASE("what a registration leaves open accepts and keeps what is configured") {
  SystemSession session;
  const NoEntry before;
  Entry entry = FullEntry();
  Registration(entry)->Install(0);
  const std::string installed = EntryText();
  const auto open = Registration({.displayName = L"", .start = SERVICE_SYSTEM_START, .image = L""});
  CHECK(open->Install(1) == BaseObject::installUpToDate);
  entry.start = SERVICE_DEMAND_START;
  Registration(entry)->Install(0);
  CHECK(open->Install(1) == BaseObject::installUpdated);
  CHECK(EntryText() == installed);
}

TEST_CASE("the spellings of a driver's image path that mean the same file match") {
  SystemSession session;
  const NoEntry before;
  const auto matches = [](const wchar_t* configured) {
    Registration({.image = configured})->Install(0);
    return Registration({.image = L"\\SystemRoot\\System32\\DRIVERS\\kvtest.sys"})->IsInstalledUpToDate() ==
           1;
  };
  for (const wchar_t* const same :
       {L"kvtest.sys", L"\\KVtest.sys\\", L"drivers\\kvtest.sys", L"system32\\drivers\\kvtest.sys",
        L"\\SystemRoot\\system32\\drivers\\kvtest.sys", L"SystemRoot/System32//Drivers/kvtest.sys"}) {
    CHECK_MESSAGE(matches(same), Utf8(same));
    Registration({})->Remove(0);
  }
  for (const wchar_t* const other :
       {L"%SystemRoot%\\system32\\drivers\\kvtest.sys", L"\\??\\C:\\Windows\\system32\\drivers\\kvtest.sys",
        L"system32\\kvtest.sys", L"drivers\\system32\\kvtest.sys", L"system\\system32\\drivers\\kvtest.sys",
        L"\\SystemRoot\\system32\\drivers\\kvtest.sys\\more", L"other.sys", L"\\"}) {
    CHECK_FALSE_MESSAGE(matches(other), Utf8(other));
  }
}

TEST_CASE("an entry marked for deletion blocks installing until the restart") {
  SystemSession session;
  const NoEntry before;
  const auto registration = Registration({});
  registration->Install(0);
  const auto held = Service::Open(Manager::Open(SC_MANAGER_CONNECT), L"kvtest", SERVICE_QUERY_CONFIG);
  CHECK(registration->Remove(1) == BaseObject::removeDone);
  CHECK(registration->Purge(1) == BaseObject::purgeDoneReboot);
  CHECK(registration->IsInstalled() == 1);
  const auto install = [] { Registration(FullEntry())->Install(1); };
  CHECK(Thrown(install) == Exactly<BaseObject::NeedRebootImmediatelyException>());
  CHECK(ThrownIn(install) ==
        "enum DriverManagement::BaseObject::InstallResult __cdecl "
        "DriverManagement::BaseServiceRegistration::Install(unsigned int)");
}
