#include "Time.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <chrono>
#include <utility>

#include "Errors.h"

namespace kvsim {
namespace {

using Days = std::chrono::sys_days;
constexpr Days Epoch = std::chrono::year{1601} / 1 / 1;
constexpr std::uint64_t SecondsPerDay = 86'400;

/// A text being read from its front.
class Reader {
 public:
  explicit Reader(std::string_view text) : m_rest(text) {}
  bool AtEnd() const { return m_rest.empty(); }
  bool Take(char wanted) {
    const bool there = !m_rest.empty() && m_rest.front() == wanted;
    m_rest.remove_prefix(there ? 1 : 0);
    return there;
  }
  /// Takes a number; of exactly `digits` digits unless that is 0.
  bool Take(unsigned int& number, std::size_t digits = 0) {
    std::size_t length = std::min(m_rest.find_first_not_of("0123456789"), m_rest.size());
    length = digits == 0 ? length : std::min(length, digits);
    const auto [end, error] = std::from_chars(m_rest.data(), m_rest.data() + length, number);
    if (length == 0 || error != std::errc() || (digits != 0 && length != digits)) {
      return false;
    }
    m_rest.remove_prefix(length);
    return true;
  }
  char TakeAny() {
    const char first = m_rest.empty() ? '\0' : m_rest.front();
    m_rest.remove_prefix(m_rest.empty() ? 0 : 1);
    return first;
  }

 private:
  std::string_view m_rest;
};

/// Reads what a time of a zone is ahead of UTC, in seconds: "+01:00", "-0930".
std::int64_t ReadOffset(Reader& reader, bool& valid) {
  unsigned int hours = 0, minutes = 0;
  const bool isBehind = reader.Take('-');
  valid = valid && (isBehind || reader.Take('+')) && reader.Take(hours, 2);
  reader.Take(':');
  valid = valid && reader.Take(minutes, 2) && hours < 24 && minutes < 60;
  return (isBehind ? -1 : 1) * static_cast<std::int64_t>(hours * 3'600 + minutes * 60);
}

struct Calendar {
  std::chrono::year_month_day day;
  std::chrono::hh_mm_ss<std::chrono::seconds> clock;
};

Calendar Split(std::uint64_t time) {
  const std::uint64_t seconds = time / UnitsPerSecond;
  return {Epoch + std::chrono::days(seconds / SecondsPerDay),
          std::chrono::hh_mm_ss(std::chrono::seconds(seconds % SecondsPerDay))};
}

std::string FormatDay(const Calendar& calendar) {
  return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(calendar.day.year()),
                     static_cast<unsigned int>(calendar.day.month()),
                     static_cast<unsigned int>(calendar.day.day()));
}

/// Seconds of one unit of a duration, or 0 for a letter that is none. `clockPart`: behind the T of the ISO
/// form.
std::uint64_t SecondsOf(char unit, bool iso, bool clockPart) {
  switch (unit) {
    case 'W':
    case 'w':
      return iso && clockPart ? 0 : 7 * SecondsPerDay;
    case 'D':
    case 'd':
      return iso && clockPart ? 0 : SecondsPerDay;
    case 'H':
    case 'h':
      return iso && !clockPart ? 0 : 3'600;
    case 'M':
      // Outside the ISO form it may be a month.
      return iso && clockPart ? 60 : 0;
    case 'm':
      return iso && !clockPart ? 0 : 60;
    case 'S':
    case 's':
      return iso && !clockPart ? 0 : 1;
    default:
      return 0;
  }
}

}  // namespace

std::uint64_t ParseTime(std::string_view text, std::string_view option) {
  Reader reader(text);
  unsigned int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  bool valid = reader.Take(year, 4) && reader.Take('-') && reader.Take(month, 2) && reader.Take('-') &&
               reader.Take(day, 2);
  const bool hasClock = valid && (reader.Take('T') || reader.Take(' '));
  if (hasClock) {
    valid = reader.Take(hour, 2) && reader.Take(':') && reader.Take(minute, 2);
    if (valid && reader.Take(':')) {
      valid = reader.Take(second, 2);
    }
  }
  const bool isLocal = !reader.Take('Z') && hasClock && !reader.AtEnd();
  const std::int64_t offset = isLocal ? ReadOffset(reader, valid) : 0;
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year)), std::chrono::month(month),
                                         std::chrono::day(day)};
  valid = valid && reader.AtEnd() && date.ok() && hour < 24 && minute < 60 && second < 60;
  const std::int64_t days = valid ? (Days(date) - Epoch).count() : 0;
  const std::int64_t seconds =
      days * static_cast<std::int64_t>(SecondsPerDay) + hour * 3'600 + minute * 60 + second - offset;
  if (!valid || seconds < 0 || static_cast<std::uint64_t>(seconds) > LastTime / UnitsPerSecond) {
    throw UsageError(
        fmt::format("{}: '{}' is not a time; expected one such as 2026-11-22T20:00:00Z or "
                    "2026-11-22T21:00+01:00, from 1601 on",
                    option, text));
  }
  return static_cast<std::uint64_t>(seconds) * UnitsPerSecond;
}

std::uint64_t ParseDuration(std::string_view text, std::string_view option) {
  Reader reader(text);
  const bool iso = reader.Take('P');
  bool clockPart = false, valid = true;
  unsigned int parts = 0;
  std::uint64_t seconds = 0;
  while (valid && !reader.AtEnd()) {
    if (iso && !clockPart && reader.Take('T')) {
      clockPart = true;
      valid = !reader.AtEnd();
      continue;
    }
    unsigned int number = 0;
    valid = reader.Take(number);
    const std::uint64_t unit = valid ? SecondsOf(reader.TakeAny(), iso, clockPart) : 0;
    seconds += number * unit;
    valid = unit != 0 && seconds <= LastTime / UnitsPerSecond;
    ++parts;
  }
  if (!iso && text.ends_with('M')) {
    throw UsageError(
        fmt::format("{}: '{}' may mean months or minutes; expected days such as 30d, or minutes such as 1m",
                    option, text));
  }
  if (!valid || parts == 0) {
    throw UsageError(
        fmt::format("{}: '{}' is not a length of time; expected one such as 12d, 1d12h, 30m, 45s, "
                    "2w, P1D or PT12H",
                    option, text));
  }
  return seconds * UnitsPerSecond;
}

std::uint64_t HostTime() {
  // Whole seconds first: nanoseconds since 1601 do not fit.
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  return static_cast<std::uint64_t>((now - Epoch).count()) * UnitsPerSecond;
}

std::string FormatIso(std::uint64_t time) {
  const Calendar calendar = Split(time);
  return fmt::format("{}T{:02}:{:02}:{:02}Z", FormatDay(calendar), calendar.clock.hours().count(),
                     calendar.clock.minutes().count(), calendar.clock.seconds().count());
}

std::string FormatTime(std::uint64_t time) {
  if (time / UnitsPerSecond > LastTime / UnitsPerSecond) {
    return "after the year 9999";
  }
  const Calendar calendar = Split(time);
  std::string text = fmt::format("{} {:02}:{:02}", FormatDay(calendar), calendar.clock.hours().count(),
                                 calendar.clock.minutes().count());
  if (calendar.clock.seconds().count() != 0) {
    text += fmt::format(":{:02}", calendar.clock.seconds().count());
  }
  return text + " UTC";
}

std::string FormatDuration(std::uint64_t duration) {
  static constexpr std::array<std::pair<std::uint64_t, const char*>, 4> units = {
      {{SecondsPerDay, "day"}, {3'600, "hour"}, {60, "minute"}, {1, "second"}}};
  std::uint64_t seconds = duration / UnitsPerSecond;
  std::string text;
  unsigned int parts = 0;
  for (const auto& [size, name] : units) {
    if (seconds >= size && parts < 2) {
      text += fmt::format("{}{} {}{}", parts++ == 0 ? "" : " ", seconds / size, name,
                          seconds / size == 1 ? "" : "s");
      seconds %= size;
    }
  }
  return parts == 0 ? "0 seconds" : text;
}

}  // namespace kvsim
