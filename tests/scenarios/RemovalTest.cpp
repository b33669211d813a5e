// Whole runs of the program, started by the service manager of simulated machines: what is left, what is
// gone, and that nothing else has changed.

#include <doctest/doctest.h>

#include <algorithm>
#include <functional>

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

TEST_CASE("whatever a record holds, the driver goes or stays and the others are dealt with") {
  const std::u16string record = ServiceKey(u"kvenv01a") + u"\\LifeTime";
  const std::u16string text(300'000, u'x'), longName(255, u'n'), loneSurrogate = {u'n', 0xD800};
  using Registry = winsim::Registry;
  struct Case {
    const char* name;
    bool stays;
    std::function<void(Registry& registry)> spoil;
  };
  const auto file = [&](const std::u16string& client, const std::u16string& path) {
    return [=](Registry& registry) {
      registry.SetNumber(record + u"\\" + client, u"Mode", 0);
      registry.SetString(record + u"\\" + client, u"File", path);
    };
  };
  const Case cases[] = {
      {"two thousand lapsed claims", false,
       [&](Registry& registry) {
         for (char16_t client = 0; client < 2000; ++client)
           registry.Make(record + u"\\" + static_cast<char16_t>(u'\x4E00' + client));
       }},
      {"a file of 300,000 characters", false, file(u"client", text)},
      {"a time of a megabyte", false,
       [&](Registry& registry) {
         registry.SetNumber(record + u"\\client", u"Mode", 1);
         registry.SetBinary(record + u"\\client", u"Time", winsim::Bytes(1 << 20, 0xFF));
       }},
      {"a name of 255 characters, its file gone", false, file(longName, u"C:\\gone")},
      {"half a character for a name, its file there", true, file(loneSurrogate, u"C:\\Windows")},
      {"a name that begins with a zero, so that nobody can look at it", true,
       [&](Registry& registry) { registry.MakeChild(registry.Make(record), std::u16string(u"\0x", 2)); }},
      {"a pattern for a file, which is there for ever", true, file(u"client", u"C:\\Win*")},
      {"a list where the flag should be", true,
       [&](Registry& registry) { registry.SetBinary(record, u"Auto", winsim::Bytes(5000, 1)); }},
      {"a flag of eight bytes", false,
       [&](Registry& registry) {
         registry.Make(record).values[u"Auto"] = {4, winsim::Bytes{0, 0, 1, 0, 0, 0, 0, 0}};
       }},
      {"values where entries should be", false,
       [&](Registry& registry) { registry.SetString(record, u"client", u"C:\\Windows"); }}};
  for (const Case& each : cases) {
    CAPTURE(each.name);
    UnclaimedMachine machine;
    each.spoil(machine->registry);
    machine->Start();
    CHECK(machine->services.History(u"kvdel01").back().state == 1);
    CHECK(machine->leakedHandles == Lines{});
    CHECK(machine->services.Exists(u"kvenv01a") == each.stays);
    CHECK_FALSE(machine->services.Exists(u"kvenv01"));
    CHECK(machine->services.Exists(u"kvdel01") == each.stays);
  }
}

TEST_CASE("a driver in use keeps those before it in the list waiting, until it is in use no more") {
  UnclaimedMachine machine;
  machine->devices.Behaviour(u"kvenv01").stop = winsim::DriverBehaviour::Stop::staysPending;
  machine->Start();
  const Lines waiting = Snapshot(*machine);
  CHECK(ExistingServices(*machine) ==
        Lines{"Eventlog", "kvaux02", "kvdel01", "kvenv01", "kvlnk03", "kvlnk04", "kvvol02"});
  machine.Restart();
  machine.Restart();
  CHECK(Snapshot(*machine) == waiting);
  machine->devices.Behaviour(u"kvenv01").stop = winsim::DriverBehaviour::Stop::stops;
  machine.Restart();
  machine.Restart();
  CHECK(machine.SinceBare() == Lines{});
}
