#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Claims.h"
#include "Look.h"
#include "Pass.h"
#include "machine/Gate.h"

namespace kvsim {

/// How the program fared at one start.
struct ProgramRun {
  bool ran = false;
  std::string whyNot;          // when it did not run
  std::uint32_t exitCode = 0;  // when it ran
  std::string fault;           // what it died of, if it did not come to its end
  std::uint64_t duration = 0;  // on the machine's clock
  std::vector<winsim::TraceEntry> trace;
  std::vector<std::string> leftOpen;
  std::optional<Pass> pass;  // when it ran as the service

  bool BrokeOff() const { return pass.has_value() && !pass->complete; }
};

/// A scheduled file operation that a start of the machine has dealt with.
struct CarriedOut {
  FileOperation operation;
  bool done = false;
};

/// A start of the machine as seen from outside: what was there before, when the program began, and after.
struct StartFacts {
  View before;
  std::optional<View> begun;  // when the program ran
  View after;
  /// What the start itself finished, before the program's turn.
  std::vector<std::string> servicesGone;
  std::vector<CarriedOut> operations;
  ProgramRun program;
  /// For each component, its claims as they were before the program ran.
  std::vector<std::vector<Verdict>> verdicts;

  /// What was there when the program had its turn, or would have had it.
  const View& Begun() const { return begun.has_value() ? *begun : after; }
};

enum class Result { absent, kept, removed, restartPending, gone, notRemoved, untouched };

/// Something that may turn out badly later although nothing went wrong now.
struct Risk {
  const char* kind;    // its word in JSON
  std::string client;  // whose claim it is about; empty for none
  std::string text;    // a clause
};

/// What became of a driver or of the service at one start, and why, a clause each.
struct Outcome {
  Result result = Result::absent;
  std::vector<std::string> reasons;
  std::vector<Risk> risks;
};

/// The word of a result in JSON, and for people.
const char* ResultName(Result result);
const char* ResultText(Result result);

/// One outcome for each component.
std::vector<Outcome> Explain(const StartFacts& facts);

/// Why the service manager left the program alone, judged by what is there after the start.
std::string WhyNotRun(const winsim::Machine& machine, const View& after);

/// Names of the drivers that keep the removal service.
std::vector<std::string> StillNeeded(const View& view);

/// Why a driver counts as still needed for who asks without a pass: there, lapsed claims count too.
std::vector<std::string> WhyNeeded(const Component& driver, const std::vector<Verdict>& verdicts);

}  // namespace kvsim
