#include "support/Threads.h"

#include "machine/Machine.h"

struct TestThread::State {
  std::shared_ptr<winsim::Thread> thread;
  std::exception_ptr failure;
};

TestThread::TestThread(std::function<void()> body) : m_state(std::make_shared<State>()) {
  m_state->thread =
      winsim::StartThread(winsim::Thread::Current().process, [state = m_state, body = std::move(body)] {
        try {
          body();
        } catch (...) {
          state->failure = std::current_exception();
        }
      });
}

TestThread::~TestThread() {
  if (m_state->thread != nullptr) {
    winsim::JoinThread(m_state->thread);
  }
}

void TestThread::Join() {
  winsim::JoinThread(m_state->thread);
  m_state->thread = nullptr;
  if (m_state->failure != nullptr) {
    std::rethrow_exception(m_state->failure);
  }
}

void RunOnThread(std::function<void()> body) {
  TestThread(std::move(body)).Join();
}

void Pause(unsigned int milliseconds) {
  winsim::Thread& thread = winsim::Thread::Current();
  winsim::Machine& machine = thread.GetMachine();
  const std::uint64_t end = machine.clock.Now() + milliseconds * winsim::Clock::UnitsPerMillisecond;
  machine.scheduler.Block(
      thread.turn, [] { return false; }, end);
}

void QueueCallToThisThread(unsigned int afterMilliseconds) {
  winsim::Thread::Current().QueueCall(afterMilliseconds);
}
