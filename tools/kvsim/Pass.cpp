#include "Pass.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "ErrorText.h"
#include "Explain.h"

namespace kvsim {
namespace {

using winsim::TraceEntry;
using Calls = std::vector<TraceEntry>;

/// Calls that give something back; they follow whatever ends a pass.
bool GivesBack(std::string_view function) {
  static constexpr std::array<std::string_view, 8> names = {
      "CloseHandle", "CloseServiceHandle",           "FindClose",    "FreeLibrary",
      "RegCloseKey", "SetupDiDestroyDeviceInfoList", "ReleaseMutex", "Wow64RevertWow64FsRedirection"};
  return std::find(names.begin(), names.end(), function) != names.end();
}

/// Errors that the expiry question takes for an answer: missing things, ends of lists, sizes.
bool IsAnswer(std::uint32_t error) {
  return error == 0 || error == 2 || error == 234 || error == 259;
}

/// The turn of a driver, and the question whether it has expired, begin with its service key.
bool OpensKeyOf(const TraceEntry& call, const std::string& driver) {
  return call.function.starts_with("RegOpenKeyEx") &&
         call.arguments.ends_with("\\Services\\" + driver + "\", 0x20019");
}

/// The pass is between the reports "running" (4) and "stopped" (1).
bool Reports(const TraceEntry& call, std::string_view state) {
  return call.function == "SetServiceStatus" && call.arguments == state;
}

/// The last call of the pass that gives nothing back.
std::optional<TraceEntry> LastCall(const Calls& calls) {
  auto call =
      std::find_if(calls.rbegin(), calls.rend(), [](const TraceEntry& entry) { return Reports(entry, "1"); });
  call = std::find_if(call == calls.rend() ? calls.rbegin() : call + 1, calls.rend(),
                      [](const TraceEntry& entry) { return !GivesBack(entry.function); });
  return call == calls.rend() ? std::nullopt : std::optional(*call);
}

/// The component whose turn was the last to begin, as an index; none before the first one's. Drivers come
/// from the last to the first, then the service, which asks them all, from the first on.
std::optional<std::size_t> LastTurn(const Calls& calls, const View& view) {
  const std::size_t drivers = view.components.size() - 1;
  std::size_t left = drivers;
  for (const TraceEntry& call : calls) {
    if (left > 0 && OpensKeyOf(call, view.components[left - 1].name)) {
      --left;
    } else if (left == 0 && OpensKeyOf(call, view.components.front().name)) {
      return drivers;
    }
  }
  return left == drivers ? std::nullopt : std::optional(left);
}

}  // namespace

bool Pass::HasReached(const std::string& component) const {
  return std::find(notReached.begin(), notReached.end(), component) == notReached.end();
}

std::string Pass::Cause() const {
  if (stopPending) {
    return "told to stop, it is in use and stays in the state \"stop pending\"";
  }
  if (!call.has_value()) {
    return "no call of it is known";
  }
  const std::string words = fmt::format("{}({})", call->function, call->arguments);
  return call->error == 0 ? "after " + words : words + " failed with " + ErrorText(call->error);
}

std::string CauseOf(const Calls& calls) {
  Pass pass;
  pass.call = LastCall(calls);
  return pass.Cause();
}

std::optional<Pass> JudgePass(const StartFacts& facts) {
  const Calls& calls = facts.program.trace;
  const bool isService =
      std::any_of(calls.begin(), calls.end(), [](const TraceEntry& call) { return Reports(call, "4"); });
  if (!isService) {
    return std::nullopt;
  }
  const View& after = facts.after;
  const std::size_t service = after.components.size() - 1;
  const std::optional<std::size_t> turn = LastTurn(calls, after);
  Pass pass;
  pass.call = LastCall(calls);
  if (turn == service) {
    const bool isDone = !after.Service().IsPresent() || after.Service().IsLeaving();
    pass.complete = StillNeeded(after).empty() ? isDone : pass.call.has_value() && IsAnswer(pass.call->error);
  } else {
    pass.complete = false;
  }
  if (pass.complete) {
    return Pass();
  }
  if (turn.has_value()) {
    pass.at = after.components[*turn].name;
    pass.stopPending = after.components[*turn].stopPending;
  }
  // Behind a driver come those before it in the list, and the service.
  for (std::size_t i = turn == service ? 0 : turn.value_or(service); i-- > 0;) {
    if (after.components[i].IsPresent()) {
      pass.notReached.push_back(after.components[i].name);
    }
  }
  if (turn != service) {
    pass.notReached.emplace_back(ServiceName);
  }
  pass.repeats = after.Service().entry && !after.Service().marked;
  return pass;
}

}  // namespace kvsim
