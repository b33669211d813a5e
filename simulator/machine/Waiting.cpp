#include "machine/Waiting.h"

#include <winbase.h>
#include <winerror.h>

#include <algorithm>
#include <utility>

#include "machine/Machine.h"

namespace winsim {

WaitOutcome WaitFor(Thread& thread, const std::vector<std::shared_ptr<Waitable>>& objects, bool all,
                    std::uint32_t timeout, bool alertable) {
  Machine& machine = thread.GetMachine();
  const auto isSignaled = [&](const std::shared_ptr<Waitable>& object) { return object->IsSignaled(thread); };
  const auto canAcquire = [&] {
    return all ? std::all_of(objects.begin(), objects.end(), isSignaled)
               : std::any_of(objects.begin(), objects.end(), isSignaled);
  };
  const auto isAlerted = [&] { return alertable && thread.pendingCalls > 0; };

  auto wake = Scheduler::Wake::ready;
  if (!canAcquire() && !isAlerted()) {
    if (timeout == 0) {
      return {WAIT_TIMEOUT, 0};
    }
    std::optional<std::uint64_t> deadline;
    if (timeout != INFINITE) {
      deadline = machine.clock.Now() + timeout * Clock::UnitsPerMillisecond;
    }
    wake = machine.scheduler.Block(
        thread.turn, [&] { return canAcquire() || isAlerted() || machine.gate.IsPowerOff(); }, deadline);
  }
  if (machine.gate.IsPowerOff()) {
    return {WAIT_FAILED, Gate::PowerLossError};
  }
  if (wake == Scheduler::Wake::deadline) {
    return {WAIT_TIMEOUT, 0};
  }
  if (wake == Scheduler::Wake::deadlock) {
    return {WAIT_FAILED, ERROR_POSSIBLE_DEADLOCK};
  }
  if (!canAcquire()) {
    thread.pendingCalls = 0;
    return {WAIT_IO_COMPLETION, 0};
  }
  if (all) {
    bool abandoned = false;
    for (const std::shared_ptr<Waitable>& object : objects) {
      abandoned |= object->Acquire(thread);
    }
    return {abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0, 0};
  }
  const auto first = std::find_if(objects.begin(), objects.end(), isSignaled);
  const bool abandoned = (*first)->Acquire(thread);
  const auto index = static_cast<std::uint32_t>(first - objects.begin());
  return {(abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + index, 0};
}

}  // namespace winsim
