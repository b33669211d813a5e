#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "machine/Process.h"

namespace winsim {

/// What a wait of a thread ended with, as WaitForMultipleObjectsEx reports it: `result` is WAIT_FAILED
/// exactly when `error` is not 0.
struct WaitOutcome {
  std::uint32_t result;
  std::uint32_t error;
};

/// Waits until one of `objects` (the first that can is taken) or all of them can be acquired, `timeout`
/// milliseconds of the machine's time have passed, or, when `alertable`, an asynchronous call is pending.
/// Fails with 21 when the power goes off meanwhile, and with 1131 (ERROR_POSSIBLE_DEADLOCK), where Windows
/// would wait for ever, when nothing on the machine can end the wait.
WaitOutcome WaitFor(Thread& thread, const std::vector<std::shared_ptr<Waitable>>& objects, bool all,
                    std::uint32_t timeout, bool alertable);

}  // namespace winsim
