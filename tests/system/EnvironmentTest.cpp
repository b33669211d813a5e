#include "system/Environment.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/ErrorCases.h"

using namespace LCommon::System;
using winsim::Settings;

TEST_CASE("references to variables are replaced by their values") {
  SystemSession session;
  const std::map<std::string, std::string> cases = {{"", ""},
                                                    {"plain", "plain"},
                                                    {"%SystemRoot%\\x", "C:\\Windows\\x"},
                                                    {"%systemroot%%SYSTEMROOT%", "C:\\WindowsC:\\Windows"},
                                                    {"100%%", "100%"},
                                                    {"%%%%", "%%"},
                                                    {"%%%SystemRoot%", "%C:\\Windows"},
                                                    {"a%KV_UNDEFINED%b", "ab"},
                                                    {"x%PATH", "x"},
                                                    {"x%", "x"},
                                                    {"%SystemRoot%x%", "C:\\Windowsx"},
                                                    {"% %SystemRoot%", "SystemRoot"}};
  for (const auto& [text, expected] : cases) {
    CHECK(Utf8(Environment::ExpandVariables(Utf16(text))) == expected);
  }
}

TEST_CASE("a value is read with room for 64 units and, when longer, with the room it needs") {
  for (const auto& [length, rooms] : {std::pair(1u, "0x40 "), std::pair(63u, "0x40 "),
                                      std::pair(64u, "0x40 0x41 "), std::pair(5000u, "0x40 0x1389 ")}) {
    for (const Settings& settings : {Settings::Windows10(), Settings::Windows98()}) {
      SystemSession session(settings);
      session.Process().environment[u"KV"] = std::u16string(length, u'v');
      CHECK(Utf8(Environment::GetVariable(L"KV")) == std::string(length, 'v'));
      CHECK(Rooms(session, settings.version.platformId == 2 ? "GetEnvironmentVariableW"
                                                            : "GetEnvironmentVariableA") == rooms);
    }
  }
}

TEST_CASE("failures of a read become the environment's exceptions; a missing variable expands to nothing") {
  SystemSession session;
  session.Process().environment[u"EMPTY"] = u"";
  CHECK(Thrown([] { Environment::GetVariable(L"EMPTY"); }) == Exactly<Environment::Exception>(0));
  CHECK(Thrown([] { Environment::GetVariable(L"MISSING"); }) ==
        Exactly<Environment::VariableNotFoundException>(203));
  CheckErrors<Environment::Exception>(session, "GetEnvironmentVariableW",
                                      {{203, Exactly<Environment::VariableNotFoundException>(203)}},
                                      [] { Environment::GetVariable(L"SystemRoot"); });
  CheckErrors<Environment::Exception>(session, "GetEnvironmentVariableW", {{203, "nothing"}},
                                      [] { Environment::ExpandVariables(L"<%SystemRoot%>"); });
}
