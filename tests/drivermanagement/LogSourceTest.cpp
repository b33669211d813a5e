#include "drivermanagement/LogSource.h"

#include <doctest/doctest.h>

#include <functional>

#include "RegistryText.h"
#include "support/SystemSession.h"
#include "system/LogSource.h"

using namespace DriverManagement;
using LCommon::System::Log::Source;

namespace {

constexpr const char16_t* LogPath = u"System\\CurrentControlSet\\Services\\Eventlog\\System";
constexpr const char16_t* SourcePath = u"System\\CurrentControlSet\\Services\\Eventlog\\System\\drv";

// As the drivers register themselves: no categories, one message file.
BaseLogSource DriverSource() {
  return BaseLogSource(L"System", L"drv", 0, 7, L"", L"%SystemRoot%\\drv.sys", L"");
}

constexpr const char* Registered = R"(EventMessageFile=type2:"%SystemRoot%\drv.sys" TypesSupported=7)";

}  // namespace

TEST_CASE("a log source is compared value by value and brought up to date") {
  const struct {
    std::string title;
    std::function<void(winsim::Registry&)> change;  // of a registration as it should be
    unsigned int installed;
    unsigned int upToDate;
    BaseObject::InstallResult installs;
  } cases[] = {
      {"as it should be", [](auto&) {}, 1, 1, BaseObject::installUpToDate},
      {"missing", [](auto& registry) { registry.DeleteTree(SourcePath); }, 0, 0, BaseObject::installDone},
      {"without its log", [](auto& registry) { registry.DeleteTree(LogPath); }, 0, 0,
       BaseObject::installDone},
      {"a stored 0 is not an absent value",
       [](auto& registry) { registry.SetNumber(SourcePath, u"CategoryCount", 0); }, 1, 0,
       BaseObject::installUpdated},
      {"other types supported", [](auto& registry) { registry.SetNumber(SourcePath, u"TypesSupported", 6); },
       1, 0, BaseObject::installUpdated},
      {"a number stored as text",
       [](auto& registry) { registry.SetString(SourcePath, u"TypesSupported", u"7"); }, 1, 0,
       BaseObject::installUpdated},
      {"letter case of a path",
       [](auto& registry) {
         registry.SetString(SourcePath, u"EventMessageFile", u"%systemroot%\\drv.sys", 2);
       },
       1, 0, BaseObject::installUpdated},
      {"a path of the wrong type",
       [](auto& registry) {
         registry.SetString(SourcePath, u"EventMessageFile", u"%SystemRoot%\\drv.sys", 1);
       },
       1, 0, BaseObject::installUpdated},
      {"a path too many",
       [](auto& registry) { registry.SetString(SourcePath, u"ParameterMessageFile", u"x", 2); }, 1, 0,
       BaseObject::installUpdated},
      {"an empty path is not an absent one",
       [](auto& registry) { registry.SetString(SourcePath, u"CategoryMessageFile", u"", 2); }, 1, 0,
       BaseObject::installUpdated},
      {"a path too few", [](auto& registry) { registry.Find(SourcePath)->values.erase(u"EventMessageFile"); },
       1, 0, BaseObject::installUpdated},
  };
  for (const auto& item : cases) {
    CAPTURE(item.title);
    SystemSession session;
    winsim::Registry& registry = session.Machine().registry;
    registry.SetNumber(SourcePath, u"TypesSupported", 7);
    registry.SetString(SourcePath, u"EventMessageFile", u"%SystemRoot%\\drv.sys", 2);
    item.change(registry);

    BaseLogSource source = DriverSource();
    CHECK(source.IsInstalled() == item.installed);
    CHECK(source.IsInstalledUpToDate() == item.upToDate);
    CHECK(source.Install(1) == item.installs);
    CHECK(RegistryText(registry, SourcePath) == Registered);
    CHECK(source.Install(1) == BaseObject::installUpToDate);
    CHECK(source.Purge(1) == BaseObject::purgeDone);
    CHECK(RegistryText(registry, LogPath) == "");
  }
}

TEST_CASE("removing a log source that is not there is not a failure") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  BaseLogSource source = DriverSource();
  CHECK(source.Remove(1) == BaseObject::removeNotInstalled);
  CHECK(source.Uninstall(1) == BaseObject::uninstallNotInstalled);
  CHECK(source.Update(1) == BaseObject::updateNotInstalled);
  registry.DeleteTree(LogPath);
  CHECK(source.Purge(1) == BaseObject::purgeNotInstalled);
  CHECK(RegistryText(registry, LogPath) == "none");
}

TEST_CASE("a log source that may not be read counts as up to date, one that may not be changed fails") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  BaseLogSource source = DriverSource();
  registry.Make(SourcePath);

  registry.Deny(LogPath, KEY_WRITE);
  CHECK(source.IsInstalledUpToDate() == 0);
  CHECK_THROWS_AS(source.Remove(1), Source::AccessDeniedException);
  registry.Deny(SourcePath, KEY_WRITE);
  CHECK_THROWS_AS(source.Install(1), Source::AccessDeniedException);
  CHECK(RegistryText(registry, SourcePath) == "");

  registry.Deny(SourcePath, KEY_READ);
  CHECK(source.IsInstalledUpToDate() == 1);
  CHECK(source.Install(1) == BaseObject::installUpToDate);
  CHECK_THROWS_AS(source.IsInstalled(), Source::AccessDeniedException);
}

TEST_CASE("a machine without an event log is a failure of every operation") {
  SystemSession session;
  session.Machine().registry.DeleteTree(u"System\\CurrentControlSet\\Services\\Eventlog");
  BaseLogSource source = DriverSource();
  CHECK_THROWS_AS(source.IsInstalled(), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.IsInstalledUpToDate(), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.Install(1), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.Remove(1), Source::LoggerNotFoundException);
}
