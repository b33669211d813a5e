#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/Environment.h"
#include "system/ErrorCases.h"

using namespace LCommon::System;

TEST_CASE(
    "failures of a read become the environment's exceptions; only a missing variable expands to nothing") {
  SystemSession session;
  session.Process().environment[u"EMPTY"] = u"";
  session.Process().environment[u"LONG"] = std::u16string(5000, u'v');
  CHECK(Utf8(Environment::GetVariable(L"LONG")) == std::string(5000, 'v'));
  const std::string empty = Exactly<Environment::Exception>(0);
  CHECK(Thrown([] { Environment::GetVariable(L"MISSING"); }) != empty);
  CHECK(Thrown([] { Environment::GetVariable(L"EMPTY"); }) == empty);
  CheckErrors<Environment::Exception>(session, "GetEnvironmentVariableW",
                                      {{203, Exactly<Environment::VariableNotFoundException>(203)}},
                                      [] { Environment::GetVariable(L"SystemRoot"); });
  CheckErrors<Environment::Exception>(session, "GetEnvironmentVariableW", {{203, "nothing"}},
                                      [] { Environment::ExpandVariables(L"<%SystemRoot%>"); });
}
