#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>

#include "machine/Clock.h"

namespace winsim {

/// Runs the machine's threads one at a time, so that every run is the same: a thread goes on until it blocks
/// or ends, then the one that became ready first has its turn. When all are blocked the clock moves to the
/// next deadline or event. Only the thread whose turn it is touches the machine.
class Scheduler {
 public:
  explicit Scheduler(Clock& clock) : m_clock(clock) {}
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  /// One simulated thread's place in the order of turns.
  struct Turn {
    bool running = false;
    std::function<bool()> ready;            // empty while the thread is not blocked
    std::optional<std::uint64_t> deadline;  // clock time
    enum class Wake { ready, deadline, deadlock } wake = Wake::ready;
    std::condition_variable condition;
  };
  using Wake = Turn::Wake;

  /// Puts a new thread at the end of the order. `turn` must live until `Leave`.
  void Register(Turn& turn);
  /// Called first by the new thread itself: returns when it is its turn.
  void AwaitTurn(Turn& turn);
  /// The thread ends; another has its turn.
  void Leave(Turn& turn);

  /// Gives the turn away until `ready` holds (asked between turns) or the clock reaches `deadline`.
  /// `deadlock` is the answer when every thread is blocked and neither a deadline nor an event will change
  /// that.
  Wake Block(Turn& turn, std::function<bool()> ready, std::optional<std::uint64_t> deadline);

  /// Waits, from a thread that is not part of the machine, until no thread of the machine is left.
  void AwaitIdle();

  /// `action` runs between turns once every thread is blocked and the clock reaches `time`.
  void At(std::uint64_t time, std::function<void()> action);

 private:
  void Dispatch();
  bool AdvanceToNextMoment();

  Clock& m_clock;
  std::mutex m_mutex;
  std::condition_variable m_idle;
  std::list<Turn*> m_order;
  std::multimap<std::uint64_t, std::function<void()>> m_events;
  bool m_someoneRuns = false;
};

}  // namespace winsim
