#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "machine/Machine.h"

// Critical sections: a lock of the host, so that threads outside every machine can use them too. A thread of
// a machine must not wait at it with the machine's turn in its hands, or the owner would never have one.

using namespace winsim;

namespace {

struct Section {
  std::recursive_mutex mutex;
  /// Acquisitions that were not given up; read by the scheduler between turns.
  std::atomic<unsigned int> acquisitions = 0;
};

Section& Get(LPCRITICAL_SECTION section) {
  return *static_cast<Section*>(section->implementation);
}

void WaitForTurn(Section& section, Thread& thread) {
  while (!section.mutex.try_lock()) {
    const auto wake = thread.GetMachine().scheduler.Block(
        thread.turn, [&] { return section.acquisitions == 0; }, std::nullopt);
    if (wake == Scheduler::Wake::deadlock) {
      std::fputs("A critical section is waited for that will never be left.\n", stderr);
      std::abort();
    }
  }
}

}  // namespace

void WINAPI InitializeCriticalSection(LPCRITICAL_SECTION section) {
  section->implementation = new Section;
}

void WINAPI EnterCriticalSection(LPCRITICAL_SECTION section) {
  Section& entered = Get(section);
  if (Thread* const thread = Thread::Find(); thread != nullptr) {
    WaitForTurn(entered, *thread);
  } else {
    entered.mutex.lock();
  }
  ++entered.acquisitions;
}

void WINAPI LeaveCriticalSection(LPCRITICAL_SECTION section) {
  Section& left = Get(section);
  --left.acquisitions;
  left.mutex.unlock();
}

void WINAPI DeleteCriticalSection(LPCRITICAL_SECTION section) {
  delete &Get(section);
  section->implementation = nullptr;
}
