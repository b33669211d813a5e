// A removal pass over 1 to 100,000 claims of one driver: time and calls to the platform for each claim. The
// pass is the program's own; setting up the machine is not measured.

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "BenchmarkSession.h"
#include "app/AutoRemoval.h"
#include "support/ManagedMachine.h"

namespace {

using SetUpClaim = void (*)(winsim::Machine& machine, const std::u16string& client);

void LapsedByTime(winsim::Machine& machine, const std::u16string& client) {
  ClaimByTime(machine, u"kvlnk03", client, machine.clock.Now() - 40 * Day);
}

void AliveByTime(winsim::Machine& machine, const std::u16string& client) {
  ClaimByTime(machine, u"kvlnk03", client, machine.clock.Now());
}

void LapsedByFile(winsim::Machine& machine, const std::u16string& client) {
  ClaimByFile(machine, u"kvlnk03", client, u"C:\\Program Files\\Client\\" + client);
}

struct Pass {
  std::uint64_t calls;
  std::chrono::duration<double> time;
};

Pass MeasurePass(SetUpClaim setUp, std::int64_t claims) {
  BenchmarkSession session;
  InstallDriver(session.Machine(), u"kvlnk03");
  for (std::int64_t claim = 0; claim < claims; ++claim) {
    const std::string name = "client-" + std::to_string(claim);
    setUp(session.Machine(), std::u16string(name.begin(), name.end()));
  }
  session.Machine().gate.ResetCount();
  const auto start = std::chrono::steady_clock::now();
  DriverManagement::ProjectSpecific::RemoveExpired();
  return {session.Machine().gate.Calls(), std::chrono::steady_clock::now() - start};
}

void RemovalPass(benchmark::State& state, SetUpClaim setUp) {
  const std::int64_t claims = state.range(0);
  std::uint64_t calls = 0;
  for (auto _ : state) {
    const Pass pass = MeasurePass(setUp, claims);
    calls = pass.calls;
    state.SetIterationTime(pass.time.count());
  }
  state.counters["calls"] = static_cast<double>(calls);
  if (claims > 1) {
    const auto callsForMore = static_cast<double>(calls) - static_cast<double>(MeasurePass(setUp, 1).calls);
    state.counters["calls/claim"] = callsForMore / static_cast<double>(claims - 1);
  }
  state.counters["time/claim"] =
      benchmark::Counter(static_cast<double>(claims),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetComplexityN(claims);
}

void NumbersOfClaims(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1)->Arg(100)->Arg(10'000)->Arg(100'000);
  benchmark->UseManualTime()->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
}

BENCHMARK_CAPTURE(RemovalPass, LapsedByTime, LapsedByTime)->Apply(NumbersOfClaims);
BENCHMARK_CAPTURE(RemovalPass, LapsedByFile, LapsedByFile)->Apply(NumbersOfClaims);
BENCHMARK_CAPTURE(RemovalPass, AliveByTime, AliveByTime)->Apply(NumbersOfClaims);

}  // namespace
