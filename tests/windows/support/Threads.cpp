#include "support/Threads.h"

#include <stdexcept>

#include "system/WindowsApi.h"

struct TestThread::State {
  HANDLE thread = nullptr;
  std::function<void()> body;
  std::exception_ptr failure;

  static DWORD WINAPI Run(void* parameter) {
    State& state = *static_cast<State*>(parameter);
    try {
      state.body();
    } catch (...) {
      state.failure = std::current_exception();
    }
    return 0;
  }
};

namespace {

struct QueuedCall {
  HANDLE thread;
  DWORD afterMilliseconds;
};

void WINAPI DoNothing(ULONG_PTR) {}

DWORD WINAPI Queue(void* parameter) {
  const std::unique_ptr<QueuedCall> call(static_cast<QueuedCall*>(parameter));
  Sleep(call->afterMilliseconds);
  QueueUserAPC(DoNothing, call->thread, 0);
  CloseHandle(call->thread);
  return 0;
}

}  // namespace

TestThread::TestThread(std::function<void()> body) : m_state(std::make_shared<State>()) {
  m_state->body = std::move(body);
  m_state->thread = CreateThread(nullptr, 0, State::Run, m_state.get(), 0, nullptr);
  if (m_state->thread == nullptr) throw std::runtime_error("no thread");
}

TestThread::~TestThread() {
  if (m_state->thread == nullptr) return;
  WaitForSingleObject(m_state->thread, INFINITE);
  CloseHandle(m_state->thread);
}

void TestThread::Join() {
  WaitForSingleObject(m_state->thread, INFINITE);
  CloseHandle(m_state->thread);
  m_state->thread = nullptr;
  if (m_state->failure != nullptr) std::rethrow_exception(m_state->failure);
}

void RunOnThread(std::function<void()> body) {
  TestThread(std::move(body)).Join();
}

void Pause(unsigned int milliseconds) {
  Sleep(milliseconds);
}

void QueueCallToThisThread(unsigned int afterMilliseconds) {
  auto call = std::make_unique<QueuedCall>(QueuedCall{nullptr, afterMilliseconds});
  DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &call->thread, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  CloseHandle(CreateThread(nullptr, 0, Queue, call.release(), 0, nullptr));
}
