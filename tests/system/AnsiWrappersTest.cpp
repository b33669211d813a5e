#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "machine/CodePages.h"
#include "support/SystemSession.h"
#include "support/Utf8.h"
#include "system/Handle.h"
#include "system/PlatformApi.h"

// What the wide-or-8-bit wrappers do on a system without wide functions; where it must be the same, also on
// one with them.

using namespace LCommon::System;
using winsim::Settings;

namespace {

Settings Ansi(unsigned int codePage) {
  Settings settings = Settings::Windows98();
  settings.ansiCodePage = codePage;
  settings.oemCodePage = codePage;
  return settings;
}

/// Systems of every kind, each with a name that its code page can say.
struct NamedSystem {
  Settings settings;
  std::u16string name;
};
const NamedSystem systems[] = {{Ansi(1252), u"\u00E9t\u00E9"},
                               {Ansi(932), u"\u65E5\u672C\u8A9E"},
                               {Settings::Windows10(), u"\u65E5\u672C"}};

std::u16string Repeated(const std::u16string& text, unsigned int count) {
  std::u16string result;
  while (count-- > 0)
    result += text;
  return result;
}

/// A wide buffer whose end is watched.
struct Room {
  explicit Room(unsigned int size) : room(size), units(size + 8, L'#') {}
  bool IsIntactFrom(unsigned int index) const {
    for (; index < units.size(); ++index) {
      if (units[index] != L'#') return false;
    }
    return true;
  }
  unsigned int room;
  std::vector<wchar_t> units;
};

}  // namespace

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
    const bool isWide = settings.version.platformId == 2;
    check(settings.windowsDirectory, isWide, directory);
    for (const unsigned int repeats : {1u, 40u, 400u}) {
      const std::u16string value = Repeated(system.name, repeats);
      session.Process().environment[u"KV"] = value;
      check(value, isWide, variable);
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
    CHECK(record.dwMajorVersion == 4);
    CHECK(record.dwMinorVersion == 10);
    CHECK(record.dwBuildNumber == 67766446);
    CHECK(record.dwPlatformId == 1);
    CHECK(Utf8(record.szCSDVersion) == "Service Pack 6");
    CHECK(record.dwOSVersionInfoSize == size);
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
    const bool isWide = system.settings.version.platformId == 2;
    for (const DWORD type : {REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_BINARY}) {
      for (const unsigned int repeats : {0u, 1u, 70u, 400u}) {
        std::u16string stored = Repeated(system.name, repeats);
        if (type == REG_MULTI_SZ) stored = stored + u'\0' + stored;
        const DWORD size = static_cast<DWORD>((stored.size() + 1) * sizeof(wchar_t));
        std::vector<wchar_t> units(stored.begin(), stored.end());
        units.push_back(0);
        const BYTE* const bytes = reinterpret_cast<const BYTE*>(units.data());
        REQUIRE(RegSetValueExU(key, name.Data(), 0, type, bytes, size) == ERROR_SUCCESS);

        // String types are stored with a terminator of the wrapper's own behind the one in the data.
        const DWORD expected = type == REG_BINARY || isWide ? size : size + 2;
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
          if (room == needed || !isWide) CHECK(std::memcmp(data.data(), bytes, std::min(room, size)) == 0);
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
    Settings settings = Settings::Windows98();
    settings.fileApisUseAnsi = fileApisUseAnsi;
    SystemSession session(settings);
    const std::u16string name = u"C:\\\u00E9t\u00E9.txt";
    const LUnicodeString path = SystemText(name);
    session.Machine().files.WriteFile(name, "contents");

    {
      Handle file;
      CHECK(file.Adopt(CreateFileU(path.Data(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
      CHECK(GetFileSize(file.Get(), nullptr) == 8);
      Handle mapping;
      CHECK(mapping.Adopt(CreateFileMappingU(file.Get(), nullptr, PAGE_READONLY, 0, 0, nullptr)));
    }
    CHECK(GetFileAttributesU(path.Data()) == FILE_ATTRIBUTE_ARCHIVE);
    CHECK(SetFileAttributesU(path.Data(), FILE_ATTRIBUTE_HIDDEN));
    CHECK(session.Machine().files.Attributes(name) == FILE_ATTRIBUTE_HIDDEN);
    CHECK(DeleteFileU(path.Data()));
    CHECK_FALSE(session.Machine().files.Exists(name));
    CHECK(GetFileAttributesU(path.Data()) == INVALID_FILE_ATTRIBUTES);
    CHECK(GetLastError() == ERROR_FILE_NOT_FOUND);
  }
}

TEST_CASE("a found file is described as by the wide function") {
  for (const NamedSystem& system : systems) {
    SystemSession session(system.settings);
    const std::u16string path = u"C:\\" + system.name + u".sys";
    session.Machine().files.WriteFile(path, "contents");
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileU(SystemText(path).Data(), &data);
    REQUIRE(find != INVALID_HANDLE_VALUE);
    CHECK(FindClose(find));
    CHECK(MachineText(data.cFileName) == system.name + u".sys");
    CHECK(data.nFileSizeLow == 8);
    CHECK(data.nFileSizeHigh == 0);
    CHECK(data.dwFileAttributes == FILE_ATTRIBUTE_ARCHIVE);

    CHECK(FindFirstFileU(L"C:\\none", &data) == INVALID_HANDLE_VALUE);
    CHECK(GetLastError() == ERROR_FILE_NOT_FOUND);
  }
  SystemSession session(Settings::Windows98());
  session.Machine().files.WriteFile(u"C:\\x", "");
  session.Machine().gate.FailFunction("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  WIN32_FIND_DATAW data;
  CHECK_THROWS_AS(FindFirstFileU(L"C:\\x", &data), LMessageException);  // and the search is closed
}

TEST_CASE("processes, mutexes, libraries and message boxes work by wide text on every system") {
  for (const NamedSystem& system : systems) {
    SystemSession session(system.settings);
    winsim::Machine& machine = session.Machine();
    const std::u16string program = u"C:\\" + system.name + u".exe";
    machine.files.WriteFile(program, "MZ");
    std::u16string seen;
    machine.programs[system.name + u".exe"] = [&seen] {
      seen = winsim::Thread::Current().process->CommandLine();
      return 7;
    };
    std::vector<wchar_t> commandLine;
    const std::u16string given = u"\"" + program + u"\" " + system.name;
    commandLine.assign(given.begin(), given.end());
    commandLine.push_back(0);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information{};
    REQUIRE(CreateProcessU(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &startup, &information));
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

    CHECK(GetModuleHandleU(L"kernel32.dll") != nullptr);
    CHECK(GetModuleHandleU(L"none.dll") == nullptr);
    const HMODULE library = LoadLibraryU(L"setupapi.dll");
    REQUIRE(library != nullptr);
    CHECK(GetModuleHandleU(L"setupapi.dll") == library);
    CHECK(FreeLibrary(library));
  }
}
