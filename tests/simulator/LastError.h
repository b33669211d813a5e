#pragma once

#include <windows.h>

/// The last error before a call whose effect on it is looked at; no function sets it.
inline constexpr DWORD Untouched = 0xDEADBEEF;

/// The last error after `call`: Untouched when it set none.
template <class Call>
DWORD ErrorOf(Call&& call) {
  SetLastError(Untouched);
  call();
  return GetLastError();
}

/// The last error of a call that must fail by returning `failure`; Untouched when it returned anything else.
template <class Result, class Call>
DWORD FailureOf(Result failure, Call&& call) {
  SetLastError(Untouched);
  const bool failed = call() == failure;
  const DWORD error = GetLastError();
  return failed ? error : Untouched;
}

/// The same for a call that fails by returning nothing: FALSE, 0 or a null handle.
template <class Call>
DWORD FailureOf(Call&& call) {
  return FailureOf(decltype(call()){}, call);
}
