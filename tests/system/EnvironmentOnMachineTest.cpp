#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/Environment.h"
#include "system/ErrorCases.h"

using namespace LCommon::System;
using winsim::Settings;

TEST_CASE("a value is read with room for 64 units and, when longer, with the room it needs") {
  for (const auto& [length, rooms] :
       {std::pair(1u, "0x40 "), std::pair(63u, "0x40 "), std::pair(64u, "0x40 0x41 "),
        std::pair(100u, "0x40 0x65 "), std::pair(5000u, "0x40 0x1389 ")}) {
    for (const Settings& settings : {Settings::Windows10(), Settings::Windows98()}) {
      SystemSession session(settings);
      session.Process().environment[u"KV"] = std::u16string(length, u'v');
      CHECK(Utf8(Environment::GetVariable(L"KV")) == std::string(length, 'v'));

      std::string traced;
      for (const winsim::TraceEntry& entry : session.Machine().gate.TakeTrace()) {
        if (entry.function.starts_with("GetEnvironmentVariable")) {
          traced += entry.arguments.substr(entry.arguments.rfind(' ') + 1) + " ";
        }
      }
      CHECK(traced == rooms);
    }
  }
}

TEST_CASE(
    "failures of a read become the environment's exceptions; only a missing variable expands to nothing") {
  SystemSession session;
  session.Process().environment[u"EMPTY"] = u"";
  const std::string empty = Exactly<Environment::Exception>(0);
  CHECK(Thrown([] { Environment::GetVariable(L"MISSING"); }) != empty);
  CHECK(Thrown([] { Environment::GetVariable(L"EMPTY"); }) == empty);
  CheckErrors<Environment::Exception>(session, "GetEnvironmentVariableW",
                                      {{203, Exactly<Environment::VariableNotFoundException>(203)}},
                                      [] { Environment::GetVariable(L"SystemRoot"); });
  CheckErrors<Environment::Exception>(session, "GetEnvironmentVariableW", {{203, "nothing"}},
                                      [] { Environment::ExpandVariables(L"<%SystemRoot%>"); });
}
