#include "api/Call.h"

#include <array>

// The time of day.

using namespace winsim;

namespace {

constexpr std::uint64_t UnitsPerDay = 24ull * 60 * 60 * 1000 * Clock::UnitsPerMillisecond;
constexpr unsigned int FirstYear = 1601;
constexpr unsigned int LastYear = 30827;

constexpr bool IsLeapYear(unsigned int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr unsigned int DaysOfMonth(unsigned int year, unsigned int month) {
  constexpr std::array<unsigned int, 12> days = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : days[month - 1];
}

/// Days from the first day of FirstYear to that of `year`.
constexpr std::uint64_t DaysBefore(unsigned int year) {
  const std::uint64_t years = year - FirstYear;
  return years * 365 + years / 4 - years / 100 + years / 400;
}

/// The fields of the time, which is counted in units of 100 nanoseconds since 1601.
SYSTEMTIME Split(std::uint64_t time) {
  constexpr unsigned int WeekDayOfStart = 1;  // a Monday
  std::uint64_t days = time / UnitsPerDay;
  auto milliseconds = static_cast<unsigned int>(time % UnitsPerDay / Clock::UnitsPerMillisecond);
  SYSTEMTIME result = {};
  result.wDayOfWeek = static_cast<WORD>((days + WeekDayOfStart) % 7);
  auto year = FirstYear + static_cast<unsigned int>(days / 366);
  while (DaysBefore(year + 1) <= days) {
    ++year;
  }
  days -= DaysBefore(year);
  unsigned int month = 1;
  while (days >= DaysOfMonth(year, month)) {
    days -= DaysOfMonth(year, month++);
  }
  result.wYear = static_cast<WORD>(year);
  result.wMonth = static_cast<WORD>(month);
  result.wDay = static_cast<WORD>(days + 1);
  const auto take = [&](unsigned int unit) {
    const auto part = static_cast<WORD>(milliseconds / unit);
    milliseconds %= unit;
    return part;
  };
  result.wHour = take(60 * 60 * 1000);
  result.wMinute = take(60 * 1000);
  result.wSecond = take(1000);
  result.wMilliseconds = take(1);
  return result;
}

bool IsValid(const SYSTEMTIME& time) {
  return time.wYear >= FirstYear && time.wYear <= LastYear && time.wMonth >= 1 && time.wMonth <= 12 &&
         time.wDay >= 1 && time.wDay <= DaysOfMonth(time.wYear, time.wMonth) && time.wHour < 24 &&
         time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

std::uint64_t Join(const SYSTEMTIME& time) {
  std::uint64_t days = DaysBefore(time.wYear) + time.wDay - 1u;
  for (unsigned int month = 1; month < time.wMonth; ++month) {
    days += DaysOfMonth(time.wYear, month);
  }
  const std::uint64_t seconds = (time.wHour * 60u + time.wMinute) * 60u + time.wSecond;
  return days * UnitsPerDay + (seconds * 1000 + time.wMilliseconds) * Clock::UnitsPerMillisecond;
}

}  // namespace

void WINAPI GetSystemTime(LPSYSTEMTIME time) {
  PlainCall("GetSystemTime", {}, [&](Thread& thread) { *time = Split(thread.GetMachine().clock.Now()); });
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME fileTime) {
  return BoolCall("SystemTimeToFileTime", {}, [&](Thread&) -> DWORD {
    if (!IsValid(*time)) {
      return ERROR_INVALID_PARAMETER;
    }
    const std::uint64_t joined = Join(*time);
    *fileTime = {static_cast<DWORD>(joined), static_cast<DWORD>(joined >> 32)};
    return ERROR_SUCCESS;
  });
}
