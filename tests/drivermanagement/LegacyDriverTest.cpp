#include "drivermanagement/LegacyDriver.h"

#include <doctest/doctest.h>

#include <tuple>

#include "LegacyDevices.h"
#include "ServiceEntry.h"
#include "drivermanagement/LegacyDriverRegistration.h"
#include "drivermanagement/Module.h"
#include "support/SystemSession.h"
#include "support/TestContainer.h"

using namespace DriverManagement;

namespace {

constexpr const wchar_t* RecordPath = L"System\\CurrentControlSet\\Services\\kvtest\\LifeTime";

// A driver that only says that it runs. The real request to stop it is answered as one to a driver that does
// not run.
struct TestDriver : BaseLegacyDriver {
  explicit TestDriver(LUnicodeString file)
      : BaseLegacyDriver(L"kvtest", LMakeRef<GenericLifeTime>(L"kvtest", L"client", file),
                         LMakeRef<BaseDriverModule>(L"kvdel01 test.sys", LMakeRef<TestContainer>()),
                         LMakeRef<BaseLegacyDriverRegistration>(
                             L"kvtest", L"KV test", L"", static_cast<unsigned int>(SERVICE_DEMAND_START),
                             static_cast<unsigned int>(SERVICE_ERROR_NORMAL),
                             L"system32\\drivers\\kvdel01 test.sys", L"", LUnicodeStringArray())) {}
  unsigned int running = 0, starts = 1;
  void InstallParts() { m_components->Install(0); }
  unsigned int IsActive() override { return running; }
  unsigned int IsActiveUpToDate() override { return running; }
  unsigned int Start() override { return running = 1, starts; }
  unsigned int Stop() override { return running = 0, BaseLegacyDriver::Stop(); }
};

struct DriverSession : SystemSession {
  const NoEntry entry;
  const LegacyDevices devices;
  const TestFile client;
  const TestFile image{
      LCommon::System::AppendBackslash(LCommon::System::Manager::Instance().GetDriversDirectory()) +
      L"kvdel01 test.sys"};
  TestDriver driver{client.name};
  const std::string claim = "{File=\"" + Utf8(client.name) + "\" Mode=0}";

  DriverSession() { client.Write(std::string("x")); }
};

}  // namespace

TEST_CASE("a driver is installed, kept while its client's file is there, and leaves nothing behind") {
  DriverSession session;
  CHECK(session.driver.Install(1) == BaseObject::installDone);
  CHECK(RegistryText(RecordPath) == "Auto=1 client" + session.claim);
  CHECK(session.driver.Install(1) == BaseObject::installUpToDate);
  AddLegacyDevice(L"KVTEST", L"0000");
  CHECK(session.driver.Purge(1) == BaseObject::purgeStillNeeded);
  CHECK(session.image.Exists());
  session.client.Remove();
  CHECK(session.driver.Purge(1) == BaseObject::purgeDone);
  CHECK(EntryText() == "none");
  CHECK(session.devices.Counts() == "0 before, 0 of the test, 0 after");
  CHECK_FALSE(session.image.Exists());
}

TEST_CASE("a driver is asked to go on its own only by an installation that put it there") {
  const std::tuple<bool, unsigned int, BaseObject::InstallResult> cases[] = {
      {false, 1, BaseObject::installDone},
      {false, 0, BaseObject::installDoneReboot},
      {true, 1, BaseObject::installUpdated},
      {true, 0, BaseObject::installUpdatedReboot}};
  for (const auto& [present, starts, result] : cases) {
    DriverSession session;
    session.driver.starts = starts;
    if (present) session.driver.InstallParts();
    CHECK(session.driver.Install(1) == result);
    const std::string record = (present ? "Auto=0 client" : "Auto=1 client") + session.claim;
    CHECK(RegistryText(RecordPath) == record);
    DeleteKey(LUnicodeString(RecordPath) + L"\\client");
    CHECK(session.driver.IsInstalledUpToDate() == 0);
    session.driver.Touch();
    CHECK(RegistryText(RecordPath) == record);
    CHECK(session.driver.IsInstalledUpToDate() == 1);
  }
}

TEST_CASE("uninstalling gives up the client's claim and removes what nobody else claims") {
  DriverSession session;
  TestDriver& driver = session.driver;
  CHECK_THROWS_AS(driver.Touch(), BaseLifeTime::ObjectNotFoundException);
  driver.Install(1);
  GenericLifeTime other(L"kvtest", L"other", session.client.name);
  other.Attach(0);
  CHECK(driver.Uninstall(1) == BaseObject::uninstallStillNeeded);
  CHECK(RegistryText(RecordPath) == "Auto=1 other" + session.claim);
  CHECK(driver.IsExpired() == 0);
  other.Detach();
  CHECK(driver.Uninstall(1) == BaseObject::uninstallDone);
  CHECK(driver.IsExpired() == 1);
}

TEST_CASE("what is left of a driver whose entry has gone is removed, whoever asks for it") {
  DriverSession session;
  session.image.Write(std::string("image"));
  CHECK(session.driver.Uninstall(1) == BaseObject::uninstallDone);
  session.image.Write(std::string("image"));
  CHECK(session.driver.Purge(1) == BaseObject::purgeDone);
  CHECK_FALSE(session.image.Exists());
  CHECK(session.driver.Uninstall(1) == BaseObject::uninstallNotInstalled);
}
