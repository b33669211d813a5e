#include "Explain.h"

#include <fmt/format.h>

#include <algorithm>

#include "PassTrace.h"
#include "common/Terminal.h"

namespace kvsim {
namespace {

using tools::Join;
using winsim::ToUtf8;

const char* ImageWord(const Component& component) {
  return component.isDriver ? "image file" : "executable";
}

/// The parts of a component that `before` has and `after` has not.
std::vector<std::string> PartsGone(const Component& before, const Component& after) {
  std::vector<std::string> parts;
  const auto add = [&](bool gone, const char* part) {
    if (gone) {
      parts.emplace_back(part);
    }
  };
  add(before.logSource && !after.logSource, "event-log source");
  add(before.entry && !after.entry, "service entry");
  add(before.deviceNodes > after.deviceNodes, "device node");
  add(before.image && !after.image, ImageWord(before));
  return parts;
}

void TellWhatHappened(const Component& before, const Component& after, std::vector<std::string>& reasons) {
  if (before.loaded && !after.loaded) {
    reasons.emplace_back("stopped");
  }
  if (const std::vector<std::string> parts = PartsGone(before, after); !parts.empty()) {
    reasons.push_back("deleted: " + Join(parts));
  }
  std::vector<std::string> waiting;
  if (after.marked) {
    waiting.emplace_back("service entry");
  }
  if (after.image && after.imageScheduled) {
    waiting.emplace_back(ImageWord(after));
  }
  if (after.loaded && after.IsLeaving()) {
    reasons.emplace_back("cannot be stopped: stays loaded until the restart");
  }
  if (!waiting.empty()) {
    reasons.push_back("left to the restart: " + Join(waiting));
  }
  if (after.deviceNodes != 0) {
    reasons.push_back(
        fmt::format("left over: {} device node{}", after.deviceNodes, after.deviceNodes == 1 ? "" : "s"));
  }
}

/// What the start itself finished of an earlier removal.
void TellWhatStartFinished(const Component& before, const Component& after,
                           std::vector<std::string>& reasons) {
  reasons.push_back("the start finished its removal: " + Join(PartsGone(before, after)));
}

/// The claims, and what they mean if the program did not act on them as it should.
void TellClaims(const std::vector<Verdict>& verdicts, const Component& after, bool ran,
                std::vector<std::string>& reasons) {
  for (const Verdict& verdict : verdicts) {
    const bool recorded = std::any_of(after.claims.begin(), after.claims.end(), [&](const Claim& claim) {
      return claim.client == verdict.claim.client;
    });
    const char* note = "";
    if (ran && after.record && recorded != verdict.holds) {
      note = recorded ? ", but is still recorded" : ", but was deleted";
    }
    reasons.push_back(verdict.text + note);
  }
}

/// What keeps a driver beside its claims.
void TellRecord(const Component& driver, std::vector<std::string>& reasons) {
  if (!driver.record) {
    reasons.emplace_back("has no lifetime record: nobody may remove it automatically");
  } else if (driver.automatic.value_or(0) == 0) {
    reasons.push_back(fmt::format("may not be removed automatically (\"Auto\" is {})",
                                  driver.automatic.has_value() ? "0" : "missing"));
  }
}

bool IsStillNeeded(const Component& driver, const std::vector<Verdict>& verdicts) {
  return driver.key &&
         (!driver.record || driver.automatic.value_or(0) == 0 ||
          std::any_of(verdicts.begin(), verdicts.end(), [](const Verdict& v) { return v.holds; }));
}

Result Judge(const Component& before, const Component& begun, const Component& after, bool ran, bool needed) {
  if (!after.IsPresent()) {
    return begun.IsPresent() ? Result::removed : before.IsPresent() ? Result::gone : Result::absent;
  }
  if (!ran) {
    return Result::untouched;
  }
  return after.IsLeaving() ? Result::restartPending : needed ? Result::kept : Result::notRemoved;
}

/// Why a driver that nothing keeps is still there.
void TellFailure(const StartFacts& facts, const Component& after, std::vector<std::string>& reasons) {
  const PassTrace trace(facts.program.trace, facts.after);
  const std::string end = trace.LastReached();
  const bool reached = trace.Reached(after.name);
  if (after.stopPending) {
    reasons.emplace_back("in use: told to stop, it stays in the state \"stop pending\", which ends the pass");
  } else if (!reached) {
    reasons.push_back("not looked at: the pass ended " +
                      (end.empty() ? "before the first driver" : "at " + end));
  }
  const std::string failure = trace.LastFailure(reached ? after.name : "");
  if (!failure.empty() && (reached || end.empty() || !after.isDriver)) {
    reasons.push_back("last call that failed: " + failure);
  }
  if (after.loaded) {
    reasons.emplace_back("still loaded");
  }
}

Outcome ExplainDriver(const StartFacts& facts, std::size_t index) {
  const Component& before = facts.before.components[index];
  const Component& begun = facts.Begun().components[index];
  const Component& after = facts.after.components[index];
  const std::vector<Verdict>& verdicts = facts.verdicts[index];
  const bool ran = facts.program.ran;
  Outcome outcome;
  outcome.result = Judge(before, begun, after, ran, IsStillNeeded(begun, verdicts));
  switch (outcome.result) {
    case Result::absent:
      TellWhatHappened(begun, after, outcome.reasons);
      break;
    case Result::gone:
      TellWhatStartFinished(before, after, outcome.reasons);
      break;
    case Result::kept:
    case Result::untouched:
      TellClaims(verdicts, after, ran, outcome.reasons);
      TellRecord(begun, outcome.reasons);
      break;
    case Result::removed:
    case Result::restartPending:
    case Result::notRemoved:
      TellClaims(verdicts, after, ran, outcome.reasons);
      if (verdicts.empty()) {
        outcome.reasons.emplace_back(begun.key ? "nobody claims it"
                                               : "has no service entry, so nothing keeps it");
      }
      if (outcome.result == Result::notRemoved) {
        TellFailure(facts, after, outcome.reasons);
      }
      TellWhatHappened(begun, after, outcome.reasons);
      break;
  }
  return outcome;
}

Outcome ExplainService(const StartFacts& facts) {
  const Component& before = facts.before.Service();
  const Component& begun = facts.Begun().Service();
  const Component& after = facts.after.Service();
  const std::vector<std::string> needed = StillNeeded(facts.after);
  Outcome outcome;
  outcome.result = Judge(before, begun, after, facts.program.ran, !needed.empty());
  switch (outcome.result) {
    case Result::absent:
      break;
    case Result::gone:
      TellWhatStartFinished(before, after, outcome.reasons);
      break;
    case Result::kept:
      outcome.reasons.push_back("still needed for " + Join(needed));
      break;
    case Result::untouched:
      outcome.reasons.push_back("did not run: " + facts.program.whyNot);
      break;
    case Result::notRemoved:
      TellFailure(facts, after, outcome.reasons);
      TellWhatHappened(begun, after, outcome.reasons);
      break;
    case Result::removed:
    case Result::restartPending:
      outcome.reasons.emplace_back("no driver needs it any more");
      TellWhatHappened(begun, after, outcome.reasons);
      break;
  }
  return outcome;
}

}  // namespace

const char* ResultName(Result result) {
  static constexpr const char* names[] = {"absent", "kept",        "removed",  "restart-pending",
                                          "gone",   "not-removed", "untouched"};
  return names[static_cast<std::size_t>(result)];
}

const char* ResultText(Result result) {
  static constexpr const char* texts[] = {"not installed", "kept",        "removed",  "restart pending",
                                          "gone",          "not removed", "untouched"};
  return texts[static_cast<std::size_t>(result)];
}

std::vector<Outcome> Explain(const StartFacts& facts) {
  std::vector<Outcome> outcomes;
  for (std::size_t i = 0; i + 1 < facts.after.components.size(); ++i) {
    outcomes.push_back(ExplainDriver(facts, i));
  }
  outcomes.push_back(ExplainService(facts));
  return outcomes;
}

std::string WhyNotRun(const winsim::Machine& machine, const View& after) {
  const Component& service = after.Service();
  if (machine.settings.version.platformId != 2) {
    return "this Windows has no service manager";
  }
  if (!service.entry) {
    return fmt::format("{} is not installed", ServiceName);
  }
  if ((service.serviceType & 0x30) == 0) {
    return fmt::format("its service entry is not that of a program (type {:#x})", service.serviceType);
  }
  if (service.startType != 2) {
    return fmt::format("its service entry does not start it automatically (start type {}{})",
                       service.startType, service.startType == 4 ? ", disabled" : "");
  }
  if (!service.image) {
    return fmt::format("{} is missing", ToUtf8(service.imagePath));
  }
  return fmt::format("its service entry runs \"{}\"", ToUtf8(service.commandLine));
}

std::vector<std::string> StillNeeded(const View& view) {
  std::vector<std::string> names;
  for (const Component& component : view.components) {
    if (component.isDriver && !component.IsExpired()) {
      names.push_back(component.name);
    }
  }
  return names;
}

}  // namespace kvsim
