#include <doctest/doctest.h>

#include "simulator/LastError.h"
#include "support/MachineSession.h"
#include "support/Threads.h"

using winsim::Settings;

namespace {

template <class Function>
Function Find(const wchar_t* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(library), name)));
}

}  // namespace

TEST_CASE("the time of day, split and joined") {
  const struct {
    std::uint64_t time;
    SYSTEMTIME expected;  // year, month, day of week, day, hour, minute, second, milliseconds
  } cases[] = {{0, {1601, 1, 1, 1, 0, 0, 0, 0}},
               {116444736000000000, {1970, 1, 4, 1, 0, 0, 0, 0}},
               {125963423990000000, {2000, 2, 2, 29, 23, 59, 59, 0}},
               {133800768000010000, {2024, 12, 2, 31, 0, 0, 0, 1}}};
  MachineSession session;
  for (const auto& test : cases) {
    CAPTURE(test.time);
    const auto& [time, expected] = test;
    session.Machine().clock.Set(time);
    SYSTEMTIME split;
    GetSystemTime(&split);
    CHECK(std::equal(&split.wYear, &split.wYear + 8, &expected.wYear));
    FILETIME joined;
    CHECK(SystemTimeToFileTime(&split, &joined) == TRUE);
    CHECK((static_cast<std::uint64_t>(joined.dwHighDateTime) << 32 | joined.dwLowDateTime) == time);
  }
}

TEST_CASE("libraries are found by any spelling, counted, and have the functions of the system's version") {
  Settings settings;
  settings.missingModules = {u"VERSION.dll"};
  settings.missingFunctions = {"MoveFileExW"};
  MachineSession session(settings);
  const HMODULE kernel = GetModuleHandleW(L"KERNEL32.DLL");
  CHECK((kernel != nullptr && GetModuleHandleA("kernel32") == kernel));
  CHECK(GetModuleHandleW(L"c:\\windows\\SYSTEM32\\kernel32.dll") == kernel);
  const auto missing = [](const wchar_t* name) { return FailureOf([&] { return GetModuleHandleW(name); }); };
  for (const wchar_t* const name : {L"setupapi.dll", L"version.dll", L"kernel32.", L"D:\\kernel32.dll"}) {
    CHECK(missing(name) == ERROR_MOD_NOT_FOUND);
  }
  CHECK(FailureOf([] { return LoadLibraryW(L"version.dll"); }) == ERROR_MOD_NOT_FOUND);

  const HMODULE setup = LoadLibraryA("setupapi.dll");
  CHECK(LoadLibraryW(L"SetupApi") == setup);
  CHECK(LoadLibraryW(L"c:\\windows\\SYSTEM32\\setupapi.dll") == setup);
  CHECK(session.Process().modules.Describe() == std::vector<std::string>{"library setupapi.dll"});
  CHECK((FreeLibrary(setup) == TRUE && FreeLibrary(setup) == TRUE && FreeLibrary(setup) == TRUE));
  CHECK(FailureOf([&] { return FreeLibrary(setup); }) == ERROR_MOD_NOT_FOUND);
  CHECK(missing(L"setupapi.dll") == ERROR_MOD_NOT_FOUND);

  const auto absent = [](HMODULE module, const char* name) {
    return FailureOf([&] { return GetProcAddress(module, name); });
  };
  CHECK(Find<decltype(&::GetTickCount)>(L"kernel32", "GetTickCount")() == GetTickCount());
  CHECK(absent(kernel, "MoveFileExW") == ERROR_PROC_NOT_FOUND);
  CHECK(absent(setup, "SetupDiEnumDeviceInfo") == ERROR_MOD_NOT_FOUND);
}

TEST_CASE("a 32-bit process finds its libraries by redirection, and in their own directory without it") {
  MachineSession session(Settings::Windows10Wow64());
  const auto load = [](const wchar_t* name) { return FailureOf([&] { return LoadLibraryW(name); }); };
  const wchar_t* const own = L"C:\\Windows\\SysWOW64\\setupapi.dll";
  const wchar_t* const system = L"C:\\Windows\\system32\\setupapi.dll";
  wchar_t buffer[MAX_PATH];
  CHECK(Find<UINT(WINAPI*)(LPWSTR, UINT)>(L"kernel32", "GetSystemWow64DirectoryW")(buffer, MAX_PATH) == 19);
  CHECK(winsim::FromWide(buffer) == u"C:\\Windows\\SysWOW64");
  PVOID previous = nullptr;
  REQUIRE(Find<BOOL(WINAPI*)(PVOID*)>(L"kernel32", "Wow64DisableWow64FsRedirection")(&previous) == TRUE);
  CHECK(load(system) == ERROR_BAD_EXE_FORMAT);
  CHECK(load(L"setupapi") == ERROR_BAD_EXE_FORMAT);
  const HMODULE setup = LoadLibraryW(own);
  CHECK((setup != nullptr && LoadLibraryW(system) == setup && GetModuleHandleW(own) == setup));
  CHECK((FreeLibrary(setup) == TRUE && FreeLibrary(setup) == TRUE));
  REQUIRE(Find<BOOL(WINAPI*)(PVOID)>(L"kernel32", "Wow64RevertWow64FsRedirection")(previous) == TRUE);
  CHECK((LoadLibraryW(system) != nullptr && FreeLibrary(GetModuleHandleW(own)) == TRUE));
}

TEST_CASE("names of mutexes") {
  const struct {
    unsigned int ownSession;
    const wchar_t *existing, *name;
    DWORD error;
  } cases[] = {{1, L"x", L"global\\a", 3},
               {1, L"x", L"Global\\a\\b", 3},
               {0, L"a", L"Global\\a", 183},
               {1, L"", L"", 0}};
  for (const auto& test : cases) {
    CAPTURE(&test - cases);
    MachineSession session;
    session.Process().session = test.ownSession;
    const HANDLE first = CreateMutexW(nullptr, FALSE, test.existing);
    HANDLE second = nullptr;
    const DWORD error = ErrorOf([&] { second = CreateMutexW(nullptr, FALSE, test.name); });
    CHECK(error == test.error);
    CloseHandle(first);
    if (second != nullptr) CloseHandle(second);
  }
}

TEST_CASE("a wait that nothing can end, and one that the power loss ends") {
  MachineSession session;
  const auto wait = [] { return WaitForSingleObject(GetCurrentProcess(), INFINITE); };
  CHECK(FailureOf(WAIT_FAILED, wait) == ERROR_POSSIBLE_DEADLOCK);
  DWORD error = 0;
  TestThread waiting([&] { error = FailureOf(WAIT_FAILED, wait); });
  Pause(0);
  session.Machine().gate.CutPowerAt(1);
  CHECK(FailureOf([] { return CreateMutexW(nullptr, FALSE, nullptr); }) == ERROR_NOT_READY);
  waiting.Join();
  CHECK(error == ERROR_NOT_READY);
  session.Machine().gate.Restore();
}
