// Every call that the program makes fails once, fails for ever from there on, or loses the power: a driver
// claimed by time stays as it is, nothing of others is touched, and the next starts finish the job.

#include <doctest/doctest.h>

#include "UnclaimedMachine.h"

namespace {

constexpr std::uint32_t AccessDenied = 5;
constexpr std::uint32_t NoSystemResources = 1450;

struct Fault {
  const char* name;
  void (*plan)(winsim::Gate& gate, std::uint64_t call);
};

constexpr Fault Faults[] = {
    {"access denied once", [](winsim::Gate& gate, std::uint64_t call) { gate.FailCall(call, AccessDenied); }},
    {"no resources once",
     [](winsim::Gate& gate, std::uint64_t call) { gate.FailCall(call, NoSystemResources); }},
    {"access denied for ever",
     [](winsim::Gate& gate, std::uint64_t call) { gate.FailCall(call, AccessDenied, true); }},
    {"power loss", [](winsim::Gate& gate, std::uint64_t call) { gate.CutPowerAt(call); }},
};

/// The number of calls that the program makes in the first start of such a machine.
template <class SetUp>
std::uint64_t CallsOfFirstStart(SetUp setUp) {
  FewDrivers machine;
  setUp(machine);
  machine->gate.ResetCount();
  machine->Start();
  return machine->gate.Calls();
}

/// What a first start with `fault` at `call`, and then starts without, leave of the family. The first of
/// those does what the fault prevented, the second what that left to a restart, the third takes away the
/// service's own file.
template <class SetUp, class AfterFault>
Lines StartWithFault(const Fault& fault, std::uint64_t call, std::uint64_t& interventions, SetUp setUp,
                     AfterFault afterFault) {
  FewDrivers machine;
  setUp(machine);
  fault.plan(machine->gate, call);
  machine->Start();
  interventions += machine->gate.HasIntervened();
  afterFault(machine);
  machine->gate.Restore();
  machine.Restart();
  machine.Restart();
  machine.Restart();
  return machine.SinceBare();
}

/// Checks with `checkLeft` what is left after every fault at every call.
template <class SetUp, class AfterFault, class CheckLeft>
void CheckEveryFault(SetUp setUp, AfterFault afterFault, CheckLeft checkLeft) {
  const std::uint64_t calls = CallsOfFirstStart(setUp);
  REQUIRE(calls > 100);
  for (const Fault& fault : Faults) {
    std::uint64_t interventions = 0;
    for (std::uint64_t call = 1; call <= calls; ++call) {
      CAPTURE(fault.name);
      CAPTURE(call);
      checkLeft(StartWithFault(fault, call, interventions, setUp, afterFault));
    }
    CHECK(interventions >= calls * 9 / 10);  // a few calls cannot fail
  }
}

}  // namespace

TEST_CASE("no failure and no power loss harms a driver claimed by time or keeps the others for good") {
  const auto claimed = [](FewDrivers& machine) {
    ClaimByTime(*machine, u"kvlnk03", u"client", machine->clock.Now());
  };
  FewDrivers reference;
  claimed(reference);
  const Lines whole = About(Snapshot(*reference), "kvlnk03");
  reference->Start();
  reference.Restart();
  const Lines expected = reference.SinceBare();
  REQUIRE(expected.size() > whole.size());  // the driver and the service
  CheckEveryFault(
      claimed, [&](FewDrivers& machine) { CHECK(About(Snapshot(*machine), "kvlnk03") == whole); },
      [&](const Lines& left) { CHECK(left == expected); });
}

TEST_CASE(
    "a claim bound to a file lapses with a failing look at the file, but for a refusal, and with no other "
    "failure") {
  const auto claimed = [](FewDrivers& machine) {
    machine->files.WriteFile(u"C:\\Program Files\\client.exe", "MZ");
    ClaimByFile(*machine, u"kvlnk03", u"client", u"C:\\Program Files\\client.exe");
    machine->gate.StartTrace();
  };
  FewDrivers reference;
  claimed(reference);
  const Lines whole = About(Snapshot(*reference), "kvlnk03");
  int lapsed = 0;
  CheckEveryFault(
      claimed,
      [&](FewDrivers& machine) {
        const Lines looks = About(machine->gate.TraceLines("FindFirstFileW"), "client.exe");
        const bool failed = looks == About(looks, " = 1450") && !looks.empty();
        lapsed += failed;
        CHECK((About(Snapshot(*machine), "kvlnk03") == whole) == !failed);
      },
      [](const Lines&) {});
  CHECK(lapsed == 1);
}

TEST_CASE(
    "a failure on the way to the clean machine leaves device nodes and the service's own file at most") {
  const auto nothing = [](FewDrivers&) {};
  CheckEveryFault(nothing, nothing, [](Lines left) {
    // A device node that cannot be removed stops nobody, and once the service's entry has gone nobody
    // starts it again: what fails then stays undone.
    std::erase_if(left, [](const std::string& line) { return line.find("\\ROOT\\LEGACY_KV") != line.npos; });
    std::erase(left, R"(+ C:\Windows\system32\kvdel01.exe)");
    CHECK(left == Lines{});
  });
}
