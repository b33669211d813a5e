#include "system/AnsiText.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <vector>

#include "foundation/Exception.h"
#include "foundation/Memory.h"
#include "machine/CodePages.h"
#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/Handle.h"
#include "system/Platform.h"
#include "system/PlatformApi.h"
#include "system/PlatformState.h"

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
                               {Settings::Windows10(), u"\u65E5\u672C"}};

template <class Text>
Text Repeated(const Text& text, unsigned int count) {
  Text result;
  while (count-- > 0)
    result += text;
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

/// A wide buffer whose end is watched.
struct Room {
  explicit Room(unsigned int size) : room(size), units(size + 8, L'#') {}
  bool IsIntactFrom(unsigned int index) const {
    return std::count(units.begin() + index, units.end(), L'#') == std::ssize(units) - index;
  }
  unsigned int room;
  std::vector<wchar_t> units;
};

}  // namespace

TEST_CASE("text for 8-bit functions is in their code page, on the stack while it fits there") {
  const Settings latin = OnCodePages(1252, 437), oemFiles = OnCodePages(1252, 437, false),
                 japanese = OnCodePages(932, 932);
  const std::string e = "\xC3\xA9", day = "\xE6\x97\xA5", day932 = "\x93\xFA";
  const std::string x287(287, 'x'), x288(288, 'x');
  const std::tuple<const Settings&, std::string, unsigned, unsigned, unsigned, std::string> cases[] = {
      {latin, "", 0, 0, 0, "null"},
      {latin, "abc", 0, 2, 0, "stack ab"},
      {latin, e, 1, 0, 0, "stack \xE9"},
      {oemFiles, e, 0, 0, 0, "stack \xE9"},
      {oemFiles, e, 1, 0, 0, "stack \x82"},
      {latin, x287, 0, 0, 0, "stack " + x287},
      {latin, x288, 0, 0, 0, "heap " + x288},
      {latin, "x", 0, 0, 287, "stack x"},
      {latin, "x", 0, 0, 288, "heap x"},
      {japanese, Repeated(day, 143), 0, 0, 0, "stack " + Repeated(day932, 143)},
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

TEST_CASE("text from 8-bit functions comes back as it went, on every code page") {
  for (const auto& [codePage, text] : {std::pair(1252u, std::string("C:\\\xC3\xA9t\xC3\xA9")),
                                       std::pair(932u, std::string("C:\\\xE6\x97\xA5\xE6\x9C\xAC"))}) {
    SystemSession session(OnCodePages(codePage, codePage));
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

TEST_CASE("a failed conversion is a Conversion error and leaves nothing open or allocated") {
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
  wchar_t target[5];
  char* const source = static_cast<char*>(LAllocate(5));
  gate.FailFunction("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  CHECK(MessageOf([&] { AnsiStringToUnicodeStringWithFree(target, source, 5, stack, 0, 0); }) ==
        "Conversion error");
  WIN32_FIND_DATAW data;
  session.Machine().files.WriteFile(u"C:\\x", "");
  gate.FailFunction("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  CHECK(MessageOf([&] { FindFirstFileU(L"C:\\x", &data); }) == "Conversion error");
}

TEST_CASE("the room for an 8-bit text grows with the size of the code page's characters") {
  for (const auto& [ansi, expected] : {std::pair(1252u, 1u), std::pair(932u, 2u), std::pair(65001u, 4u)}) {
    SystemSession session(OnCodePages(ansi, 437));
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

TEST_CASE("texts fit into as many units on every system, and nothing is written behind the room") {
  const auto directory = [](Room& room) { return GetWindowsDirectoryU(room.units.data(), room.room); };
  const auto variable = [](Room& room) {
    return GetEnvironmentVariableU(L"KV", room.units.data(), room.room);
  };
  const auto check = [](const std::u16string& value, bool isWide, auto get) {
    const unsigned int length = static_cast<unsigned int>(value.size());
    for (const unsigned int more : {1u, 2u, 400u}) {
      Room fits(length + more);
      CHECK(get(fits) == length);
      CHECK(MachineText(fits.units.data()) == value);
      CHECK(fits.IsIntactFrom(fits.room));
    }
    for (const unsigned int room : {0u, 1u, length - 1, length}) {
      Room small(room);
      const unsigned int needed = get(small);
      CHECK((isWide ? needed == length + 1 : needed > length));
      CHECK(small.IsIntactFrom(0));
      Room enough(needed);
      CHECK(get(enough) == length);
    }
  };
  for (const NamedSystem& system : systems) {
    Settings settings = system.settings;
    settings.windowsDirectory = u"C:\\" + Repeated(system.name, 40);
    SystemSession session(settings);
    check(settings.windowsDirectory, system.IsWide(), directory);
    for (const unsigned int repeats : {1u, 40u, 400u}) {
      const std::u16string value = Repeated(system.name, repeats);
      session.Process().environment[u"KV"] = value;
      check(value, system.IsWide(), variable);
    }
  }
}

TEST_CASE("version records of both sizes are filled, others are refused") {
  Settings settings = Settings::Windows98();
  settings.extendedVersionRecord = true;
  settings.reportedVersion.servicePack = u"Service Pack 6";
  SystemSession session(settings);
  OSVERSIONINFOEXW record{};
  const auto base = reinterpret_cast<LPOSVERSIONINFOW>(&record);
  for (const unsigned int size : {276u, 284u}) {
    std::memset(&record, '#', sizeof(record));
    record.dwOSVersionInfoSize = size;
    REQUIRE(GetVersionExU(base));
    CHECK(std::tuple(record.dwMajorVersion, record.dwMinorVersion, record.dwBuildNumber, record.dwPlatformId,
                     record.dwOSVersionInfoSize) == std::tuple(4u, 10u, 67766446u, 1u, size));
    CHECK(Utf8(record.szCSDVersion) == "Service Pack 6");
    CHECK(record.wServicePackMajor == (size == 284 ? 6 : 0x2323));
  }
  for (const unsigned int size : {0u, 148u, 156u, 275u, 280u}) {
    record.dwOSVersionInfoSize = size;
    CHECK_FALSE(GetVersionExU(base));
    CHECK(GetLastError() == ERROR_INVALID_PARAMETER);
  }
}

TEST_CASE("registry values pass through the 8-bit functions and come back whole") {
  for (const NamedSystem& system : systems) {
    SystemSession session(system.settings);
    session.Machine().registry.Make(u"Software\\" + system.name);
    HKEY key = nullptr;
    REQUIRE(RegOpenKeyExU(HKEY_LOCAL_MACHINE, SystemText(u"Software\\" + system.name).Data(), 0,
                          KEY_ALL_ACCESS, &key) == ERROR_SUCCESS);
    const LUnicodeString name = SystemText(system.name);
    for (const DWORD type : {REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_BINARY}) {
      for (const unsigned int repeats : {0u, 1u, 70u, 400u}) {
        std::u16string stored = Repeated(system.name, repeats);
        if (type == REG_MULTI_SZ) stored = stored + u'\0' + stored;
        const DWORD size = static_cast<DWORD>((stored.size() + 1) * sizeof(wchar_t));
        const BYTE* const bytes = reinterpret_cast<const BYTE*>(stored.c_str());
        REQUIRE(RegSetValueExU(key, name.Data(), 0, type, bytes, size) == ERROR_SUCCESS);

        // String types are stored with a terminator of the wrapper's own behind the one in the data.
        const DWORD expected = type == REG_BINARY || system.IsWide() ? size : size + 2;
        DWORD foundType = 0, needed = 0;
        CHECK(RegQueryValueExU(key, name.Data(), nullptr, &foundType, nullptr, &needed) == ERROR_SUCCESS);
        CHECK(foundType == type);
        CHECK(needed == expected);
        for (const DWORD room : {needed, needed - 1}) {
          std::vector<BYTE> data(needed + 1, '#');
          DWORD answered = room;
          CHECK(RegQueryValueExU(key, name.Data(), nullptr, nullptr, data.data(), &answered) ==
                (room == needed ? ERROR_SUCCESS : ERROR_MORE_DATA));
          CHECK(answered == needed);
          CHECK(data[room] == '#');
          // The wide function leaves the data undefined when there is more.
          if (room == needed || !system.IsWide())
            CHECK(std::memcmp(data.data(), bytes, std::min(room, size)) == 0);
        }
      }
    }
    CHECK(RegQueryValueExU(key, L"none", nullptr, nullptr, nullptr, nullptr) == ERROR_FILE_NOT_FOUND);
    BYTE data[4];
    CHECK(RegQueryValueExU(key, name.Data(), nullptr, nullptr, data, nullptr) == ERROR_INVALID_PARAMETER);
    RegCloseKey(key);
  }
}

TEST_CASE("a value is read into a buffer that grows by 288 bytes") {
  SystemSession session(Settings::Windows98());
  for (const auto& [size, calls] : {std::pair(0u, 1u), std::pair(288u, 1u), std::pair(289u, 2u),
                                    std::pair(576u, 2u), std::pair(700u, 3u)}) {
    session.Machine().registry.SetBinary(u"Software", u"V", winsim::Bytes(size, 7));
    HKEY key = nullptr;
    REQUIRE(RegOpenKeyExU(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == ERROR_SUCCESS);
    session.Machine().gate.StartTrace();
    DWORD needed = 1;
    CHECK(RegQueryValueExU(key, L"V", nullptr, nullptr, nullptr, &needed) == ERROR_SUCCESS);
    CHECK(needed == size);
    CHECK(session.Trace("RegQueryValueExA").size() == calls);
    RegCloseKey(key);
  }
}

TEST_CASE("file names are in the file functions' code page") {
  for (const bool fileApisUseAnsi : {true, false}) {
    SystemSession session(OnCodePages(1252, 437, fileApisUseAnsi));
    winsim::FileSystem& files = session.Machine().files;
    const std::u16string name = u"C:\\\u00E9t\u00E9.txt";
    const LUnicodeString path = SystemText(name);
    files.WriteFile(name, "contents");
    {
      Handle file, mapping;
      CHECK(file.Adopt(CreateFileU(path.Data(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
      CHECK(mapping.Adopt(CreateFileMappingU(file.Get(), nullptr, PAGE_READONLY, 0, 0, nullptr)));
    }
    CHECK(GetFileAttributesU(path.Data()) == FILE_ATTRIBUTE_ARCHIVE);
    CHECK(SetFileAttributesU(path.Data(), FILE_ATTRIBUTE_HIDDEN));
    CHECK(files.Attributes(name) == FILE_ATTRIBUTE_HIDDEN);
    CHECK(DeleteFileU(path.Data()));
    CHECK_FALSE(files.Exists(name));
  }
}

TEST_CASE("files, processes, mutexes, libraries and message boxes work by wide text on every system") {
  for (const NamedSystem& system : systems) {
    SystemSession session(system.settings);
    winsim::Machine& machine = session.Machine();
    const std::u16string program = u"C:\\" + system.name + u".exe";
    machine.files.WriteFile(program, "contents");
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileU(SystemText(program).Data(), &data);
    REQUIRE(find != INVALID_HANDLE_VALUE);
    CHECK(FindClose(find));
    CHECK(MachineText(data.cFileName) == system.name + u".exe");
    CHECK(std::tuple(data.nFileSizeLow, data.nFileSizeHigh, data.dwFileAttributes) ==
          std::tuple(8u, 0u, FILE_ATTRIBUTE_ARCHIVE));

    std::u16string seen, given = u"\"" + program + u"\" " + system.name;
    machine.programs[system.name + u".exe"] = [&seen] {
      seen = winsim::Thread::Current().process->CommandLine();
      return 7;
    };
    LUnicodeString commandLine = SystemText(given);
    std::vector<wchar_t> units(commandLine.Data(), commandLine.Data() + given.size() + 1);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information{};
    REQUIRE(CreateProcessU(nullptr, units.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                           &information));
    const Handle process(information.hProcess), thread(information.hThread);
    CHECK(WaitForSingleObject(process.Get(), INFINITE) == WAIT_OBJECT_0);
    DWORD exitCode = 0;
    CHECK(GetExitCodeProcess(process.Get(), &exitCode));
    CHECK(exitCode == 7);
    CHECK(seen == given);

    const Handle mutex(CreateMutexU(nullptr, FALSE, SystemText(system.name).Data()));
    CHECK(session.Process().handles.Find<winsim::Mutex>(mutex.Get())->GetIdentity().name == system.name);

    CHECK(MessageBoxU(nullptr, SystemText(system.name).Data(), L"caption", MB_ICONINFORMATION) == IDOK);
    REQUIRE(machine.messageBoxes.size() == 1);
    CHECK(machine.messageBoxes[0].text == system.name);
    CHECK(machine.messageBoxes[0].caption == u"caption");
    CHECK(machine.messageBoxes[0].type == MB_ICONINFORMATION);

    const HMODULE library = LoadLibraryU(L"setupapi.dll");
    REQUIRE(library != nullptr);
    CHECK(GetModuleHandleU(L"setupapi.dll") == library);
    CHECK(GetModuleHandleU(L"none.dll") == nullptr);
    CHECK(FreeLibrary(library));
  }
}
