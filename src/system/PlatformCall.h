#pragma once

#include "foundation/Assert.h"
#include "system/PlatformState.h"

// How the wrappers over the platform treat what a machine lacks: one helper for each kind of wrapper that has
// no 8-bit form. The arguments pass unchanged.

namespace LCommon::System {

/// Wide only, must not happen: without wide functions asserts "0" at `location`.
template <class Function, class... Arguments>
auto WideOnly(LLocation location, Function function, Arguments... arguments) {
  if (!Platform().unicode) LReportAssertion(location, "0");
  return function(arguments...);
}

/// Calls `function` when it is `available`, otherwise answers `failure` with the last error 120.
template <class Result, class Function, class... Arguments>
Result CallIf(bool available, Result failure, Function function, Arguments... arguments) {
  if (available) return function(arguments...);
  SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
  return failure;
}

/// Wide only, reports failure.
template <class Result, class Function, class... Arguments>
Result WideOrFailure(Result failure, Function function, Arguments... arguments) {
  return CallIf(Platform().unicode, failure, function, arguments...);
}

/// Looked up at run time.
template <class Result, class Function, class... Arguments>
Result LoadedOrFailure(Result failure, Function function, Arguments... arguments) {
  return CallIf(function != nullptr, failure, function, arguments...);
}

}  // namespace LCommon::System
