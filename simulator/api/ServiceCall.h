#pragma once

#include "api/Call.h"

namespace winsim {

/// The frame of a service function whose name has no W: on an 8-bit-only system it is a stub all the same.
template <class Body>
BOOL ServiceCall(const char* function, std::initializer_list<Argument> arguments, Body&& body) {
  return BoolCall(function, arguments, [&](Thread& thread) -> DWORD {
    const bool isStub = thread.GetMachine().settings.version.platformId != VER_PLATFORM_WIN32_NT;
    return isStub ? ERROR_CALL_NOT_IMPLEMENTED : body(thread);
  });
}

inline SERVICE_STATUS ToWindows(const ServiceStatus& status) {
  return {
      status.type,       status.state,   status.controlsAccepted, status.exitCode, status.specificExitCode,
      status.checkPoint, status.waitHint};
}

inline ServiceStatus FromWindows(const SERVICE_STATUS& status) {
  return {status.dwServiceType,
          status.dwCurrentState,
          status.dwControlsAccepted,
          status.dwWin32ExitCode,
          status.dwServiceSpecificExitCode,
          status.dwCheckPoint,
          status.dwWaitHint};
}

}  // namespace winsim
