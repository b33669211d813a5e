#include "app/Arguments.h"

#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "support/SystemSession.h"
#include "support/Utf8.h"

namespace {

std::vector<std::string> Split(const char* commandLine) {
  const LUnicodeStringArray arguments = Main::SplitCommandLine(Utf16(commandLine));
  std::vector<std::string> result;
  for (unsigned int index = 0; index < arguments.Length(); ++index) {
    result.push_back(Utf8(arguments[index]));
  }
  return result;
}

}  // namespace

TEST_CASE("the command line is split into the program path and the words behind it") {
  const SystemSession session;
  using Words = std::vector<std::string>;
  const struct {
    const char* commandLine;
    Words expected;
  } cases[] = {
      {"", {""}},
      {"kvdel01.exe", {"kvdel01.exe"}},
      {" kvdel01.exe", {"", "kvdel01.exe"}},
      {"\"C:\\Program Files\\kvdel01.exe\" can-remove-now",
       {"C:\\Program Files\\kvdel01.exe", "can-remove-now"}},
      {"\"C:\\a b\"c d", {"C:\\a bc", "d"}},
      {"C:\\a\"\t\"b\tsvc", {"C:\\a\tb", "svc"}},
      {"kvdel01.exe  \t can-remove-now\t", {"kvdel01.exe", "can-remove-now"}},
      {"kvdel01.exe \"svc\"", {"kvdel01.exe", "\"svc\""}},
      {"kvdel01.exe \"a b\"", {"kvdel01.exe", "\"a", "b\""}},
      {"\"never closed svc", {"never closed svc"}},
  };
  for (const auto& item : cases) {
    CAPTURE(item.commandLine);
    CHECK(Split(item.commandLine) == item.expected);
  }
}
