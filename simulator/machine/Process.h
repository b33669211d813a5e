#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "machine/HandleTable.h"
#include "machine/ModuleTable.h"
#include "machine/Object.h"
#include "machine/Scheduler.h"
#include "machine/Text.h"

namespace winsim {

class Machine;
class Thread;

/// A running instance of a program. Waiting for it waits for its end.
class Process : public Waitable {
 public:
  Process(Machine& machine, unsigned int number, std::u16string commandLine);
  ~Process() override;

  bool IsSignaled(const Thread& thread) const override;
  bool Acquire(Thread& thread) override;
  std::string Describe() const override;

  Machine& GetMachine() const { return m_machine; }
  unsigned int Number() const { return m_number; }
  const std::u16string& CommandLine() const { return m_commandLine; }

  /// Closes what the program left open and records how it ended.
  void End(std::uint32_t code);
  const std::optional<std::uint32_t>& ExitCode() const { return exitCode; }

  HandleTable handles;
  ModuleTable modules;
  std::map<std::u16string, std::u16string, CaseInsensitiveLess> environment;
  std::u16string currentDirectory;
  /// Full path of its executable file; empty when it runs none.
  std::u16string imagePath;
  /// Keeps that file from being deleted while the program runs.
  std::shared_ptr<void> imageUse;
  /// File-system redirection applies to its threads.
  bool wow64 = false;
  /// Whose program it is; decides whether an object with the default protection can be opened.
  std::u16string account = u"SYSTEM";
  /// Names of kernel objects without a namespace, and those in Local\, belong to one session. Services are in
  /// session 0, since Windows Vista other programs are in session 1.
  unsigned int session = 0;
  /// The service it was started for by the service control manager; empty otherwise.
  std::u16string serviceName;
  /// The command line in the ANSI code page, kept for GetCommandLineA.
  std::string ansiCommandLine;
  /// Handles that were open when the program ended, as texts: what it forgot to close.
  std::vector<std::string> leftOpen;

 private:
  Machine& m_machine;
  unsigned int m_number;
  std::u16string m_commandLine;
  std::optional<std::uint32_t> exitCode;
};

/// A thread of a process. Waiting for it waits for its end.
class Thread : public Waitable, public std::enable_shared_from_this<Thread> {
 public:
  explicit Thread(std::shared_ptr<Process> owner) : process(std::move(owner)) {}

  bool IsSignaled(const Thread& thread) const override;
  bool Acquire(Thread& thread) override;
  std::string Describe() const override;

  Machine& GetMachine() const { return process->GetMachine(); }

  /// The calling host thread's simulated thread; ends the program with a message when it has none.
  static Thread& Current();
  /// The same, or null when it has none.
  static Thread* Find();

  /// Queues an asynchronous procedure call to this thread that many milliseconds from now; an alertable wait
  /// that is in progress then ends. Nothing comes of it when the thread has ended by then.
  void QueueCall(std::uint32_t afterMilliseconds);

  std::shared_ptr<Process> process;
  std::uint32_t lastError = 0;
  /// File-system redirection is off (Wow64DisableWow64FsRedirection).
  bool redirectionDisabled = false;
  /// Asynchronous procedure calls queued and not yet delivered by an alertable wait.
  unsigned int pendingCalls = 0;
  bool ended = false;
  Scheduler::Turn turn;
  /// Where the call in progress stands in the trace.
  std::vector<std::size_t> traceIndexes;

 private:
  friend class ThreadScope;
};

/// Makes the calling host thread a thread of `process` for the scope's life and gives it its turns.
class ThreadScope {
 public:
  explicit ThreadScope(std::shared_ptr<Process> process);
  /// Enters as `thread`, which its creator registered with the scheduler already.
  explicit ThreadScope(std::shared_ptr<Thread> thread);
  ~ThreadScope();
  ThreadScope(const ThreadScope&) = delete;
  ThreadScope& operator=(const ThreadScope&) = delete;

  Thread& Get() { return *m_thread; }

 private:
  void Enter();

  std::shared_ptr<Thread> m_thread;
  Thread* m_previous = nullptr;
};

/// Starts a further thread of `process`, which runs `body`; it has its first turn when the caller blocks. The
/// machine joins the host thread when it is next idle, at the latest in its destructor.
std::shared_ptr<Thread> StartThread(std::shared_ptr<Process> process, std::function<void()> body);

/// Blocks the calling simulated thread until `thread` has ended.
void JoinThread(const std::shared_ptr<Thread>& thread);

}  // namespace winsim
