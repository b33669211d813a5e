#pragma once

#include <doctest/doctest.h>

#include <functional>
#include <string>

#include "support/MachineSession.h"
#include "system/WindowsApi.h"

// Facts about the Windows functions, checked on the simulated machine and on the real functions alike.
// Nothing here knows which of them it meets; what Wine is known to answer otherwise is in Differences.h.

/// The last error before every call; no function sets it.
inline constexpr DWORD Untouched = 0xDEADBEEF;

/// The situation that the following facts are about: the first half of their names.
void Given(const std::string& situation);

/// Checks one fact and counts it; no two have the same name. It is not asked where Wine does not survive it.
void CheckFact(const std::string& call, const std::function<std::string()>& ask, const std::string& expected);

/// Checks that there were enough facts, and under Wine that every listed difference is one; prints the
/// numbers.
void CheckTotals();

// Answers as texts: "TRUE", or "FALSE 5" with the last error ("none" when the call set none); a length, or
// "0, 203"; an error code alone; "file 183", "object 183" with the last error of a success, "service", or the
// error of a failure. Handles are closed.
std::string BoolText(BOOL answer);
std::string LengthText(DWORD answer);
std::string StatusText(LSTATUS answer);
std::string FileText(HANDLE file);
std::string ObjectText(HANDLE object);
std::string ServiceText(SC_HANDLE service);
/// The last error that a call has left, whatever it answered: "0", "none".
std::string LeftText(bool answer);

/// The answer of a call with a fresh last error, as a text.
#define ANSWER(kind, ...) (SetLastError(Untouched), kind(__VA_ARGS__))

/// A fact: what is expected, and the call, which is the second half of its name.
#define ASK(...) [&]() -> std::string { return __VA_ARGS__; }
#define FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(__VA_ARGS__), expected)
#define BOOL_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(BoolText, __VA_ARGS__)), expected)
#define LENGTH_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(LengthText, __VA_ARGS__)), expected)
#define STATUS_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(StatusText, __VA_ARGS__)), expected)
#define FILE_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(FileText, __VA_ARGS__)), expected)
#define OBJECT_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(ObjectText, __VA_ARGS__)), expected)
#define SERVICE_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(ServiceText, __VA_ARGS__)), expected)
#define LEFT_FACT(expected, ...) CheckFact(#__VA_ARGS__, ASK(ANSWER(LeftText, __VA_ARGS__)), expected)

/// Wide text of limited length, for names that are put together.
struct Wide {
  wchar_t units[600] = {};
  operator const wchar_t*() const { return units; }
};
Wide operator+(Wide left, const wchar_t* right);
/// A path in the Windows directory.
Wide InWindows(const wchar_t* name);

/// ASCII text with '|' for every zero in it.
std::string Narrow(const wchar_t* text, unsigned int length);
std::string Narrow(const wchar_t* text);

/// "type, contents" of a value below HKEY_LOCAL_MACHINE, "no key", or the error.
std::string Stored(const wchar_t* path, const wchar_t* value);
