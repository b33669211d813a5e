#include "system/AnsiText.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <vector>

#include "foundation/Memory.h"
#include "support/SystemSession.h"
#include "support/Throws.h"
#include "support/Utf8.h"
#include "system/PlatformApi.h"

// Text conversion, and what the wide-or-8-bit wrappers do on a system without wide functions; where it must
// be the same, also on one with them.

using namespace LCommon::System;
using winsim::Settings;

namespace {

Settings OnCodePages(unsigned int ansi, unsigned int oem, bool fileApisUseAnsi = true) {
  Settings settings = Settings::Windows98();
  settings.ansiCodePage = ansi;
  settings.oemCodePage = oem;
  settings.fileApisUseAnsi = fileApisUseAnsi;
  return settings;
}

/// Systems of every kind, each with a name that its code page can say.
struct NamedSystem {
  bool IsWide() const { return settings.version.platformId == 2; }
  Settings settings;
  std::u16string name;
};
const NamedSystem systems[] = {{OnCodePages(1252, 1252), u"\u00E9t\u00E9"},
                               {OnCodePages(932, 932), u"\u65E5\u672C\u8A9E"},
                               {OnCodePages(65001, 65001), u"\u20AC\u65E5"},
                               {Settings::Windows10(), u"\u65E5\u672C"}};

template <class Text>
Text Repeated(const Text& text, unsigned int count) {
  Text result;
  while (count-- > 0)
    result += text;
  return result;
}

HKEY OpenKey(std::u16string_view path) {
  HKEY key = nullptr;
  REQUIRE(RegOpenKeyExU(HKEY_LOCAL_MACHINE, SystemText(path).Data(), 0, KEY_ALL_ACCESS, &key) == 0);
  return key;
}

}  // namespace

TEST_CASE("text for 8-bit functions is in their code page, on the stack while it fits there") {
  const Settings latin = OnCodePages(1252, 437), oemFiles = OnCodePages(1252, 437, false),
                 japanese = OnCodePages(932, 932);
  const std::string e = "\xC3\xA9", day = "\xE6\x97\xA5", day932 = "\x93\xFA";
  const std::string x287(287, 'x'), x288(288, 'x');
  const std::tuple<const Settings&, std::string, unsigned, unsigned, unsigned, std::string> cases[] = {
      {latin, "", 0, 0, 0, "null"},
      {latin, "abc", 0, 2, 0, "stack ab"},
      {oemFiles, e, 1, 0, 0, "stack \x82"},
      {latin, x287, 0, 0, 0, "stack " + x287},
      {latin, x288, 0, 0, 0, "heap " + x288},
      {latin, "x", 0, 0, 288, "heap x"},
      {japanese, Repeated(day, 144), 1, 0, 0, "heap " + Repeated(day932, 144)}};
  for (const auto& [settings, text, file, length, minimalLength, expected] : cases) {
    SystemSession session(settings);
    char stack[AnsiStackBufferSize];
    char* out = stack;
    const unsigned int count = UnicodeStringToAnsiStringWithAllocate(
        out, Utf16(text).Data(), stack, sizeof(stack), file, length, minimalLength);
    std::string written = "null";
    if (out) {
      written = (out == stack ? "stack " : "heap ") + std::string(out, count);
      CHECK(out[count] == '\0');
    }
    CHECK(written == expected);
    if (out != stack) LFree(out);
  }
}

TEST_CASE("a failed conversion is a Conversion error and leaves nothing open or allocated") {
  SystemSession session(Settings::Windows98());
  winsim::Gate& gate = session.Machine().gate;
  char stack[4];
  char* out = stack;
  for (const wchar_t* const text : {L"x", L"long"}) {
    gate.FailFunction("WideCharToMultiByte", ERROR_NO_UNICODE_TRANSLATION);
    CHECK(Thrown([&] { UnicodeStringToAnsiStringWithAllocate(out, text, stack, 4, 0, 0, 0); }) ==
          "message: Conversion error");
    CHECK(out == nullptr);
  }
  wchar_t target[5];
  char* const source = static_cast<char*>(LAllocate(5));
  gate.FailFunction("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  CHECK(Thrown([&] { AnsiStringToUnicodeStringWithFree(target, source, 5, stack, 0, 0); }) ==
        "message: Conversion error");
  WIN32_FIND_DATAW data;
  session.Machine().files.WriteFile(u"C:\\x", "");
  gate.FailFunction("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  CHECK(Thrown([&] { FindFirstFileU(L"C:\\x", &data); }) == "message: Conversion error");
}

TEST_CASE("texts fit into as many units on every system, and nothing is written behind the room") {
  const auto check = [](const std::u16string& value, bool isWide, auto get) {
    const unsigned int length = static_cast<unsigned int>(value.size());
    unsigned int needed = 0;
    for (const unsigned int room : {0u, 1u, length - 1, length, length + 1, length + 2, length + 400}) {
      std::vector<wchar_t> units(room + 8, L'#');
      const unsigned int answer = get(units.data(), room);
      if (room > length) {
        CHECK(answer == length);
        CHECK(MachineText(units.data()) == value);
      } else {
        CHECK(answer >= length + 1);
        if (isWide) CHECK(answer == length + 1);
        needed = std::max(needed, answer);
      }
      const auto intact = units.begin() + (room > length ? room : 0);
      CHECK(std::count(intact, units.end(), L'#') == units.end() - intact);
    }
    std::vector<wchar_t> units(needed);
    CHECK(get(units.data(), needed) == length);
  };
  for (const NamedSystem& system : systems) {
    Settings settings = system.settings;
    settings.windowsDirectory = u"C:\\" + Repeated(system.name, 40);
    SystemSession session(settings);
    check(settings.windowsDirectory, system.IsWide(), GetWindowsDirectoryU);
    for (const unsigned int repeats : {1u, 40u, 400u}) {
      const std::u16string value = Repeated(system.name, repeats);
      session.Process().environment[u"KV"] = value;
      check(value, system.IsWide(),
            [](wchar_t* units, UINT room) { return GetEnvironmentVariableU(L"KV", units, room); });
    }
  }
}

TEST_CASE("registry values pass through the 8-bit functions and come back whole") {
  for (const NamedSystem& system : systems) {
    SystemSession session(system.settings);
    session.Machine().registry.Make(u"Software\\" + system.name);
    const HKEY key = OpenKey(u"Software\\" + system.name);
    const LUnicodeString name = SystemText(system.name);
    for (const unsigned int repeats : {0u, 1u, 400u}) {
      const std::u16string stored = Repeated(system.name, repeats) + u'\0' + system.name;
      const DWORD size = static_cast<DWORD>((stored.size() + 1) * sizeof(wchar_t));
      const BYTE* const bytes = reinterpret_cast<const BYTE*>(stored.c_str());
      REQUIRE(RegSetValueExU(key, name.Data(), 0, REG_MULTI_SZ, bytes, size) == ERROR_SUCCESS);
      // The 8-bit wrapper stores a terminator of its own behind the one in the data.
      std::vector<BYTE> data(size + 2);
      DWORD type = 0, needed = 0, answered = size + 2;
      CHECK(RegQueryValueExU(key, name.Data(), nullptr, &type, nullptr, &needed) == ERROR_SUCCESS);
      CHECK(type == REG_MULTI_SZ);
      CHECK(needed == (system.IsWide() ? size : size + 2));
      CHECK(RegQueryValueExU(key, name.Data(), nullptr, nullptr, data.data(), &answered) == ERROR_SUCCESS);
      CHECK(answered == needed);
      CHECK(std::memcmp(data.data(), bytes, size) == 0);
    }
    RegCloseKey(key);
  }
}

TEST_CASE("file names are in the file functions' code page") {
  for (const bool fileApisUseAnsi : {true, false}) {
    SystemSession session(OnCodePages(1252, 437, fileApisUseAnsi));
    const std::u16string name = u"C:\\\u00E9t\u00E9.txt";
    session.Machine().files.WriteFile(name, "contents");
    CHECK(DeleteFileU(SystemText(name).Data()));
    CHECK_FALSE(session.Machine().files.Exists(name));
    char text[] = "\x82";
    wchar_t unit[2];
    CHECK(AnsiStringToUnicodeStringWithFree(unit, text, 2, text, 1, 0) == 1);
    CHECK(unit[0] == (fileApisUseAnsi ? 0x201A : 0xE9));
  }
}

TEST_CASE("files are found by wide text on every system") {
  for (const NamedSystem& system : systems) {
    SystemSession session(system.settings);
    session.Machine().files.WriteFile(u"C:\\" + system.name, "contents");
    WIN32_FIND_DATAW data;
    CHECK(FindClose(FindFirstFileU(SystemText(u"C:\\" + system.name).Data(), &data)));
    CHECK(MachineText(data.cFileName) == system.name);
    CHECK(std::tuple(data.nFileSizeLow, data.nFileSizeHigh, data.dwFileAttributes) ==
          std::tuple(8u, 0u, 32u));
  }
}
