// What interrupts the program from outside, again and again: power cuts, its own end in the middle of a pass,
// a registry that Windows had not written to the disk yet. A claimed driver stays as it is, the check goes on
// answering, and the starts that are let alone finish the job.

#include <doctest/doctest.h>

#include <algorithm>
#include <set>

#include "UnclaimedMachine.h"
#include "machine/RegFile.h"

namespace {

using Stop = winsim::DriverBehaviour::Stop;

/// With a driver that is claimed, or none, and one that answers a stop in that way.
struct InterruptedMachine : FewDrivers {
  InterruptedMachine(bool hasClaim, Stop stop) : claimed(hasClaim) {
    if (claimed) ClaimByTime(**this, u"kvlnk03", u"client", (*this)->clock.Now());
    (*this)->devices.Behaviour(u"kvenv01a").stop = stop;
    m_whole = About(Snapshot(**this), "kvlnk03");
  }

  /// A start of the machine with the power cut at that call; then it comes back.
  void StartCutAt(std::uint64_t call) {
    (*this)->gate.CutPowerAt(call);
    Restart();
    (*this)->gate.Restore();
  }
  void CheckState() {
    if (claimed) CHECK(About(Snapshot(**this), "kvlnk03") == m_whole);
    if ((*this)->files.Exists((*this)->SystemDirectory() + u"\\kvdel01.exe"))
      CHECK((*this)->Run(u"kvdel01.exe can-remove-now") <= 1);
  }
  /// What three starts leave that nothing interrupts, when no driver is in use any more. Without a claim
  /// nobody starts the program again once its entry has gone.
  Lines End() {
    (*this)->devices.Behaviour(u"kvenv01a").stop = Stop::stops;
    for (int start = 0; start < 3; ++start)
      Restart();
    Lines left = SinceBare();
    if (!claimed) {
      std::erase_if(left, [](const std::string& line) { return line.find("LEGACY_KV") != line.npos; });
      std::erase(left, R"(+ C:\Windows\system32\kvdel01.exe)");
    }
    return left;
  }

  const bool claimed;

 private:
  Lines m_whole;
};

/// The numbers of a start's calls that change something.
std::vector<std::uint64_t> ChangingCalls(const std::vector<winsim::TraceEntry>& trace) {
  constexpr const char* changing[] = {"RegDeleteKeyW",      "RegDeleteValueW", "RegSetValueExW",
                                      "DeleteService",      "DeleteFileW",     "MoveFileExW",
                                      "SetFileAttributesW", "ControlService",  "SetupDiCallClassInstaller"};
  std::vector<std::uint64_t> numbers;
  for (std::size_t index = 0; index < trace.size(); ++index) {
    if (std::count(std::begin(changing), std::end(changing), trace[index].function) != 0)
      numbers.push_back(index + 1);
  }
  return numbers;
}

/// Runs `interrupt` for every call of the first start, each time on a machine of its own that was started for
/// it.
template <class Interrupt>
void AtEveryCall(Interrupt interrupt) {
  for (const bool claimed : {true, false}) {
    const Lines expected = InterruptedMachine(claimed, Stop::stops).End();
    bool reached = true;
    for (std::uint64_t call = 1; reached; ++call) {
      CAPTURE(claimed);
      CAPTURE(call);
      InterruptedMachine machine(claimed, Stop::stops);
      machine->gate.CutPowerAt(call);
      reached = interrupt(machine);
      machine.CheckState();
      CHECK(machine.End() == expected);
    }
  }
}

}  // namespace

TEST_CASE("power cuts one after another, until they lead to nothing new, harm nothing") {
  for (const bool claimed : {true, false}) {
    for (const Stop stop : {Stop::stops, Stop::refuses, Stop::staysPending}) {
      CAPTURE(claimed);
      CAPTURE(stop);
      const Lines expected = InterruptedMachine(claimed, stop).End();
      std::set<Lines> seen;
      std::vector<std::vector<std::uint64_t>> cuts = {{}};
      for (std::size_t next = 0; next < cuts.size(); ++next) {
        InterruptedMachine machine(claimed, stop);
        for (const std::uint64_t call : cuts[next]) {
          machine.StartCutAt(call);
          machine.CheckState();
        }
        if (!seen.insert(Snapshot(*machine)).second) continue;
        machine->gate.StartTrace();
        machine.Restart();
        for (const std::uint64_t call : ChangingCalls(machine->gate.TakeTrace())) {
          cuts.push_back(cuts[next]);
          cuts.back().push_back(call);
        }
        CHECK(machine.End() == expected);
      }
      // A driver in use ends the pass before anything has changed.
      CHECK(std::min<std::size_t>(seen.size(), 10) == (stop == Stop::staysPending ? 1 : 10));
    }
  }
}

TEST_CASE("a service that is killed at any call and started again at once goes on") {
  AtEveryCall([](InterruptedMachine& machine) {
    machine->Start();
    const bool killed = machine->gate.HasIntervened();
    machine->gate.Restore();
    machine.CheckState();
    machine->services.Launch(u"kvdel01");
    machine->AwaitIdle();
    return killed;
  });
}

TEST_CASE("a power cut after which the registry is as it was before the start, and the files are not") {
  AtEveryCall([](InterruptedMachine& machine) {
    const std::string registry = FormatRegFile(machine->registry);
    machine->Start();
    const bool cut = machine->gate.HasIntervened();
    machine->gate.Restore();
    machine->TurnOff();
    for (const char16_t* const root : {u"System", u"Software"})
      machine->registry.DeleteTree(root);
    ParseRegFile(registry, "registry", machine->registry);
    return cut;
  });
}
