#pragma once

#include <exception>
#include <functional>
#include <memory>

/// A second thread of the test's process. On the simulated machine one thread runs at a time: a new one has
/// its first turn when the running one blocks, pauses or joins it.
class TestThread {
 public:
  explicit TestThread(std::function<void()> body);
  /// Joins when nobody did; what the body threw is lost then.
  ~TestThread();
  TestThread(const TestThread&) = delete;
  TestThread& operator=(const TestThread&) = delete;

  /// Waits for the end of the thread and throws on what its body threw.
  void Join();

 private:
  struct State;
  std::shared_ptr<State> m_state;
};

/// Runs `body` on a thread of its own to its end.
void RunOnThread(std::function<void()> body);

/// Lets other threads run for that time, in milliseconds.
void Pause(unsigned int milliseconds);

/// An asynchronous procedure call arrives at the calling thread that many milliseconds from now; it does
/// nothing but end the alertable wait that the thread may be in.
void QueueCallToThisThread(unsigned int afterMilliseconds);
