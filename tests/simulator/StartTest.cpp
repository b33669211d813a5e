#include <doctest/doctest.h>
#include <windows.h>

#include "support/MachineSession.h"

using winsim::Machine;
using winsim::ServiceConfig;
using winsim::ToUtf8;

namespace {

const std::u16string Drivers = u"C:\\Windows\\system32\\drivers\\";

void AddDriver(Machine& machine, const std::u16string& name, std::uint32_t start,
               const std::u16string& group = {}) {
  ServiceConfig config;
  config.type = ServiceConfig::KernelDriver;
  config.start = start;
  config.group = group;
  config.imagePath = u"system32\\drivers\\" + name + u".sys";
  machine.services.Add(name, config);
  machine.files.WriteFile(Drivers + name + u".sys", "image");
}

/// A service whose program only notes that it ran.
void AddProgram(Machine& machine, const std::u16string& name, std::uint32_t start,
                std::vector<std::string>& ran) {
  ServiceConfig config;
  config.start = start;
  config.imagePath = u"\"C:\\Program Files\\" + name + u".exe\" svc";
  machine.services.Add(name, config);
  machine.files.WriteFile(u"C:\\Program Files\\" + name + u".exe", "program");
  machine.programs[name + u".exe"] = [&machine, &ran] {
    winsim::Process& process = *winsim::Thread::Current().process;
    ran.push_back(ToUtf8(process.serviceName) + ": " + ToUtf8(process.CommandLine()));
    CHECK(machine.devices.IsLoaded(u"boot"));
    return 0;
  };
}

std::vector<std::string> Texts(const std::vector<std::u16string>& texts) {
  std::vector<std::string> result;
  for (const std::u16string& text : texts) {
    result.push_back(ToUtf8(text));
  }
  return result;
}

}  // namespace

TEST_CASE("a start of the machine finishes what was left, loads drivers and runs services") {
  const auto machine = MakeMachine();
  std::vector<std::string> ran;
  AddDriver(*machine, u"boot", 0);
  AddDriver(*machine, u"demand", 3);
  AddDriver(*machine, u"gone", 1);
  machine->files.Remove(Drivers + u"gone.sys");
  AddDriver(*machine, u"marked", 1);
  machine->registry.SetNumber(u"System\\CurrentControlSet\\Services\\marked", u"DeleteFlag", 1);
  // The image of this driver goes before drivers are loaded.
  AddDriver(*machine, u"late", 2);
  machine->registry.SetValue(u"System\\CurrentControlSet\\Control\\Session Manager",
                             u"PendingFileRenameOperations",
                             {7, winsim::RegistryValue::String(u"\\??\\" + Drivers + u"late.sys").data});
  winsim::Bytes& pending = machine->registry.Find(u"System\\CurrentControlSet\\Control\\Session Manager")
                               ->values.begin()
                               ->second.data;
  pending.resize(pending.size() + 4);
  AddProgram(*machine, u"b service", 2, ran);
  AddProgram(*machine, u"a service", 2, ran);
  AddProgram(*machine, u"c service", 3, ran);
  ServiceConfig foreign;
  foreign.start = 2;
  foreign.imagePath = u"C:\\Program Files\\foreign.exe";
  machine->services.Add(u"foreign", foreign);
  machine->files.WriteFile(u"C:\\Program Files\\foreign.exe", "unknown program");

  SUBCASE("as a whole") {
    machine->clock.Advance(12345 * winsim::Clock::UnitsPerMillisecond);
    machine->Start();
    CHECK(machine->clock.TickCount() == 0);
    CHECK(Texts(machine->devices.Loaded()) == std::vector<std::string>{"boot"});
    CHECK_FALSE(machine->services.Exists(u"marked"));
    CHECK_FALSE(machine->files.Exists(Drivers + u"late.sys"));
    CHECK(ran == std::vector<std::string>{"a service: \"C:\\Program Files\\a service.exe\" svc",
                                          "b service: \"C:\\Program Files\\b service.exe\" svc"});
    CHECK(machine->services.Status(u"a service").state == winsim::ServiceStatus::Stopped);
    CHECK(machine->services.Status(u"foreign").exitCode == winsim::ServiceStatus::NeverStarted);
  }
  SUBCASE("without the services") {
    machine->Start(Machine::AutoStart::skip);
    CHECK(ran.empty());
    CHECK(machine->services.Status(u"boot").state == winsim::ServiceStatus::Running);
    machine->services.Launch(u"demand");
    CHECK(Texts(machine->devices.Loaded()) == std::vector<std::string>{"boot", "demand"});
    machine->TurnOff();
    CHECK(machine->devices.Loaded().empty());
    CHECK(machine->services.Status(u"boot").state == winsim::ServiceStatus::Stopped);
    machine->Start(Machine::AutoStart::skip);
    machine->Start(Machine::AutoStart::skip);
    CHECK(Texts(machine->devices.Loaded()) == std::vector<std::string>{"boot"});
  }
  SUBCASE("after a power loss") {
    machine->Start(Machine::AutoStart::skip);
    machine->gate.CutPowerAt(1);
    const auto process = machine->StartProgram(
        [] {
          return OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT) == nullptr &&
                 GetLastError() == ERROR_NOT_READY;
        },
        u"");
    machine->AwaitIdle();
    CHECK(process->ExitCode() == 1u);
    machine->Start();
    CHECK_FALSE(machine->gate.IsPowerOff());
    CHECK(ran.size() == 2);
  }
}

TEST_CASE("drivers load by start type, then group, then name") {
  const auto machine = MakeMachine();
  machine->registry.SetValue(u"System\\CurrentControlSet\\Control\\ServiceGroupOrder", u"List",
                             winsim::RegistryValue::Strings({u"Boot Bus Extender", u"System Bus Extender"}));
  AddDriver(*machine, u"a0", 0);
  AddDriver(*machine, u"b0", 0, u"system bus extender");
  AddDriver(*machine, u"c0", 0, u"Boot Bus Extender");
  AddDriver(*machine, u"d0", 0, u"Boot Bus Extender");
  AddDriver(*machine, u"e0", 0, u"Unlisted");
  AddDriver(*machine, u"f2", 2, u"Boot Bus Extender");
  AddDriver(*machine, u"g1", 1);
  AddDriver(*machine, u"h3", 3);
  CHECK(Texts(machine->services.DriversInLoadOrder()) ==
        std::vector<std::string>{"c0", "d0", "b0", "a0", "e0", "g1", "f2"});
}
