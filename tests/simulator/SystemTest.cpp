#include <doctest/doctest.h>

#include <vector>

#include "machine/CodePages.h"
#include "simulator/LastError.h"
#include "support/MachineSession.h"

using winsim::Settings;

namespace {

using GetNtVersionNumbers = void(WINAPI*)(LPDWORD, LPDWORD, LPDWORD);
using GetNtVersion = LONG(WINAPI*)(LPOSVERSIONINFOW);
using DisableRedirection = BOOL(WINAPI*)(PVOID*);
using RevertRedirection = BOOL(WINAPI*)(PVOID);
using IsWow64 = BOOL(WINAPI*)(HANDLE, PBOOL);

template <class Function>
Function Find(const wchar_t* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(library), name)));
}

}  // namespace

TEST_CASE("the version functions tell what each of them knows") {
  {
    Settings settings;
    settings.version = {10, 0, 19045, 2, u""};
    settings.reportedVersion = {5, 1, 2600, 2, u"Service Pack 3"};
    MachineSession session(settings);
    OSVERSIONINFOEXW extended = {};
    extended.dwOSVersionInfoSize = sizeof extended;
    auto* const plain = reinterpret_cast<OSVERSIONINFOW*>(&extended);
    CHECK(GetVersionExW(plain) == TRUE);
    CHECK((extended.dwMajorVersion == 5 && extended.dwMinorVersion == 1 && extended.dwBuildNumber == 2600));
    CHECK((extended.wServicePackMajor == 3 && extended.wProductType == 1));
    CHECK(winsim::ToUtf8(winsim::FromWide(extended.szCSDVersion)) == "Service Pack 3");

    extended = {};
    extended.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
    CHECK(Find<GetNtVersion>(L"ntdll.dll", "RtlGetVersion")(plain) == 0);
    CHECK((extended.dwMajorVersion == 10 && extended.dwBuildNumber == 19045 && extended.wProductType == 0));
    DWORD major = 0;
    DWORD build = 0;
    Find<GetNtVersionNumbers>(L"NTDLL", "RtlGetNtVersionNumbers")(&major, nullptr, &build);
    CHECK((major == 10 && build == (0xF0000000 | 19045)));

    for (const DWORD size : {0u, 275u, 148u}) {
      extended.dwOSVersionInfoSize = size;
      CHECK(FailureOf([&] { return GetVersionExW(plain); }) == ERROR_INSUFFICIENT_BUFFER);
    }
  }
  MachineSession session(Settings::Windows98());
  OSVERSIONINFOEXA record = {};
  auto* const plain = reinterpret_cast<OSVERSIONINFOA*>(&record);
  record.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
  CHECK(GetVersionExA(plain) == TRUE);
  CHECK(
      (record.dwMajorVersion == 4 && record.dwPlatformId == 1 && std::string(record.szCSDVersion) == " A "));
  record.dwOSVersionInfoSize = sizeof record;
  CHECK(FailureOf([&] { return GetVersionExA(plain); }) == ERROR_INSUFFICIENT_BUFFER);
}

TEST_CASE("functions that give text tell the room they need") {
  MachineSession session;
  session.Process().environment[u"Empty"] = u"";
  session.Process().environment[u"Tail"] = u"\u20AC1";
  wchar_t wide[64];
  char narrow[64];
  const auto check = [&](auto callWide, auto callNarrow, const std::string& bytes) {
    const std::u16string text = winsim::CodePage::Find(1252)->Decode(bytes);
    const auto length = static_cast<DWORD>(text.size());
    for (const DWORD room : {0u, length, length + 1, 64u}) {
      CAPTURE(room);
      wide[0] = narrow[0] = 1;
      const bool fits = room > length;
      CHECK(callWide(wide, room) == (fits ? length : length + 1));
      CHECK(callNarrow(narrow, room) == (fits ? length : length + 1));
      CHECK(winsim::ToUtf8(winsim::FromWide(wide, fits ? length + 1 : 1)) ==
            winsim::ToUtf8(fits ? std::u16string(text.c_str(), length + 1) : u"\1"));
      CHECK((fits ? std::string(narrow) == bytes : narrow[0] == 1));
    }
  };
  check(GetSystemDirectoryW, GetSystemDirectoryA, "C:\\Windows\\system32");
  check(GetWindowsDirectoryW, GetWindowsDirectoryA, "C:\\Windows");
  check([](wchar_t* buffer, DWORD room) { return GetEnvironmentVariableW(L"TAIL", buffer, room); },
        [](char* buffer, DWORD room) { return GetEnvironmentVariableA("tail", buffer, room); },
        "\x80"
        "1");
  check([](wchar_t* buffer, DWORD room) { return GetEnvironmentVariableW(L"Empty", buffer, room); },
        [](char* buffer, DWORD room) { return GetEnvironmentVariableA("Empty", buffer, room); }, "");
  CHECK(FailureOf([&] { return GetEnvironmentVariableW(L"None", wide, 64); }) == ERROR_ENVVAR_NOT_FOUND);
  CHECK(FailureOf([&] { return GetEnvironmentVariableA("", narrow, 64); }) == ERROR_ENVVAR_NOT_FOUND);
  CHECK(ErrorOf([&] { GetEnvironmentVariableW(L"Empty", wide, 64); }) == Untouched);
}

TEST_CASE("the time of day, split and joined") {
  const struct {
    std::uint64_t time;
    SYSTEMTIME expected;  // year, month, day of week, day, hour, minute, second, milliseconds
  } cases[] = {{0, {1601, 1, 1, 1, 0, 0, 0, 0}},
               {116444736000000000, {1970, 1, 4, 1, 0, 0, 0, 0}},
               {125963423990000000, {2000, 2, 2, 29, 23, 59, 59, 0}},
               {134116992000000000, {2026, 1, 4, 1, 0, 0, 0, 0}},
               {133800768000000000, {2024, 12, 2, 31, 0, 0, 0, 0}},
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
  const SYSTEMTIME invalid[] = {
      {1600, 1, 0, 1, 0, 0, 0, 0},  {30828, 1, 0, 1, 0, 0, 0, 0}, {2025, 0, 0, 1, 0, 0, 0, 0},
      {2025, 13, 0, 1, 0, 0, 0, 0}, {2025, 2, 0, 29, 0, 0, 0, 0}, {1900, 2, 0, 29, 0, 0, 0, 0},
      {2025, 4, 0, 31, 0, 0, 0, 0}, {2025, 1, 0, 0, 0, 0, 0, 0},  {2025, 1, 0, 1, 24, 0, 0, 0},
      {2025, 1, 0, 1, 0, 60, 0, 0}, {2025, 1, 0, 1, 0, 0, 60, 0}, {2025, 1, 0, 1, 0, 0, 0, 1000}};
  for (const SYSTEMTIME& time : invalid) {
    FILETIME joined;
    CHECK(FailureOf([&] { return SystemTimeToFileTime(&time, &joined); }) == ERROR_INVALID_PARAMETER);
  }
}

TEST_CASE("libraries are found by any spelling, counted, and have the functions of the system's version") {
  Settings settings;
  settings.missingModules = {u"VERSION.dll"};
  settings.missingFunctions = {"MoveFileExW"};
  MachineSession session(settings);
  const HMODULE kernel = GetModuleHandleW(L"KERNEL32.DLL");
  CHECK(kernel != nullptr);
  CHECK(GetModuleHandleA("kernel32") == kernel);
  CHECK(GetModuleHandleW(L"c:\\windows\\SYSTEM32\\kernel32.dll") == kernel);
  CHECK(LoadLibraryW(L"kernel32") == kernel);
  const auto missing = [](const wchar_t* name) { return FailureOf([&] { return GetModuleHandleW(name); }); };
  for (const wchar_t* const name :
       {L"setupapi.dll", L"version.dll", L"kernel32.", L"D:\\kernel32.dll", L""}) {
    CHECK(missing(name) == ERROR_MOD_NOT_FOUND);
  }
  const auto unloadable = [](const wchar_t* name) { return FailureOf([&] { return LoadLibraryW(name); }); };
  CHECK(unloadable(L"version.dll") == ERROR_MOD_NOT_FOUND);
  CHECK(unloadable(L"nothing.dll") == ERROR_MOD_NOT_FOUND);
  CHECK(unloadable(L"") == ERROR_INVALID_PARAMETER);

  const HMODULE setup = LoadLibraryA("setupapi.dll");
  CHECK(LoadLibraryW(L"SetupApi") == setup);
  CHECK((GetProcAddress(setup, "SetupDiEnumDeviceInfo") != nullptr));
  CHECK(session.Process().modules.Describe() == std::vector<std::string>{"library setupapi.dll"});
  CHECK((FreeLibrary(setup) == TRUE && FreeLibrary(setup) == TRUE));
  CHECK(FailureOf([&] { return FreeLibrary(setup); }) == ERROR_MOD_NOT_FOUND);
  CHECK(FailureOf([] { return FreeLibrary(nullptr); }) == ERROR_INVALID_HANDLE);
  CHECK(missing(L"setupapi.dll") == ERROR_MOD_NOT_FOUND);
  CHECK((FreeLibrary(kernel) == TRUE && FreeLibrary(kernel) == TRUE &&
         GetModuleHandleW(L"kernel32") == kernel));

  const auto absent = [](HMODULE module, const char* name) {
    return FailureOf([&] { return GetProcAddress(module, name); });
  };
  CHECK(Find<decltype(&::GetTickCount)>(L"kernel32", "GetTickCount")() == GetTickCount());
  CHECK(absent(kernel, "MoveFileExW") == ERROR_PROC_NOT_FOUND);
  CHECK(absent(kernel, "gettickcount") == ERROR_PROC_NOT_FOUND);
  CHECK(absent(kernel, "RegCloseKey") == ERROR_PROC_NOT_FOUND);
  CHECK(absent(kernel, reinterpret_cast<const char*>(std::uintptr_t{1})) == ERROR_INVALID_ORDINAL);
  CHECK(absent(setup, "SetupDiEnumDeviceInfo") == ERROR_MOD_NOT_FOUND);
}

TEST_CASE("redirection is switched for one thread of a 32-bit program") {
  {
    MachineSession session(Settings::Windows10Wow64());
    BOOL wow64 = 7;
    const auto isWow64 = Find<IsWow64>(L"kernel32", "IsWow64Process");
    CHECK(isWow64(GetCurrentProcess(), &wow64) == TRUE);
    CHECK(wow64 == TRUE);
    CHECK(FailureOf([&] { return isWow64(nullptr, &wow64); }) == ERROR_INVALID_HANDLE);
    const auto disable = Find<DisableRedirection>(L"kernel32", "Wow64DisableWow64FsRedirection");
    const auto revert = Find<RevertRedirection>(L"kernel32", "Wow64RevertWow64FsRedirection");
    PVOID first = &wow64;
    PVOID second = nullptr;
    CHECK((disable(&first) == TRUE && disable(&second) == TRUE));
    CHECK((first == nullptr && second != nullptr && session.Thread().redirectionDisabled));
    CHECK((revert(second) == TRUE && session.Thread().redirectionDisabled));
    CHECK((revert(first) == TRUE && !session.Thread().redirectionDisabled));
  }
  MachineSession session;
  PVOID old = nullptr;
  const auto disable = Find<DisableRedirection>(L"kernel32", "Wow64DisableWow64FsRedirection");
  CHECK(FailureOf([&] { return disable(&old); }) == ERROR_INVALID_FUNCTION);
}

TEST_CASE("security descriptors know their revision and their list") {
  MachineSession session;
  SECURITY_DESCRIPTOR descriptor = {};
  ACL list = {};
  const auto set = [&](BOOL present) { return SetSecurityDescriptorDacl(&descriptor, present, &list, TRUE); };
  CHECK(FailureOf([&] { return set(TRUE); }) == ERROR_UNKNOWN_REVISION);
  CHECK(FailureOf([&] { return InitializeSecurityDescriptor(&descriptor, 2); }) == ERROR_UNKNOWN_REVISION);
  CHECK(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) == TRUE);
  CHECK((set(TRUE) == TRUE && descriptor.Control == (SE_DACL_PRESENT | 8) && descriptor.Dacl == &list));
  CHECK((set(FALSE) == TRUE && descriptor.Control == 0));
}

TEST_CASE("message boxes are kept, in wide text on an 8-bit-only system too") {
  MachineSession session(Settings::Windows98());
  CHECK(MessageBoxW(nullptr, L"text", L"caption", MB_ICONINFORMATION) == IDOK);
  CHECK(MessageBoxA(nullptr, "\xE9", nullptr, MB_OK) == IDOK);
  const auto& boxes = session.Machine().messageBoxes;
  REQUIRE(boxes.size() == 2);
  CHECK((boxes[0].text == u"text" && boxes[0].caption == u"caption" && boxes[0].type == MB_ICONINFORMATION));
  CHECK((boxes[1].text == u"\u00E9" && boxes[1].caption.empty()));
}
