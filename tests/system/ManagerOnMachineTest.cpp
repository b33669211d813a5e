#include "system/Manager.h"

#include <doctest/doctest.h>

#include <stdexcept>

#include "support/SystemSession.h"
#include "support/Throws.h"
#include "support/Utf8.h"

using namespace LCommon::System;
using winsim::Settings;

namespace {

/// Versions and directories.
std::string Describe(const Manager& manager) {
  const auto version = [](const Manager::Version& each) {
    return std::to_string(each.majorNumber) + "." + std::to_string(each.minorNumber) +
           (each.notNt ? " not NT, " : " NT, ");
  };
  return version(manager.ReportedVersion()) + version(manager.NativeVersion()) +
         std::to_string(manager.Build()) + (manager.IsNt5OrLater() ? " NT 5 or later, " : " older, ") +
         Utf8(manager.GetWindowsDirectoryA()) + " " + Utf8(manager.GetSystemDirectoryA()) + " " +
         Utf8(manager.GetDriversDirectory());
}

Settings Wow64Without(const char* function) {
  Settings settings = Settings::Windows10Wow64();
  settings.missingFunctions.insert(function);
  return settings;
}

}  // namespace

TEST_CASE("the manager knows the versions and the directories of its machine") {
  const std::pair<Settings, const char*> cases[] = {
      {Settings::Windows10(),
       "6.2 NT, 10.0 NT, 4026550885 NT 5 or later, C:\\Windows C:\\Windows\\system32 "
       "C:\\Windows\\system32\\drivers"},
      {Settings::WindowsNt4(),
       "4.0 NT, 4.0 NT, 1381 older, C:\\WINNT C:\\WINNT\\system32 C:\\WINNT\\system32\\drivers"},
      {Settings::Windows98(),
       "4.10 not NT, 4.10 not NT, 67766446 older, C:\\WINDOWS C:\\WINDOWS\\SYSTEM "
       "C:\\WINDOWS\\system32\\drivers"}};
  for (const auto& [settings, expected] : cases) {
    SystemSession session(settings);
    CHECK(Describe(Manager::Instance()) == expected);
    CHECK(Utf8(AppendBackslash(L"") + L"|" + AppendBackslash(L"C:\\") + L"|" + AppendBackslash(L"a/")) ==
          "|C:\\|a/\\");
  }
}

TEST_CASE("a failing platform call becomes a WindowsErrorException with its code") {
  using Call = void (*)(const Manager& manager);
  const Call disable = [](const Manager& manager) { manager.DisableWow64FsRedirection(); };
  const std::pair<const char*, Call> cases[] = {
      {"GetWindowsDirectoryW", [](const Manager& manager) { manager.GetWindowsDirectoryA(); }},
      {"GetSystemDirectoryW", [](const Manager& manager) { manager.GetSystemDirectoryA(); }},
      {"GetSystemDirectoryW", [](const Manager& manager) { manager.GetDriversDirectory(); }},
      {"SystemTimeToFileTime", [](const Manager& manager) { manager.GetSystemTime(); }},
      {"IsWow64Process", [](const Manager& manager) { manager.IsProcessUnderWow64(GetCurrentProcess()); }},
      {"IsWow64Process", disable},
      {"Wow64DisableWow64FsRedirection", disable},
      {"Wow64RevertWow64FsRedirection", [](const Manager& manager) {
         manager.RestoreWow64FsRedirection(manager.DisableWow64FsRedirection());
       }}};
  SystemSession session(Settings::Windows10Wow64());
  winsim::Gate& gate = session.Machine().gate;
  for (const auto& each : cases) {
    CAPTURE(each.first);
    gate.FailFunction(each.first, 1450);
    CHECK(Thrown([&] { each.second(Manager::Instance()); }) == Exactly<WindowsErrorException>(1450));
  }
  Manager::DeleteInstance();
  for (const char* const function : {"GetVersionExW", "GetModuleHandleW"}) {
    CAPTURE(function);
    gate.FailFunction(function, 1450);
    CHECK(Thrown([] { Manager::CreateInstance(); }) == Exactly<WindowsErrorException>(1450));
  }
  CHECK(Thrown([] { Manager::Instance(); }) == "g_instance != 0");
}

TEST_CASE("redirection is switched off for a 32-bit process on 64-bit Windows and put back as it was") {
  SystemSession session(Settings::Windows10Wow64());
  const Manager& manager = Manager::Instance();
  const bool& off = session.Thread().redirectionDisabled;
  const LPtrRef<Wow64FsRedirectionState> outer = manager.DisableWow64FsRedirection();
  CHECK(outer->IsSupported());
  CHECK(off);
  const LPtrRef<Wow64FsRedirectionState> inner = manager.DisableWow64FsRedirection();
  CHECK(inner->GetState() != outer->GetState());
  manager.RestoreWow64FsRedirection(inner);
  CHECK(off);
  manager.RestoreWow64FsRedirection(outer);
  CHECK_FALSE(off);

  try {
    const Wow64FsRedirectionDisabler disabler;
    CHECK(off);
    session.Machine().gate.FailFunction("Wow64RevertWow64FsRedirection", 1450);
    throw std::runtime_error("work");
  } catch (const std::runtime_error&) {
  }
  CHECK(off);  // two exceptions at once would be too many
  session.Machine().gate.FailFunction("Wow64RevertWow64FsRedirection", 1450);
  CHECK_THROWS_AS(Wow64FsRedirectionDisabler(), WindowsErrorException);
  manager.RestoreWow64FsRedirection(outer);
  { const Wow64FsRedirectionDisabler disabler; }
  CHECK_FALSE(off);
}

TEST_CASE("where redirection does not apply nothing is switched") {
  for (const Settings& settings :
       {Settings::Windows10(), Settings::Windows2000(), Wow64Without("IsWow64Process"),
        Wow64Without("Wow64DisableWow64FsRedirection"), Wow64Without("Wow64RevertWow64FsRedirection")}) {
    SystemSession session(settings);
    const LPtrRef<Wow64FsRedirectionState> state = Manager::Instance().DisableWow64FsRedirection();
    CHECK_FALSE(state->IsSupported());
    Manager::Instance().RestoreWow64FsRedirection(state);
    CHECK(Thrown([&] { state->GetState(); }) == "m_supported");
    CHECK(session.Trace("Wow64DisableWow64FsRedirection").empty());
    CHECK(session.Trace("Wow64RevertWow64FsRedirection").empty());
  }
}
