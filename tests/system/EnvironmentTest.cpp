#include "system/Environment.h"

#include <doctest/doctest.h>

#include "support/SystemSession.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/Manager.h"

using namespace LCommon::System;

TEST_CASE("references to variables are replaced by their values") {
  SystemSession session;
  const std::string windows = Utf8(Environment::GetVariable(L"SystemRoot"));
  CHECK(Utf16(windows) == Manager::Instance().GetWindowsDirectoryA());
  const std::pair<const char*, std::string> cases[] = {
      {"", ""},
      {"plain", "plain"},
      {"%SystemRoot%\\system32", windows + "\\system32"},
      {"%systemroot%%SYSTEMROOT%", windows + windows},
      {"100%%", "100%"},
      {"%%", "%"},
      {"%%%%", "%%"},
      {"%%%SystemRoot%", "%" + windows},
      {"a%KV_UNDEFINED%b", "ab"},
      {"x%PATH", "x"},
      {"x%", "x"},
      {"%SystemRoot%x%", windows + "x"},
      {"% %SystemRoot%", "SystemRoot"},
  };
  for (const auto& [text, expected] : cases) {
    CHECK(Utf8(Environment::ExpandVariables(Utf16(text))) == expected);
  }
  CHECK(Thrown([] { Environment::GetVariable(L"KV_UNDEFINED"); }) ==
        Exactly<Environment::VariableNotFoundException>(203));
}
