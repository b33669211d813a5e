// Every allocation that the program makes fails, once or with all later ones: the process ends in order with
// -1, the service as stopped; a claimed driver stays as it is, and the next starts finish the job.

#include <cstdint>
#include <cstdlib>

#include <windows.h>

#include "UnclaimedMachine.h"

namespace {

/// The heap of the program's process, in which one allocation fails, and with `forEver` all later ones.
struct Heap {
  std::uint64_t firstRefused = 0;  // 1 for the next one; 0 for none
  bool forEver = false;
  std::uint64_t allocations = 0;

  bool Refuses() {
    ++allocations;
    return firstRefused != 0 && (forEver ? allocations >= firstRefused : allocations == firstRefused);
  }
};
Heap g_heap;

}  // namespace

// Of what is linked into this program, only the product's memory manager takes memory from the C library
// itself.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size) {
  return g_heap.Refuses() ? nullptr : __real_malloc(size);
}
void* __wrap_realloc(void* block, std::size_t size) {
  return g_heap.Refuses() ? nullptr : __real_realloc(block, size);
}
}

namespace {

/// Has `act(machine)` run the program on a machine with a claimed driver once for each allocation that it
/// makes there, which is refused, and checks the rest of the outcome with `check(machine)`.
template <class Act, class Check>
void CheckEveryAllocation(Act act, Check check) {
  for (const bool forEver : {false, true}) {
    for (std::uint64_t number = 1;; ++number) {
      CAPTURE(forEver);
      CAPTURE(number);
      int exitCode = 0;
      FewDrivers machine([&] { return exitCode = Main::RunProcess(); });
      ClaimByTime(*machine, u"kvlnk03", u"client", machine->clock.Now());
      g_heap = {.firstRefused = number, .forEver = forEver};
      act(*machine);
      const bool refused = g_heap.allocations >= number;
      g_heap = {};
      if (!refused) {
        REQUIRE(number > 200);
        break;
      }
      CHECK(exitCode == -1);
      CHECK(machine->leakedHandles == Lines{});
      check(machine);
    }
  }
}

}  // namespace

TEST_CASE("a service without memory is reported as stopped and ends with -1; nothing is lost by it") {
  FewDrivers reference;
  ClaimByTime(*reference, u"kvlnk03", u"client", reference->clock.Now());
  const Lines whole = About(Snapshot(*reference), "kvlnk03");
  reference->Start();
  reference.Restart();
  const Lines expected = reference.SinceBare();
  int silent = 0;
  CheckEveryAllocation([](winsim::Machine& machine) { machine.Start(); },
                       [&](FewDrivers& machine) {
                         const auto reported = machine->services.ReportedStates(u"kvdel01");
                         silent += reported.empty();
                         if (!reported.empty()) {
                           CHECK(reported == std::vector<std::uint32_t>{SERVICE_RUNNING, SERVICE_STOPPED});
                         }
                         CHECK(About(Snapshot(*machine), "kvlnk03") == whole);
                         machine.Restart();
                         machine.Restart();
                         machine.Restart();
                         CHECK(machine.SinceBare() == expected);
                       });
  CHECK(silent < 40);  // the main thread's, before there is a service
}

TEST_CASE("the check without memory ends with -1 and changes nothing") {
  Lines before;
  CheckEveryAllocation(
      [&](winsim::Machine& machine) {
        before = Snapshot(machine);
        machine.Run(u"kvdel01.exe can-remove-now");
      },
      [&](FewDrivers& machine) { CHECK(Snapshot(*machine) == before); });
}
