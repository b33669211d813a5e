#include "system/LogSource.h"

#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/RegistryKey.h"
#include "system/Thrown.h"

namespace {

using LCommon::System::RegistryKey;
using LCommon::System::Log::Source;

constexpr char16_t loggerPath[] = u"System\\CurrentControlSet\\Services\\Eventlog";
constexpr char16_t logPath[] = u"System\\CurrentControlSet\\Services\\Eventlog\\Log";
constexpr char16_t sourcePath[] = u"System\\CurrentControlSet\\Services\\Eventlog\\Log\\source";

LPtrRef<Source> CreateSource() {
  return Source::Create(L"Log", L"source", 3, 7, L"%SystemRoot%\\c", L"%SystemRoot%\\e", L"p");
}
void OpenSource() {
  Source(L"Log", L"source");
}
void DeleteSource() {
  Source::Delete(L"Log", L"source");
}

/// What every query answers, "-" for a value that is not set.
std::string Summary(LPtrRef<Source> source) {
  const auto unset = Exactly<Source::ConfigNotSetException>(2);
  std::string summary;
  const auto add = [&](auto query) {
    std::string text;
    const std::string thrown = Thrown([&] { text = query(); });
    summary += (thrown == "nothing" ? text : thrown == unset ? "-" : thrown) + " ";
  };
  add([&] { return std::to_string(source->QueryCategoryCount()); });
  add([&] { return std::to_string(source->QueryTypesSupported()); });
  add([&] { return Utf8(source->QueryCategoryMessageFile()); });
  add([&] { return Utf8(source->QueryEventMessageFile()); });
  add([&] { return Utf8(source->QueryParameterMessageFile()); });
  return summary;
}

}  // namespace

TEST_CASE("a registration stores what is set, each value changes alone, and 0 or nothing unsets it") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  CHECK(Summary(CreateSource()) == "3 7 %SystemRoot%\\c %SystemRoot%\\e p ");
  for (const auto& [name, type] : {std::pair(u"CategoryCount", 4u), std::pair(u"TypesSupported", 4u),
                                   std::pair(u"CategoryMessageFile", 2u), std::pair(u"EventMessageFile", 2u),
                                   std::pair(u"ParameterMessageFile", 2u)}) {
    CHECK(registry.GetValue(sourcePath, name)->type == type);
  }
  CHECK(Summary(Source::Create(L"Log", L"source", 0, 1, L"", L"new", L"")) == "- 1 - new - ");
  CHECK(Summary(LMakeRef<Source>(L"LOG", L"SOURCE")) == "- 1 - new - ");
  const LPtrRef<Source> source = CreateSource();
  source->ChangeTypesSupported(0);
  source->ChangeTypesSupported(0);
  source->ChangeEventMessageFile(L"%x%");
  source->ChangeParameterMessageFile(L"");
  CHECK(Summary(source) == "3 - %SystemRoot%\\c %x% - ");
  source->ChangeCategoryCount(0);
  source->ChangeCategoryMessageFile(L"d");
  CHECK(Summary(source) == "- - d %x% - ");
}

TEST_CASE("a value of another type is no value of the source") {
  SystemSession session;
  const LPtrRef<Source> source = CreateSource();
  const LPtrRef<RegistryKey> key = RegistryKey::LocalMachine()->Open(SystemText(sourcePath), KEY_ALL_ACCESS);
  key->SetStringValue(L"CategoryCount", L"3");
  key->SetBinaryValue(L"TypesSupported", LBuffer("abcd", 4));
  key->SetStringValue(L"CategoryMessageFile", L"x");
  key->SetStringValue(L"EventMessageFile", L"x");
  key->SetInt32Value(L"ParameterMessageFile", 1);
  const std::string invalid = Exactly<Source::InvalidConfigException>(1629) + " ";
  CHECK(Summary(source) == invalid + invalid + invalid + invalid + invalid);
}

TEST_CASE("a missing event log, a missing log and a missing source are told apart") {
  SystemSession session;
  winsim::Registry& registry = session.Machine().registry;
  CreateSource();
  registry.Make(std::u16string(sourcePath) + u"\\a\\b");
  DeleteSource();
  CHECK(registry.Find(sourcePath) == nullptr);
  CHECK(registry.Find(logPath) != nullptr);
  CHECK(Thrown(OpenSource) == Exactly<Source::SourceNotFoundException>(2));
  CHECK(Thrown(DeleteSource) == Exactly<Source::SourceNotFoundException>(2));
  CHECK_THROWS_AS(OpenSource(), Source::LogNotFoundException);

  registry.DeleteTree(logPath);
  CHECK(Thrown(OpenSource) == Exactly<Source::LogNotFoundException>(2));
  CHECK(Thrown(DeleteSource) == Exactly<Source::LogNotFoundException>(2));

  registry.DeleteTree(loggerPath);
  const auto noLogger = Exactly<Source::LoggerNotFoundException>(2);
  CHECK(Thrown(OpenSource) == noLogger);
  CHECK(Thrown(CreateSource) == noLogger);
  CHECK(Thrown(DeleteSource) == noLogger);
  CHECK(registry.Find(loggerPath) == nullptr);
}

TEST_CASE("access denied by any key on the way is access denied to the source") {
  for (const char16_t* const path : {loggerPath, logPath, sourcePath}) {
    CAPTURE(Utf8(SystemText(path)));
    SystemSession session;
    const auto denied = Exactly<Source::AccessDeniedException>(5);
    const LPtrRef<Source> source = CreateSource();
    session.Machine().registry.Deny(path, KEY_QUERY_VALUE);
    CHECK(Thrown(OpenSource) == denied);
    session.Machine().registry.Deny(path, KEY_SET_VALUE);
    CHECK(Thrown(OpenSource) == "nothing");
    CHECK(Thrown(CreateSource) == denied);
    CHECK(Thrown(DeleteSource) == denied);
    const std::string changing = path == sourcePath ? denied : "nothing";
    CHECK(Thrown([&] { source->ChangeCategoryCount(5); }) == changing);
    CHECK(Thrown([&] { source->ChangeEventMessageFile(L""); }) == changing);
  }
}

TEST_CASE("other failures pass as the registry's, and what was written by then stays") {
  SystemSession session;
  winsim::Machine& machine = session.Machine();
  machine.gate.FailFunction("RegSetValueExW", 8, 1, 2);
  CHECK(Thrown(CreateSource) == Exactly<RegistryKey::Exception>(8));
  CHECK(machine.registry.GetNumber(sourcePath, u"CategoryCount") == 3);
  CHECK(machine.registry.GetNumber(sourcePath, u"TypesSupported") == 7);
  CHECK(machine.registry.GetValue(sourcePath, u"CategoryMessageFile") == nullptr);

  const LPtrRef<Source> source = CreateSource();
  machine.gate.FailFunction("RegQueryValueExW", 5);
  CHECK(Thrown([&] { source->QueryCategoryCount(); }) == Exactly<RegistryKey::AccessDeniedException>(5));
}
