#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kvsim {

// Times are those of the simulated machine: 100-nanosecond units since 1601-01-01T00:00:00Z.

inline constexpr std::uint64_t UnitsPerSecond = 10'000'000;
/// 9999-12-31T23:59:59Z, the last second that can be written down.
inline constexpr std::uint64_t LastTime = 265'046'774'399 * UnitsPerSecond;

/// Reads "2026-11-22T20:00:00Z"; the seconds, the time of day (then midnight) and the Z may be left out.
/// Times are UTC, from 1601 to 9999. Throws UsageError, which names `option`.
std::uint64_t ParseTime(std::string_view text, std::string_view option);

/// Reads "12d", "1d12h", "30m", "45s", "2w" or the ISO 8601 form "P1D", "PT12H", "P1DT12H", "P2W". Throws
/// UsageError, which names `option`.
std::uint64_t ParseDuration(std::string_view text, std::string_view option);

/// What the host's clock shows: the only place where it is read.
std::uint64_t HostTime();

/// "2026-11-22T20:00:00Z", cut to whole seconds.
std::string FormatIso(std::uint64_t time);
/// "2026-11-22 20:00:00 UTC", or "2026-11-22 20:00 UTC" on a whole minute; "after the year 9999" when it is.
std::string FormatTime(std::uint64_t time);
/// The two largest parts of a length of time: "12 days 3 hours", "45 seconds", "0 seconds".
std::string FormatDuration(std::uint64_t duration);

}  // namespace kvsim
