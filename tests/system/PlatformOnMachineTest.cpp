#include "system/Platform.h"

#include <doctest/doctest.h>
#include <malloc.h>

#include <new>
#include <tuple>
#include <typeinfo>

#include "foundation/Memory.h"
#include "foundation/TextConversion.h"
#include "support/Lines.h"
#include "support/SystemSession.h"
#include "support/Throws.h"
#include "system/Manager.h"
#include "system/MsMemoryManager.h"
#include "system/PlatformApi.h"
#include "system/PlatformState.h"
#include "system/Wow64FsRedirection.h"

using namespace LCommon::System;
using winsim::Settings;

namespace {

Settings Without(Settings settings, std::initializer_list<const char*> functions) {
  settings.missingFunctions.insert(functions.begin(), functions.end());
  return settings;
}

/// Windows 98 with a function that it really lacks.
Settings Windows98With(const char* function) {
  Settings settings = Settings::Windows98();
  settings.missingFunctions.erase(function);
  return settings;
}

std::string Describe(const OSVERSIONINFOW& version) {
  std::string text = std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
                     "." + std::to_string(version.dwBuildNumber & 0x0FFFFFFF);
  if (version.dwBuildNumber >> 28 == 0xF) text += " flagged";
  text += version.dwPlatformId == VER_PLATFORM_WIN32_NT ? " NT" : " not NT";
  if (version.dwOSVersionInfoSize != 276 || version.szCSDVersion[0] != 0) text += " with a wrong record";
  return text;
}

/// What the layer has left in this process: nothing, if it is not started.
std::string Remains() {
  std::string remains;
  try {
    LFree(LAllocate(1));
    remains += "a heap ";
  } catch (const std::bad_alloc&) {
  }
  if (LInstalledTextConversion()) remains += "a text conversion ";
  const PlatformState& state = Platform();
  if (state.version || state.unicode || state.setupModule || state.functions.moveFileEx)
    remains += "a state ";
  if (Thrown([] { Manager::Instance(); }) != "g_instance != 0") remains += "a manager";
  return remains;
}

}  // namespace

TEST_CASE("the version comes from the best source that the machine has") {
  Settings withoutNtdll = Settings::Windows10();
  withoutNtdll.missingModules.insert(u"ntdll.dll");
  const std::tuple<Settings, bool, const char*> cases[] = {
      {Settings::Windows10(), true, "10.0.19045 flagged NT"},
      {Without(Settings::Windows10(), {"RtlGetNtVersionNumbers"}), true, "10.0.19045 NT"},
      {Without(Settings::Windows10(), {"RtlGetNtVersionNumbers", "RtlGetVersion"}), true, "6.2.9200 NT"},
      {withoutNtdll, true, "6.2.9200 NT"},
      {Settings::Windows10(), false, "6.2.9200 NT"},
      {Settings::WindowsNt4(), true, "4.0.1381 NT"},
      {Windows98With("RtlGetNtVersionNumbers"), true, "4.10.67766446 flagged NT"},
      {Windows98With("RtlGetVersion"), true, "4.10.67766446 not NT"}};
  for (const auto& [settings, tryNative, expected] : cases) {
    MachineSession session(settings);
    OSVERSIONINFOW version, again;
    CHECK(DetectVersion(tryNative, version));
    CHECK(Describe(version) == expected);

    session.Machine().gate.StartTrace();
    CHECK(DetectVersion(!tryNative, again));
    CHECK(Describe(again) == expected);
    CHECK(session.Trace().empty());
    UninitializeSystem();
  }
}

TEST_CASE("a start that fails at any call leaves nothing behind, and the next one works") {
  for (const Settings& settings :
       {Without(Settings::Windows10(), {"RtlGetNtVersionNumbers"}), Settings::Windows98()}) {
    MachineSession session(settings);
    winsim::Gate& gate = session.Machine().gate;
    unsigned int failedDetections = 0, otherFailures = 0;
    bool reached = true;
    for (unsigned int call = 1; reached; ++call) {
      gate.FailCall(call, ERROR_NOT_ENOUGH_MEMORY);
      bool started = true;
      try {
        InitializeSystem(1);
      } catch (const LBaseException& exception) {
        started = false;
        ++(typeid(exception) == typeid(LBaseException) ? failedDetections : otherFailures);
      }
      reached = gate.HasIntervened();
      gate.Restore();
      if (started) UninitializeSystem();
      CHECK(Remains() == "");
      CHECK(session.Process().modules.Describe().empty());
    }
    CHECK(failedDetections == 1);
    CHECK(otherFailures >= 1);
  }
}

TEST_CASE("what the memory manager takes back is the host's again") {
  SystemSession session;
  MsMemoryManager manager;
  const auto used = [] {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
  };
  const std::size_t before = used();
  void* const block = manager.Allocate(1 << 20);
  const std::size_t between = used();
  manager.Free(block);
  const std::size_t after = used();
  // Under a sanitizer the host tells nothing; its own search for leaks asks the same.
  if (between != 0) CHECK(between >= before + (1 << 20));
  CHECK(after == before);
}

TEST_CASE("a second start is refused and leaves the first one as it is") {
  SystemSession session;
  CHECK(Thrown([] { InitializeSystem(1); }) == "g_instance == 0");
  CHECK(Thrown([] { Manager::CreateInstance(); }) == "g_instance == 0");
  CHECK(Manager::Instance().IsNt5OrLater());
  UninitializeSystem();
  UninitializeSystem();
  CHECK(Remains() == "");
}

TEST_CASE("what a system cannot do is asserted or fails with 120, as the wrapper's kind says") {
  const auto isNotImplemented = [](bool failed) {
    return failed && GetLastError() == ERROR_CALL_NOT_IMPLEMENTED;
  };
  {
    SystemSession session(Windows98With("MoveFileExW"));
    CHECK(Thrown([] { RegDeleteKeyU(nullptr, L"x"); }) == "0");
    CHECK(isNotImplemented(!OpenSCManagerU(nullptr, nullptr, 0)));
    CHECK(isNotImplemented(!MoveFileExU(L"x", nullptr, 0)));
    CHECK(session.Trace().empty());
  }
  SystemSession session(Without(Settings::WindowsNt4(), {"MoveFileExW"}));
  CHECK(isNotImplemented(!MoveFileExU(L"x", nullptr, 0)));
  CHECK(isNotImplemented(SetupDiGetClassDevsU(nullptr, nullptr, nullptr, 0) == INVALID_HANDLE_VALUE));
  CHECK(session.Trace().empty());
}

TEST_CASE("libraries that few need are loaded from this process's system directory, by full paths") {
  Settings noUser = Settings::Windows10();
  noUser.missingModules = {u"user32.dll"};
  // At the start, and for a message box; what the box answers.
  const std::tuple<Settings, Lines, int> cases[] = {
      {Settings::Windows10(),
       {R"(LoadLibraryW("C:\Windows\system32\setupapi.dll"))",
        R"(LoadLibraryW("C:\Windows\system32\user32.dll"))"},
       IDOK},
      {Settings::Windows10Wow64(),
       {R"(LoadLibraryW("C:\Windows\SysWOW64\setupapi.dll"))",
        R"(LoadLibraryW("C:\Windows\SysWOW64\user32.dll"))"},
       IDOK},
      {Settings::WindowsNt4(),
       {R"(LoadLibraryW("C:\WINNT\system32\setupapi.dll") = 126)",
        R"(LoadLibraryW("C:\WINNT\system32\user32.dll"))"},
       IDOK},
      {Settings::Windows98(), {R"(LoadLibraryA("C:\WINDOWS\SYSTEM\user32.dll"))"}, IDOK},
      {noUser,
       {R"(LoadLibraryW("C:\Windows\system32\setupapi.dll"))",
        R"(LoadLibraryW("C:\Windows\system32\user32.dll") = 126)"},
       0}};
  for (const auto& [settings, loaded, answer] : cases) {
    MachineSession session(settings);
    InitializeSystem(1);
    {
      const Wow64FsRedirectionDisabler disabler;
      CHECK(MessageBoxU(nullptr, L"text", L"caption", MB_OK) == answer);
      CHECK((answer == IDOK || GetLastError() == ERROR_CALL_NOT_IMPLEMENTED));
    }
    UninitializeSystem();
    CHECK(session.Trace(loaded[0].substr(0, 12)) == loaded);
  }
}
