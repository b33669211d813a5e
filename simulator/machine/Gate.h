#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace winsim {

class Thread;

/// One argument of a simulated call, kept unformatted until a trace wants it.
struct Argument {
  enum class Kind { text, narrowText, number, handle, boolean };
  Argument(const wchar_t* value) : kind(Kind::text), pointer(value) {}
  Argument(const char* value) : kind(Kind::narrowText), pointer(value) {}
  Argument(std::uint32_t value) : kind(Kind::number), number(value) {}
  Argument(std::int32_t value) : kind(Kind::number), number(static_cast<std::uint32_t>(value)) {}
  /// A handle; traced as what it stands for.
  static Argument Handle(const void* value) { return {Kind::handle, value}; }

  Kind kind;
  const void* pointer = nullptr;
  std::uint32_t number = 0;

 private:
  Argument(Kind k, const void* value) : kind(k), pointer(value) {}
};

/// One traced call.
struct TraceEntry {
  /// Number of the process on its machine, 1 for the first.
  unsigned int process;
  std::string function;
  /// In UTF-8: texts in quotes, numbers in hexadecimal, handles as what they stand for.
  std::string arguments;
  /// 0 for success, else the error the caller was told.
  std::uint32_t error;

  /// "function(arguments)" and, for a failure, " = error".
  std::string Line() const;
};

/// What every simulated call passes: it can be traced, counted, made to fail, and stopped by a power loss. A
/// power loss freezes the machine: the call and all later ones change nothing and fail with 21
/// (ERROR_NOT_READY), so that the program comes to its end, until `Restore`.
class Gate {
 public:
  static constexpr std::uint32_t PowerLossError = 21;

  // --- for the owner of the machine ---

  void StartTrace();
  /// Ends the trace and hands it over, in the order in which the calls began.
  std::vector<TraceEntry> TakeTrace();
  /// The trace's lines, of one function only when `function` is given; the trace goes on.
  std::vector<std::string> TraceLines(std::string_view function = {}) const;

  /// Calls since the machine was made or `ResetCount`.
  std::uint64_t Calls() const { return m_calls; }
  void ResetCount() { m_calls = 0; }

  /// Makes call `number` (1 is the next one) fail with `error`, or it and all later ones when `forEver`.
  /// Calls that cannot fail on Windows (GetSystemTime ...) pass and do not count here.
  void FailCall(std::uint64_t number, std::uint32_t error, bool forEver = false);
  /// Makes calls of `function` fail with `error`: `times` of them after the first `skip`.
  void FailFunction(std::string function, std::uint32_t error, std::uint64_t times = 1,
                    std::uint64_t skip = 0);
  /// Cuts the power at call `number` (1 is the next one), before it does anything.
  void CutPowerAt(std::uint64_t number);
  /// Whether a planned failure or power loss has happened since the last `Restore`.
  bool HasIntervened() const { return m_intervened; }
  bool IsPowerOff() const { return m_powerOff; }
  /// Forgets every planned failure and gives the power back.
  void Restore();

  // --- for the simulated functions ---

  /// A call begins. Returns 0 to let it pass, else the error it must fail with, having done nothing.
  std::uint32_t Enter(Thread& thread, const char* function, std::initializer_list<Argument> arguments,
                      bool canFail);
  /// The call that began last on `thread` ends with `error`.
  void Leave(Thread& thread, std::uint32_t error);

 private:
  struct PlannedFailure {
    std::string function;  // empty: any
    std::uint64_t skip;
    std::uint64_t times;
    std::uint32_t error;
  };
  std::uint32_t PlannedError(const char* function);

  bool m_tracing = false;
  std::vector<TraceEntry> m_trace;
  std::uint64_t m_calls = 0;
  std::vector<PlannedFailure> m_failures;
  std::uint64_t m_callsToPowerLoss = 0;  // 0: none planned
  bool m_powerOff = false;
  bool m_intervened = false;
};

}  // namespace winsim
