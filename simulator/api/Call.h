#pragma once

#include <windows.h>

#include <string_view>

#include "machine/Machine.h"

namespace winsim {

/// The error of a wide function, known by the W at the end of its name, on an 8-bit-only system, where it is
/// a mere stub; 0 for every function that does its work.
inline DWORD StubError(const Thread& thread, std::string_view function) {
  const bool stub = thread.GetMachine().settings.version.platformId != VER_PLATFORM_WIN32_NT &&
                    function.ends_with('W') && function != "MessageBoxW";
  return stub ? ERROR_CALL_NOT_IMPLEMENTED : ERROR_SUCCESS;
}

/// The frame of every simulated function: passes the gate, runs `body` with the calling thread, and reports
/// the outcome to the trace. `body` fills in the error (0 for success) and returns the function's value, in
/// failure too. A call that the gate refuses, or a stub, returns `failure` and sets the last error.
template <class T, class Body>
T ValueCall(const char* function, std::initializer_list<Argument> arguments, T failure, Body&& body) {
  Thread& thread = Thread::Current();
  Gate& gate = thread.GetMachine().gate;
  DWORD refusal = gate.Enter(thread, function, arguments, true);
  if (refusal == 0) {
    refusal = StubError(thread, function);
  }
  if (refusal != 0) {
    thread.lastError = refusal;
    gate.Leave(thread, refusal);
    return failure;
  }
  DWORD error = 0;
  T value = body(thread, error);
  if (error != 0) {
    thread.lastError = error;
  }
  gate.Leave(thread, error);
  return value;
}

/// A function that answers TRUE, or FALSE with a last error: `body` returns the error.
template <class Body>
BOOL BoolCall(const char* function, std::initializer_list<Argument> arguments, Body&& body) {
  return ValueCall<BOOL>(function, arguments, FALSE, [&](Thread& thread, DWORD& error) {
    error = body(thread);
    return error == 0 ? TRUE : FALSE;
  });
}

/// A function that answers the error code itself and leaves the last error alone, as the registry's do.
template <class Body>
LSTATUS StatusCall(const char* function, std::initializer_list<Argument> arguments, Body&& body) {
  Thread& thread = Thread::Current();
  Gate& gate = thread.GetMachine().gate;
  DWORD error = gate.Enter(thread, function, arguments, true);
  if (error == 0) {
    error = StubError(thread, function);
  }
  if (error == 0) {
    error = body(thread);
  }
  gate.Leave(thread, error);
  return static_cast<LSTATUS>(error);
}

/// A function that cannot fail.
template <class Body>
auto PlainCall(const char* function, std::initializer_list<Argument> arguments, Body&& body) {
  Thread& thread = Thread::Current();
  Gate& gate = thread.GetMachine().gate;
  gate.Enter(thread, function, arguments, false);
  struct Leave {
    Gate& gate;
    Thread& thread;
    ~Leave() { gate.Leave(thread, 0); }
  } leave{gate, thread};
  return body(thread);
}

}  // namespace winsim
