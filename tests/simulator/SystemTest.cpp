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

TEST_CASE("libraries are found by any spelling, counted, and have the functions of the system's version") {
  Settings settings;
  settings.missingModules = {u"VERSION.dll"};
  settings.missingFunctions = {"MoveFileExW"};
  MachineSession session(settings);
  const HMODULE kernel = GetModuleHandleW(L"KERNEL32.DLL");
  CHECK((kernel != nullptr && GetModuleHandleA("kernel32") == kernel));
  CHECK(GetModuleHandleW(L"c:\\windows\\SYSTEM32\\kernel32.dll") == kernel);
  for (const wchar_t* const name : {L"version.dll", L"kernel32.", L"D:\\kernel32.dll"}) {
    CHECK(FailureOf([&] { return LoadLibraryW(name); }) == ERROR_MOD_NOT_FOUND);
  }
  const HMODULE setup = LoadLibraryA("setupapi.dll");
  CHECK(LoadLibraryW(L"SetupApi") == setup);
  CHECK(LoadLibraryW(L"c:\\windows\\SYSTEM32\\setupapi.dll") == setup);
  CHECK(session.Process().modules.Describe() == std::vector<std::string>{"library setupapi.dll"});
  CHECK((FreeLibrary(setup) == TRUE && FreeLibrary(setup) == TRUE && FreeLibrary(setup) == TRUE));
  CHECK(FailureOf([&] { return FreeLibrary(setup); }) == ERROR_MOD_NOT_FOUND);
  CHECK(FailureOf([&] { return GetProcAddress(kernel, "MoveFileExW"); }) == ERROR_PROC_NOT_FOUND);
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
