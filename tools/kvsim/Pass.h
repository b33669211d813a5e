#pragma once

#include <optional>
#include <string>
#include <vector>

#include "machine/Gate.h"

namespace kvsim {

struct StartFacts;

/// How the removal pass of a start ended, as the calls of the program tell it: the program itself ends
/// quietly, with exit code 0, whatever happens.
struct Pass {
  bool complete = true;

  // --- of one that broke off ---

  /// The component whose turn it was; empty before the first one's.
  std::string at;
  /// The last thing that the pass did: the call that failed, or one whose success it could not use.
  std::optional<winsim::TraceEntry> call;
  /// That component was told to stop and stays in the state "stop pending".
  bool stopPending = false;
  /// What is there of the components and had no turn.
  std::vector<std::string> notReached;
  /// The next start comes to the same end if nothing changes; otherwise there is no next pass, because the
  /// service's entry has gone already.
  bool repeats = true;

  /// Whether a component had no turn, as against one that the pass dealt with or broke off at.
  bool HasReached(const std::string& component) const;
  /// What ended it: the call with its error, or what it could not use.
  std::string Cause() const;
};

/// What the last call that matters of a run tells about a failure: "NAME(ARGUMENTS) failed with error 5,
/// ...".
std::string CauseOf(const std::vector<winsim::TraceEntry>& calls);

/// Nothing when the program did not run as the service.
std::optional<Pass> JudgePass(const StartFacts& facts);

}  // namespace kvsim
