#include "machine/Process.h"

#include <cstdio>
#include <cstdlib>

#include "machine/Machine.h"

namespace winsim {
namespace {

thread_local Thread* t_current = nullptr;

}  // namespace

Process::Process(Machine& machine, unsigned int number, std::u16string commandLine)
    : m_machine(machine), m_number(number), m_commandLine(std::move(commandLine)) {}

Process::~Process() = default;

bool Process::IsSignaled(const Thread&) const {
  return exitCode.has_value();
}

bool Process::Acquire(Thread&) {
  return false;
}

std::string Process::Describe() const {
  return "process " + std::to_string(m_number);
}

void Process::End(std::uint32_t code) {
  leftOpen = handles.Describe();
  for (const std::string& description : leftOpen) {
    m_machine.leakedHandles.push_back(ToUtf8(m_commandLine) + ": " + description);
  }
  handles.CloseAll();
  imageUse.reset();
  exitCode = code;
  m_machine.services.ProcessEnded(*this);
}

bool Thread::IsSignaled(const Thread&) const {
  return ended;
}

bool Thread::Acquire(Thread&) {
  return false;
}

std::string Thread::Describe() const {
  return "thread of " + process->Describe();
}

Thread& Thread::Current() {
  if (t_current == nullptr) {
    std::fputs("A Windows function was called on a thread that belongs to no simulated machine.\n", stderr);
    std::abort();
  }
  return *t_current;
}

Thread* Thread::Find() {
  return t_current;
}

void Thread::QueueCall(std::uint32_t afterMilliseconds) {
  if (afterMilliseconds == 0) {
    ++pendingCalls;
    return;
  }
  Machine& machine = GetMachine();
  machine.scheduler.At(machine.clock.Now() + afterMilliseconds * Clock::UnitsPerMillisecond,
                       [target = weak_from_this()] {
                         if (const auto thread = target.lock(); thread != nullptr && !thread->ended) {
                           ++thread->pendingCalls;
                         }
                       });
}

ThreadScope::ThreadScope(std::shared_ptr<Process> process)
    : m_thread(std::make_shared<Thread>(std::move(process))) {
  m_thread->GetMachine().scheduler.Register(m_thread->turn);
  Enter();
}

ThreadScope::ThreadScope(std::shared_ptr<Thread> thread) : m_thread(std::move(thread)) {
  Enter();
}

void ThreadScope::Enter() {
  m_previous = t_current;
  t_current = m_thread.get();
  m_thread->GetMachine().scheduler.AwaitTurn(m_thread->turn);
}

ThreadScope::~ThreadScope() {
  m_thread->ended = true;
  m_thread->GetMachine().names.Abandon(*m_thread);
  t_current = m_previous;
  m_thread->GetMachine().scheduler.Leave(m_thread->turn);
}

std::shared_ptr<Thread> StartThread(std::shared_ptr<Process> process, std::function<void()> body) {
  Machine& machine = process->GetMachine();
  auto thread = std::make_shared<Thread>(std::move(process));
  machine.scheduler.Register(thread->turn);
  machine.Adopt(std::thread([thread, body = std::move(body)] {
    const ThreadScope scope(thread);
    body();
  }));
  return thread;
}

void JoinThread(const std::shared_ptr<Thread>& thread) {
  Thread& current = Thread::Current();
  current.GetMachine().scheduler.Block(
      current.turn, [&] { return thread->ended; }, std::nullopt);
}

}  // namespace winsim
