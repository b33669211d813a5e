#include "system/AnsiText.h"

#include <doctest/doctest.h>

#include <vector>

#include "foundation/Exception.h"
#include "foundation/Memory.h"
#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/Platform.h"
#include "system/PlatformState.h"

using namespace LCommon::System;
using winsim::Settings;

namespace {

Settings OnCodePages(unsigned int ansi, unsigned int oem, bool fileApisUseAnsi) {
  Settings settings = Settings::Windows98();
  settings.ansiCodePage = ansi;
  settings.oemCodePage = oem;
  settings.fileApisUseAnsi = fileApisUseAnsi;
  return settings;
}

std::string Repeated(const std::string& text, unsigned int count) {
  std::string result;
  while (count-- > 0) {
    result += text;
  }
  return result;
}

/// The message of the exception that `operation` throws.
template <class Operation>
std::string MessageOf(Operation operation) {
  try {
    operation();
  } catch (const LMessageException& exception) {
    return exception.Message();
  }
  return "nothing";
}

}  // namespace

TEST_CASE("text for 8-bit functions is in their code page, on the stack while it fits there") {
  const Settings latin = OnCodePages(1252, 437, true), oemFiles = OnCodePages(1252, 437, false),
                 japanese = OnCodePages(932, 932, true);
  const std::string e = "\xC3\xA9", day = "\xE6\x97\xA5", day932 = "\x93\xFA";
  const struct {
    const Settings& settings;
    std::string text;
    unsigned int file, length, minimalLength;
    std::string expected;
  } cases[] = {
      {latin, "", 0, 0, 0, "null"},
      {latin, "abc", 0, 0, 0, "stack abc"},
      {latin, "abc", 0, 2, 0, "stack ab"},
      {latin, e, 0, 0, 0, "stack \xE9"},
      {latin, e, 1, 0, 0, "stack \xE9"},
      {oemFiles, e, 0, 0, 0, "stack \xE9"},
      {oemFiles, e, 1, 0, 0, "stack \x82"},
      {latin, Repeated("x", 100), 0, 0, 0, "stack " + Repeated("x", 100)},
      {latin, Repeated("x", 287), 0, 0, 0, "stack " + Repeated("x", 287)},
      {latin, Repeated("x", 288), 0, 0, 0, "heap " + Repeated("x", 288)},
      {latin, Repeated("x", 300), 0, 0, 0, "heap " + Repeated("x", 300)},
      {latin, "x", 0, 0, 287, "stack x"},
      {latin, "x", 0, 0, 288, "heap x"},
      {japanese, Repeated(day, 143), 0, 0, 0, "stack " + Repeated(day932, 143)},
      {japanese, Repeated(day, 144), 1, 0, 0, "heap " + Repeated(day932, 144)},
  };
  for (const auto& each : cases) {
    SystemSession session(each.settings);
    const LUnicodeString text = Utf16(each.text);
    char stack[AnsiStackBufferSize];
    char* out = stack;
    const unsigned int count = UnicodeStringToAnsiStringWithAllocate(
        out, text.Data(), stack, sizeof(stack), each.file, each.length, each.minimalLength);
    std::string written = "null";
    if (out) {
      written = (out == stack ? "stack " : "heap ") + std::string(out, count);
      CHECK(out[count] == '\0');
    }
    CHECK(written == each.expected);
    if (out != stack) LFree(out);
  }
}

TEST_CASE("text from 8-bit functions comes back as it went, on every code page") {
  for (const unsigned int codePage : {1252u, 932u}) {
    SystemSession session(OnCodePages(codePage, codePage, true));
    const std::string text = codePage == 932 ? "C:\\\xE6\x97\xA5\xE6\x9C\xAC" : "C:\\\xC3\xA9t\xC3\xA9";
    char stack[AnsiStackBufferSize];
    for (const unsigned int minimalLength : {0u, 500u}) {
      char* source;
      const unsigned int count = UnicodeStringToAnsiStringWithAllocate(source, Utf16(text).Data(), stack,
                                                                       sizeof(stack), 0, 0, minimalLength);
      std::vector<wchar_t> units(count + 2, L'#');
      CHECK(AnsiStringToUnicodeStringWithFree(units.data(), source, count + 1, stack, 0, 0) ==
            Utf16(text).Length());
      CHECK(Utf8(units.data()) == text);
      CHECK(units[count] == 0);
      CHECK(units[count + 1] == L'#');
    }
    wchar_t untouched = L'#';
    CHECK(AnsiStringToUnicodeStringWithFree(&untouched, nullptr, 7, stack, 0, 0) == 0);
    CHECK(AnsiStringToUnicodeStringWithFree(&untouched, stack, 0, stack, 0, 1) == 0);
    CHECK(untouched == L'#');
  }
  // Whether file names are in the ANSI code page is asked anew each time.
  SystemSession session(OnCodePages(1252, 437, false));
  char name[] = "\x82";
  wchar_t unit[2];
  CHECK(AnsiStringToUnicodeStringWithFree(unit, name, 2, name, 1, 0) == 1);
  CHECK(unit[0] == 0xE9);
  CHECK(session.Trace("AreFileApisANSI").size() == 1);
}

TEST_CASE("a failed conversion is a Conversion error") {
  SystemSession session(Settings::Windows98());
  winsim::Gate& gate = session.Machine().gate;
  char stack[4];
  char* out = stack;
  for (const wchar_t* const text : {L"x", L"long"}) {
    gate.FailFunction("WideCharToMultiByte", ERROR_NO_UNICODE_TRANSLATION);
    CHECK(MessageOf([&] { UnicodeStringToAnsiStringWithAllocate(out, text, stack, 4, 0, 0, 0); }) ==
          "Conversion error");
    CHECK(out == nullptr);
  }
  gate.FailFunction("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  wchar_t target[5];
  char* const source = static_cast<char*>(LAllocate(5));
  CHECK(MessageOf([&] { AnsiStringToUnicodeStringWithFree(target, source, 5, stack, 0, 0); }) ==
        "Conversion error");
}

TEST_CASE("the room for an 8-bit text grows with the size of the code page's characters") {
  for (const auto& [ansi, expected] : {std::pair(1252u, 1u), std::pair(932u, 2u), std::pair(65001u, 4u)}) {
    SystemSession session(OnCodePages(ansi, 437, true));
    CHECK(Platform().maximalCharacterSize == expected);
    char stack[AnsiStackBufferSize];
    char* out = stack;
    CHECK(PrepareAnsiBuffer(out, 0, stack, sizeof(stack)) == 0);
    CHECK(out == nullptr);
    CHECK(PrepareAnsiBuffer(out, 288 / expected, stack, sizeof(stack)) == 287);
    CHECK(out == stack);
    CHECK(PrepareAnsiBuffer(out, 288 / expected + 1, stack, sizeof(stack)) == 287 + expected);
    CHECK(out != stack);
    LFree(out);
  }
  MachineSession session(Settings::Windows98());
  session.Machine().gate.FailFunction("GetCPInfo", 87);
  InitializeSystem(1);
  CHECK(Platform().maximalCharacterSize == 1);
  UninitializeSystem();
}
