#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/Throws.h"
#include "system/LogSource.h"

namespace {

using LCommon::System::RegistryKey;
using LCommon::System::Log::Source;

constexpr char16_t loggerPath[] = u"System\\CurrentControlSet\\Services\\Eventlog";
constexpr char16_t logPath[] = u"System\\CurrentControlSet\\Services\\Eventlog\\Log";
constexpr char16_t sourcePath[] = u"System\\CurrentControlSet\\Services\\Eventlog\\Log\\source";

LPtrRef<Source> CreateSource() {
  return Source::Create(L"Log", L"source", 1, 2, L"c", L"e", L"p");
}

void OpenSource() {
  Source(L"Log", L"source");
}
void DeleteSource() {
  Source::Delete(L"Log", L"source");
}

}  // namespace

TEST_CASE("access denied by any key on the way is access denied to the source") {
  for (const char16_t* const path : {loggerPath, logPath, sourcePath}) {
    CAPTURE(std::u16string(path).size());
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
  const auto failed = Exactly<RegistryKey::Exception>(8);
  machine.gate.FailFunction("RegSetValueExW", 8, 1, 2);
  CHECK(Thrown(CreateSource) == failed);
  CHECK(machine.registry.GetNumber(sourcePath, u"CategoryCount") == 1);
  CHECK(machine.registry.GetNumber(sourcePath, u"TypesSupported") == 2);
  CHECK(machine.registry.GetValue(sourcePath, u"CategoryMessageFile") == nullptr);

  const LPtrRef<Source> source = CreateSource();
  machine.gate.FailFunction("RegQueryValueExW", 5);
  CHECK(Thrown([&] { source->QueryCategoryCount(); }) == Exactly<RegistryKey::AccessDeniedException>(5));
  machine.gate.FailFunction("RegOpenKeyExW", 8);
  CHECK(Thrown(OpenSource) == failed);
  machine.gate.FailFunction("RegDeleteValueW", 8);
  CHECK(Thrown([&] { source->ChangeTypesSupported(0); }) == failed);
}
