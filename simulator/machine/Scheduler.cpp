#include "machine/Scheduler.h"

#include <algorithm>

namespace winsim {

void Scheduler::Register(Turn& turn) {
  const std::lock_guard lock(m_mutex);
  m_order.push_back(&turn);
}

void Scheduler::AwaitTurn(Turn& turn) {
  std::unique_lock lock(m_mutex);
  Dispatch();
  turn.condition.wait(lock, [&] { return turn.running; });
}

void Scheduler::Leave(Turn& turn) {
  const std::lock_guard lock(m_mutex);
  m_order.remove(&turn);
  turn.running = false;
  m_someoneRuns = false;
  Dispatch();
  if (m_order.empty()) {
    m_idle.notify_all();
  }
}

Scheduler::Wake Scheduler::Block(Turn& turn, std::function<bool()> ready,
                                 std::optional<std::uint64_t> deadline) {
  std::unique_lock lock(m_mutex);
  turn.ready = std::move(ready);
  turn.deadline = deadline;
  turn.running = false;
  m_someoneRuns = false;
  // To the end of the order: who blocks lets the others have their turn first.
  m_order.remove(&turn);
  m_order.push_back(&turn);
  Dispatch();
  turn.condition.wait(lock, [&] { return turn.running; });
  return turn.wake;
}

void Scheduler::AwaitIdle() {
  std::unique_lock lock(m_mutex);
  m_idle.wait(lock, [&] { return m_order.empty(); });
}

void Scheduler::At(std::uint64_t time, std::function<void()> action) {
  const std::lock_guard lock(m_mutex);
  m_events.emplace(time, std::move(action));
}

/// Gives the turn to the first thread that can use it. Conditions read the machine, which is safe here:
/// nobody runs.
void Scheduler::Dispatch() {
  if (m_someoneRuns || m_order.empty()) {
    return;
  }
  const auto run = [&](Turn& turn, Wake wake) {
    turn.ready = nullptr;
    turn.deadline.reset();
    turn.wake = wake;
    turn.running = true;
    m_someoneRuns = true;
    turn.condition.notify_all();
  };
  do {
    for (Turn* const turn : m_order) {
      if (!turn->ready || turn->ready()) {
        return run(*turn, Wake::ready);
      }
    }
    for (Turn* const turn : m_order) {
      if (turn->deadline.has_value() && *turn->deadline <= m_clock.Now()) {
        return run(*turn, Wake::deadline);
      }
    }
  } while (AdvanceToNextMoment());
  run(*m_order.front(), Wake::deadlock);
}

/// Moves the clock to the next deadline or event and runs the events that are due; false when there is
/// neither.
bool Scheduler::AdvanceToNextMoment() {
  std::optional<std::uint64_t> next;
  const auto consider = [&](std::uint64_t time) { next = std::min(next.value_or(time), time); };
  for (const Turn* const turn : m_order) {
    if (turn->deadline.has_value()) {
      consider(*turn->deadline);
    }
  }
  if (!m_events.empty()) {
    consider(m_events.begin()->first);
  }
  if (!next.has_value()) {
    return false;
  }
  if (*next > m_clock.Now()) {
    m_clock.Advance(*next - m_clock.Now());
  }
  while (!m_events.empty() && m_events.begin()->first <= m_clock.Now()) {
    const auto action = std::move(m_events.begin()->second);
    m_events.erase(m_events.begin());
    action();
  }
  return true;
}

}  // namespace winsim
