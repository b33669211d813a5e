#include "machine/Gate.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "machine/Machine.h"

namespace winsim {
namespace {

std::string Format(const Thread& thread, const Argument& argument) {
  if (argument.kind == Argument::Kind::number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, argument.number < 10 ? "%u" : "0x%X", argument.number);
    return digits;
  }
  if (argument.pointer == nullptr) {
    return "null";
  }
  if (argument.kind == Argument::Kind::text) {
    return '"' + ToUtf8(FromWide(static_cast<const wchar_t*>(argument.pointer))) + '"';
  }
  if (argument.kind == Argument::Kind::narrowText) {
    return '"' + std::string(static_cast<const char*>(argument.pointer)) + '"';
  }
  const auto object = thread.process->handles.Find<Object>(argument.pointer);
  if (object != nullptr) {
    return object->Describe();
  }
  switch (static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(argument.pointer))) {
    case 0x80000001:
      return "HKCU";
    case 0x80000002:
      return "HKLM";
    case 0xFFFFFFFF:
      return "this process";
    default:
      return "no handle";
  }
}

}  // namespace

std::string TraceEntry::Line() const {
  std::string line = function + "(" + arguments + ")";
  if (error != 0) {
    line += " = " + std::to_string(error);
  }
  return line;
}

void Gate::StartTrace() {
  m_trace.clear();
  m_tracing = true;
}

std::vector<TraceEntry> Gate::TakeTrace() {
  m_tracing = false;
  return std::exchange(m_trace, {});
}

std::vector<std::string> Gate::TraceLines(std::string_view function) const {
  std::vector<std::string> lines;
  for (const TraceEntry& entry : m_trace) {
    if (function.empty() || entry.function == function) {
      lines.push_back(entry.Line());
    }
  }
  return lines;
}

void Gate::FailCall(std::uint64_t number, std::uint32_t error, bool forEver) {
  m_failures.push_back({{}, number - 1, forEver ? UINT64_MAX : 1, error});
}

void Gate::FailFunction(std::string function, std::uint32_t error, std::uint64_t times, std::uint64_t skip) {
  m_failures.push_back({std::move(function), skip, times, error});
}

void Gate::CutPowerAt(std::uint64_t number) {
  m_callsToPowerLoss = number;
}

void Gate::Restore() {
  m_failures.clear();
  m_callsToPowerLoss = 0;
  m_powerOff = false;
  m_intervened = false;
}

std::uint32_t Gate::Enter(Thread& thread, const char* function, std::initializer_list<Argument> arguments,
                          bool canFail) {
  ++m_calls;
  if (m_tracing) {
    std::string text;
    for (const Argument& argument : arguments) {
      text += (text.empty() ? "" : ", ") + Format(thread, argument);
    }
    thread.traceIndexes.push_back(m_trace.size());
    m_trace.push_back({thread.process->Number(), function, std::move(text), 0});
  }
  if (m_callsToPowerLoss != 0 && --m_callsToPowerLoss == 0) {
    m_powerOff = true;
    m_intervened = true;
  }
  if (m_powerOff) {
    return canFail ? PowerLossError : 0;
  }
  return canFail ? PlannedError(function) : 0;
}

void Gate::Leave(Thread& thread, std::uint32_t error) {
  if (thread.traceIndexes.empty()) {
    return;  // the trace began within the call
  }
  const std::size_t index = thread.traceIndexes.back();
  thread.traceIndexes.pop_back();
  if (index < m_trace.size()) {
    m_trace[index].error = error;
  }
}

std::uint32_t Gate::PlannedError(const char* function) {
  for (PlannedFailure& failure : m_failures) {
    if (!failure.function.empty() && failure.function != function) {
      continue;
    }
    if (failure.skip > 0) {
      --failure.skip;
    } else if (failure.times > 0) {
      --failure.times;
      m_intervened = true;
      return failure.error;
    }
  }
  return 0;
}

}  // namespace winsim
