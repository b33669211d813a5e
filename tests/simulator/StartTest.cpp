#include <doctest/doctest.h>
#include <windows.h>

#include <tuple>

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
  }
  SUBCASE("without the services") {
    machine->Start(Machine::AutoStart::skip);
    CHECK(ran.empty());
    CHECK(machine->services.Status(u"boot").state == winsim::ServiceStatus::Running);
    machine->TurnOff();
    CHECK(machine->devices.Loaded().empty());
    machine->Start(Machine::AutoStart::skip);
    machine->Start(Machine::AutoStart::skip);
    CHECK(Texts(machine->devices.Loaded()) == std::vector<std::string>{"boot"});
  }
}

TEST_CASE("drivers load by start type, then group, then name") {
  const auto machine = MakeMachine();
  machine->registry.SetValue(u"System\\CurrentControlSet\\Control\\ServiceGroupOrder", u"List",
                             winsim::RegistryValue::Strings({u"Boot Bus Extender", u"System Bus Extender"}));
  constexpr const char16_t* Boot = u"Boot Bus Extender";
  const std::tuple<const char16_t*, std::uint32_t, const char16_t*> drivers[] = {
      {u"a0", 0, u""},  {u"b0", 0, u"system bus extender"},
      {u"c0", 0, Boot}, {u"e0", 0, u"Unlisted"},
      {u"d0", 0, Boot}, {u"h3", 3, u"Unlisted"},
      {u"f2", 2, Boot}, {u"g1", 1, u"Unlisted"}};
  for (const auto& [name, start, group] : drivers) {
    AddDriver(*machine, name, start, group);
  }
  CHECK(Texts(machine->services.DriversInLoadOrder()) ==
        std::vector<std::string>{"c0", "d0", "b0", "a0", "e0", "g1", "f2"});
}
