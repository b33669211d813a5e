#include "drivermanagement/LogSource.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/TestKey.h"

using namespace DriverManagement;

TEST_CASE("a log source is compared value by value and brought up to date") {
  const auto check = [](const char* title, unsigned int installed, unsigned int upToDate, auto change) {
    CAPTURE(title);
    SystemSession session;
    const TestKey log(L"System\\CurrentControlSet\\Services\\Eventlog\\kvdel01 test log");
    log.Make(L"kvtest")->SetInt32Value(L"TypesSupported", 7);
    log.Make(L"kvtest")->SetExpandStringValue(L"EventMessageFile", L"%SystemRoot%\\drv.sys");
    change(log);

    // As the drivers register themselves: no categories, one message file.
    BaseLogSource source(L"kvdel01 test log", L"kvtest", 0, 7, L"", L"%SystemRoot%\\drv.sys", L"");
    CHECK(source.IsInstalled() == installed);
    CHECK(source.IsInstalledUpToDate() == upToDate);
    CHECK(source.Install(1) == (upToDate    ? BaseObject::installUpToDate
                                : installed ? BaseObject::installUpdated
                                            : BaseObject::installDone));
    CHECK(RegistryText(log.path) ==
          R"(kvtest{EventMessageFile=type2:"%SystemRoot%\drv.sys" TypesSupported=7})");
    CHECK(source.Install(1) == BaseObject::installUpToDate);
    CHECK(source.Purge(1) == BaseObject::purgeDone);
    CHECK(RegistryText(log.path) == "");
    CHECK(source.Remove(1) == BaseObject::removeNotInstalled);
  };
  const auto number = [](const wchar_t* name, std::uint32_t value) {
    return [=](const TestKey& log) { log.Make(L"kvtest")->SetInt32Value(name, value); };
  };
  const auto path = [](const wchar_t* name, const wchar_t* value) {
    return [=](const TestKey& log) { log.Make(L"kvtest")->SetExpandStringValue(name, value); };
  };
  const auto text = [](const wchar_t* name, const wchar_t* value) {
    return [=](const TestKey& log) { log.Make(L"kvtest")->SetStringValue(name, value); };
  };
  check("as it should be", 1, 1, [](const TestKey&) {});
  check("missing", 0, 0, [](const TestKey& log) { log->DeleteTree(L"kvtest"); });
  check("without its log", 0, 0, [](const TestKey& log) { DeleteKey(log.path); });
  check("a stored 0 is not an absent value", 1, 0, number(L"CategoryCount", 0));
  check("other types supported", 1, 0, number(L"TypesSupported", 6));
  check("a number stored as text", 1, 0, text(L"TypesSupported", L"7"));
  check("letter case of a path", 1, 0, path(L"EventMessageFile", L"%systemroot%\\drv.sys"));
  check("a path of the wrong type", 1, 0, text(L"EventMessageFile", L"%SystemRoot%\\drv.sys"));
  check("a path too many", 1, 0, path(L"ParameterMessageFile", L"x"));
  check("an empty path is not an absent one", 1, 0, path(L"CategoryMessageFile", L""));
  check("a path too few", 1, 0,
        [](const TestKey& log) { log.Make(L"kvtest")->DeleteValue(L"EventMessageFile"); });
}

TEST_CASE("a log source can have categories and parameters, too") {
  SystemSession session;
  const TestKey log(L"System\\CurrentControlSet\\Services\\Eventlog\\kvdel01 test log");
  BaseLogSource source(L"kvdel01 test log", L"kvtest", 3, 7, L"c", L"e", L"p");
  for (const auto result : {BaseObject::installDone, BaseObject::installUpdated}) {
    CHECK(source.Install(1) == result);
    CHECK(RegistryText(log.path) ==
          R"(kvtest{CategoryCount=3 CategoryMessageFile=type2:"c" EventMessageFile=type2:"e" )"
          R"(ParameterMessageFile=type2:"p" TypesSupported=7})");
    CHECK(source.IsInstalledUpToDate() == 1);
    BaseLogSource(L"kvdel01 test log", L"kvtest", 4, 0, L"x", L"", L"x").Install(1);
    CHECK(source.IsInstalledUpToDate() == 0);
  }
}
