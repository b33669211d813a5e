#pragma once

#include <cstdint>

namespace winsim {

/// The machine's own time; it moves only when the machine or its owner moves it.
class Clock {
 public:
  static constexpr std::uint64_t UnitsPerMillisecond = 10'000;

  explicit Clock(std::uint64_t now) : m_now(now), m_started(now) {}

  /// 100-nanosecond units since 1601 (UTC).
  std::uint64_t Now() const { return m_now; }
  /// Milliseconds since the last start of the machine, cut to 32 bits as GetTickCount has it.
  std::uint32_t TickCount() const {
    return static_cast<std::uint32_t>((m_now - m_started) / UnitsPerMillisecond);
  }
  /// Sets the time of day without passing time; `started` is moved along so that the tick count stays.
  void Set(std::uint64_t now) {
    m_started += now - m_now;
    m_now = now;
  }
  void Advance(std::uint64_t units) { m_now += units; }
  /// The machine starts now: the tick count is 0 again.
  void MarkStart() { m_started = m_now; }

 private:
  std::uint64_t m_now;
  std::uint64_t m_started;
};

}  // namespace winsim
