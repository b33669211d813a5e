#include "app/EntryPoint.h"

#include <doctest/doctest.h>

#include "components/RemovalService.h"
#include "support/Lines.h"
#include "support/MachineSession.h"
#include "support/ManagedMachine.h"

using winsim::Settings;

namespace {

// What a run of the program comes to, see `Run`.
const std::string Failed = "-1";
const std::string Expired = "0";
const std::string Shows = "1, shows its box";
const std::string ShowsAfterConnecting = "1, turns to the service manager, shows its box";

// Runs the program as a process of the machine, outside the service control manager, and tells its exit code
// and what it did.
std::string Run(winsim::Machine& machine, std::string_view commandLine) {
  machine.messageBoxes.clear();
  machine.gate.StartTrace();
  const auto process = machine.StartProgram(Main::RunProcess, winsim::FromUtf8(commandLine));
  machine.AwaitIdle();
  for (const winsim::ShownMessageBox& box : machine.messageBoxes) {
    CHECK(winsim::ToUtf8(box.caption) == "KV Quellin Drivers Auto Removal (v1)");
    CHECK(box.text == winsim::FromWide(DriverManagement::Gen4::WinNT::kvdel01::Description));
    CHECK(box.type == 0x40);
  }
  // The system layer was shut down.
  CHECK(process->modules.Describe() == Lines{});
  CHECK(machine.leakedHandles == Lines{});
  std::string outcome = std::to_string(static_cast<int>(process->ExitCode().value()));
  if (!machine.gate.TraceLines("StartServiceCtrlDispatcherW").empty())
    outcome += ", turns to the service manager";
  for (std::size_t box = 0; box < machine.messageBoxes.size(); ++box) {
    outcome += ", shows its box";
  }
  return outcome;
}

}  // namespace

TEST_CASE("the command line chooses the mode") {
  const auto machine = MakeMachine();
  InstallDriver(*machine, u"kvenv01a");
  const struct {
    const char* commandLine;
    const std::string& expected;
  } cases[] = {
      {"", Shows},
      {"kvdel01.exe", Shows},
      {"kvdel01.exe help", Shows},
      {"can-remove-now", Shows},
      {"kvdel01.exe can-remove-now", Expired},
      {"kvdel01.exe CAN-Remove-NOW", Expired},
      {"kvdel01.exe  \t can-remove-now\t ", Expired},
      {"\"C:\\Program Files\\kvdel01.exe\" can-remove-now", Expired},
      {"kvdel01.exe can-remove-now x", Shows},
      {"kvdel01.exe x can-remove-now", Shows},
      {"kvdel01.exe \"can-remove-now\"", Shows},
      {"kvdel01.exe can-remove-nows", Shows},
      {"kvdel01.exe svc", ShowsAfterConnecting},
      {"kvdel01.exe\tSvc", ShowsAfterConnecting},
      {"kvdel01.exe SVC can-remove-now", ShowsAfterConnecting},
      {"kvdel01.exe \"svc\"", Shows},
      {"kvdel01.exe x svc", Shows},
      {" kvdel01.exe svc", Shows},
      {"\"never closed svc", Shows},
      {"C:\\a\"\t\"b\tsvc", ShowsAfterConnecting},
      {"\"C:\\a b\"c svc", ShowsAfterConnecting},
  };
  for (const auto& item : cases) {
    CAPTURE(item.commandLine);
    CHECK(Run(*machine, item.commandLine) == item.expected);
  }
}

TEST_CASE("without a version of Windows nothing runs, and the next process starts afresh") {
  Settings settings = Settings::Windows10();
  settings.missingFunctions = {"RtlGetNtVersionNumbers"};
  const auto machine = MakeMachine(settings);
  machine->gate.FailFunction("RtlGetVersion", 0xC0000001);
  CHECK(Run(*machine, "kvdel01.exe") == Failed);
  CHECK(Run(*machine, "kvdel01.exe") == Shows);
}

TEST_CASE("a failing service host ends the process, whoever started it") {
  const auto machine = MakeMachine();
  machine->gate.FailFunction("StartServiceCtrlDispatcherW", 5);
  CHECK(Run(*machine, "kvdel01.exe svc") == "-1, turns to the service manager");
  CHECK(Run(*machine, "kvdel01.exe svc") == ShowsAfterConnecting);
}

TEST_CASE(
    "without wide functions there are no services and no records can be read, but the message box works") {
  const auto machine = MakeMachine(Settings::Windows98());
  CHECK(Run(*machine, "kvdel01.exe svc") == Shows);
  CHECK(machine->gate.TraceLines("MessageBoxA").size() == 1);
  // A text of the box that cannot be converted.
  const std::size_t conversions = machine->gate.TraceLines("WideCharToMultiByte").size();
  machine->gate.FailFunction("WideCharToMultiByte", ERROR_NO_UNICODE_TRANSLATION, 1, conversions - 1);
  CHECK(Run(*machine, "kvdel01.exe") == Failed);
  CHECK(Run(*machine, "kvdel01.exe") == Shows);
  CHECK(Run(*machine, "kvdel01.exe can-remove-now") == Expired);
  InstallDriver(*machine, u"kvvol02");
  CHECK(Run(*machine, "kvdel01.exe can-remove-now") == Failed);
}
