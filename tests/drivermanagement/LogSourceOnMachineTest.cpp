#include "drivermanagement/LogSource.h"

#include <doctest/doctest.h>

#include "RegistryTextOnMachine.h"
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
  using Registry = winsim::Registry;
  const auto check = [](const char* title, unsigned int installed, unsigned int upToDate, auto change) {
    CAPTURE(title);
    SystemSession session;
    Registry& registry = session.Machine().registry;
    registry.SetNumber(SourcePath, u"TypesSupported", 7);
    registry.SetString(SourcePath, u"EventMessageFile", u"%SystemRoot%\\drv.sys", 2);
    change(registry);

    BaseLogSource source = DriverSource();
    CHECK(source.IsInstalled() == installed);
    CHECK(source.IsInstalledUpToDate() == upToDate);
    CHECK(source.Install(1) == (upToDate    ? BaseObject::installUpToDate
                                : installed ? BaseObject::installUpdated
                                            : BaseObject::installDone));
    CHECK(RegistryText(registry, SourcePath) == Registered);
    CHECK(source.Install(1) == BaseObject::installUpToDate);
    CHECK(source.Purge(1) == BaseObject::purgeDone);
    CHECK(RegistryText(registry, LogPath) == "");
    CHECK(source.Remove(1) == BaseObject::removeNotInstalled);
  };
  const auto number = [](const char16_t* name, std::uint32_t value) {
    return [=](Registry& registry) { registry.SetNumber(SourcePath, name, value); };
  };
  const auto text = [](const char16_t* name, const char16_t* value, std::uint32_t type) {
    return [=](Registry& registry) { registry.SetString(SourcePath, name, value, type); };
  };
  check("as it should be", 1, 1, [](Registry&) {});
  check("missing", 0, 0, [](Registry& registry) { registry.DeleteTree(SourcePath); });
  check("without its log", 0, 0, [](Registry& registry) { registry.DeleteTree(LogPath); });
  check("a stored 0 is not an absent value", 1, 0, number(u"CategoryCount", 0));
  check("other types supported", 1, 0, number(u"TypesSupported", 6));
  check("a number stored as text", 1, 0, text(u"TypesSupported", u"7", 1));
  check("letter case of a path", 1, 0, text(u"EventMessageFile", u"%systemroot%\\drv.sys", 2));
  check("a path of the wrong type", 1, 0, text(u"EventMessageFile", u"%SystemRoot%\\drv.sys", 1));
  check("a path too many", 1, 0, text(u"ParameterMessageFile", u"x", 2));
  check("an empty path is not an absent one", 1, 0, text(u"CategoryMessageFile", u"", 2));
  check("a path too few", 1, 0, [](Registry& r) { r.Find(SourcePath)->values.erase(u"EventMessageFile"); });
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
  registry.DeleteTree(u"System\\CurrentControlSet\\Services\\Eventlog");
  CHECK_THROWS_AS(source.IsInstalled(), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.Install(1), Source::LoggerNotFoundException);
  CHECK_THROWS_AS(source.Remove(1), Source::LoggerNotFoundException);
}
