// Whole runs of the program, started by the service manager of simulated machines: what is left, what is
// gone, and that nothing else has changed.

#include <algorithm>

#include "UnclaimedMachine.h"

using winsim::Settings;

namespace {

/// The traced calls of these functions, in order.
Lines CallsOf(winsim::Machine& machine, std::initializer_list<std::string_view> functions) {
  Lines calls;
  for (const winsim::TraceEntry& entry : machine.gate.TakeTrace()) {
    if (std::find(functions.begin(), functions.end(), entry.function) != functions.end()) {
      calls.push_back(entry.Line());
    }
  }
  return calls;
}

Lines ExistingServices(winsim::Machine& machine) {
  Lines names;
  for (const auto& [name, node] : machine.registry.Make(ServiceKey(u"")).Children()) {
    names.push_back(winsim::ToUtf8(name) + (machine.services.IsMarked(name) ? " (marked)" : ""));
  }
  return names;
}

}  // namespace

TEST_CASE("two starts take unclaimed drivers and the service away and change nothing else") {
  const struct {
    const char* name;
    Settings settings;
    bool deviceNodesGo;
  } cases[] = {
      {"Windows 10", Settings::Windows10(), true},
      {"a 32-bit program on 64-bit Windows 10, which removes no devices for it", Settings::Windows10Wow64(),
       false},
      {"Windows 2000", Settings::Windows2000(), true},
      {"Windows NT 4, which has no setup functions", Settings::WindowsNt4(), false},
  };
  for (const auto& windows : cases) {
    CAPTURE(windows.name);
    UnclaimedMachine machine(windows.settings);
    machine->gate.StartTrace();
    machine->Start();
    CHECK(CallsOf(*machine, {"ControlService"}) ==
          Lines{"ControlService(service kvenv01a, 1)", "ControlService(service kvenv01, 1)"});
    CHECK(ExistingServices(*machine) ==
          Lines{"Eventlog", "kvaux02 (marked)", "kvlnk03 (marked)", "kvlnk04 (marked)", "kvvol02 (marked)"});
    machine.Restart();
    const Lines left = machine.SinceBare();
    CHECK(About(left, "LEGACY_KV").empty() == windows.deviceNodesGo);
    CHECK(left == About(left, "LEGACY_KV"));
    CHECK(machine->leakedHandles == Lines{});
  }
}

TEST_CASE("a claimed driver stays whole and loaded, with the service, and goes when its claim does") {
  UnclaimedMachine machine;
  machine->files.WriteFile(u"C:\\Program Files\\Client\\client.exe", "MZ");
  ClaimByFile(*machine, u"kvvol02", u"client", u"C:\\Program Files\\Client\\client.exe");
  const Lines claimed = About(Snapshot(*machine), "kvvol02");
  ClaimByFile(*machine, u"kvvol02", u"gone", u"C:\\Program Files\\Gone\\gone.exe");

  machine->Start();
  machine.Restart();
  CHECK(About(Snapshot(*machine), "kvvol02") == claimed);
  CHECK(machine->devices.IsLoaded(u"kvvol02"));
  CHECK(ExistingServices(*machine) == Lines{"Eventlog", "kvdel01", "kvvol02"});
  CHECK(machine->Run(u"kvdel01.exe can-remove-now") == 1);

  machine->files.Remove(u"C:\\Program Files\\Client");
  CHECK(machine->Run(u"kvdel01.exe can-remove-now") == 1);  // a lapsed claim counts until a pass deletes it
  machine.Restart();
  machine.Restart();
  CHECK(machine.SinceBare() == Lines{});
}

TEST_CASE(
    "each driver is stopped, then its log source, entry and file go; the lock spans it all, redirection "
    "within") {
  UnclaimedMachine machine(Settings::Windows10Wow64());
  for (const auto driver : {u"kvlnk03", u"kvlnk04", u"kvvol02", u"kvaux02", u"kvenv01"}) {
    UninstallDriver(*machine, driver);
  }
  machine->gate.StartTrace();
  machine->Start();
  const Lines calls =
      CallsOf(*machine, {"CreateMutexW", "WaitForMultipleObjectsEx", "ReleaseMutex",
                         "Wow64DisableWow64FsRedirection", "Wow64RevertWow64FsRedirection", "ControlService",
                         "CreateProcessW", "DeleteService", "RegDeleteKeyW", "DeleteFileW", "MoveFileExW",
                         "SetupDiCallClassInstaller", "SetServiceStatus"});
  CHECK(calls ==
        Lines{
            "SetServiceStatus(4)",
            R"(CreateMutexW(0, "Global\{E06A1434-144A-4C05-B8EA-F3E3F4216C47}"))",
            "WaitForMultipleObjectsEx(1, 1, 0xFFFFFFFF, 0)",
            "Wow64DisableWow64FsRedirection()",
            "ControlService(service kvenv01a, 1)",
            R"(RegDeleteKeyW(HKLM\System\CurrentControlSet\Services\Eventlog\System, "kvenv01a"))",
            "DeleteService(service kvenv01a)",
            "SetupDiCallClassInstaller(5, device set) = 3758096949",
            R"(DeleteFileW("C:\Windows\system32\drivers\kvenv01a.sys"))",
            R"(RegDeleteKeyW(HKLM\System\CurrentControlSet\Services\Eventlog\Application, "kvdel01"))",
            "DeleteService(service kvdel01)",
            R"(DeleteFileW("C:\Windows\system32\kvdel01.exe") = 5)",
            R"(MoveFileExW("C:\Windows\system32\kvdel01.exe", null, 4))",
            "Wow64RevertWow64FsRedirection()",
            R"(ReleaseMutex(mutex Global\{E06A1434-144A-4C05-B8EA-F3E3F4216C47}))",
            "SetServiceStatus(1)",
        });
}

TEST_CASE("a claim costs the calls that its examination and deletion need, and no other") {
  const auto callsFor = [](int lapsed, int alive) {
    UnclaimedMachine machine;
    ClaimByTime(*machine, u"kvvol02", u"one", machine->clock.Now() - 30 * Day);
    ClaimByTime(*machine, u"kvvol02", u"zero", machine->clock.Now());
    for (int claim = 0; claim < lapsed + alive; ++claim) {
      const std::u16string client = u"client-" + std::u16string(1, static_cast<char16_t>(u'a' + claim));
      ClaimByTime(*machine, u"kvvol02", client, machine->clock.Now() - (claim < lapsed ? 30 * Day : 0));
    }
    machine->gate.ResetCount();
    machine->Start();
    return machine->gate.Calls();
  };
  const std::uint64_t base = callsFor(0, 0);
  CHECK(callsFor(1, 0) - base == 13);
  CHECK(callsFor(9, 0) - base == 9 * 13);
  CHECK(callsFor(0, 9) - base == 9 * 8);  // its name is listed once more when the service asks all drivers
}
