#include <doctest/doctest.h>

#include <string>

#include "support/SystemSession.h"
#include "support/Throws.h"
#include "system/LogSource.h"

namespace {

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
    CAPTURE(winsim::ToUtf8(path));
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
