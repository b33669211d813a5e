#include "app/Arguments.h"

#include "foundation/String.h"
#include "system/WindowsApi.h"

namespace Main {

namespace {

bool IsBlank(wchar_t unit) {
  return unit == L' ' || unit == L'\t';
}

}  // namespace

LUnicodeStringArray GetArguments() {
  return SplitCommandLine(LUnicodeString(LString(GetCommandLineA())));
}

LUnicodeStringArray SplitCommandLine(LUnicodeString commandLine) {
  const wchar_t* const units = commandLine.Data();
  const unsigned int length = commandLine.Length();
  LUnicodeStringArray arguments;
  unsigned int index = 0;

  LUnicodeString program;
  bool quoted = false;
  for (; index < length && (quoted || !IsBlank(units[index])); ++index) {
    if (units[index] == L'"') {
      quoted = !quoted;
    } else {
      program.Append(units[index]);
    }
  }
  arguments.Append(program);

  while (index < length) {
    const unsigned int start = index;
    while (index < length && !IsBlank(units[index])) {
      ++index;
    }
    if (index > start) arguments.Append(commandLine.Mid(start, index - start));
    ++index;
  }
  return arguments;
}

}  // namespace Main
