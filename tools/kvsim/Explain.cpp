#include "Explain.h"

#include <fmt/format.h>

#include <algorithm>

#include "Risks.h"
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
    const bool recorded =
        after.record && std::any_of(after.record->claims.begin(), after.record->claims.end(),
                                    [&](const Claim& claim) { return claim.client == verdict.claim.client; });
    const char* note = "";
    if (ran && after.record && recorded != verdict.holds) {
      note = recorded ? ", but is still recorded" : ", but was deleted";
    }
    reasons.push_back(verdict.text + note);
  }
}

/// What keeps a driver beside its claims.
void TellRecord(const Component& driver, std::vector<std::string>& reasons) {
  if (!driver.key) {
    reasons.emplace_back("has no service entry, so nothing keeps it");
  } else if (!driver.record) {
    reasons.emplace_back("has no lifetime record: nobody may remove it automatically");
  } else if (!driver.record->AllowsRemoval()) {
    reasons.push_back(fmt::format("may not be removed automatically (\"Auto\" is {}{})",
                                  driver.record->automaticFound,
                                  driver.record->automatic.has_value() ? "" : "; expected a REG_DWORD, 1"));
  }
}

bool IsStillNeeded(const Component& driver, const std::vector<Verdict>& verdicts) {
  return driver.key &&
         (!driver.record || !driver.record->AllowsRemoval() ||
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

/// Why something that nothing keeps is still there.
void TellFailure(const StartFacts& facts, const Component& after, std::vector<std::string>& reasons) {
  if (facts.program.BrokeOff()) {
    const Pass& pass = *facts.program.pass;
    if (pass.at == after.name) {
      reasons.push_back("the pass broke off here: " + pass.Cause());
    } else if (!pass.HasReached(after.name)) {
      reasons.push_back("not reached: the pass broke off " +
                        (pass.at.empty() ? "before the first driver" : "at " + pass.at));
    }
  }
  if (!facts.program.pass.has_value()) {
    reasons.emplace_back("no pass was made");
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
      if (outcome.reasons.empty()) {
        outcome.reasons.emplace_back("nobody claims it");
      }
      break;
    case Result::removed:
    case Result::restartPending:
    case Result::notRemoved:
      TellClaims(verdicts, after, ran, outcome.reasons);
      if (verdicts.empty() && begun.key) {
        outcome.reasons.emplace_back("nobody claims it");
      } else if (!begun.key) {
        TellRecord(begun, outcome.reasons);
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
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    outcomes[i].risks = FindRisks(facts, i);
  }
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
  if (service.wow64Mark) {
    return "its service entry has the mark WOW64 and its program is not in SysWOW64";
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

std::vector<std::string> WhyNeeded(const Component& driver, const std::vector<Verdict>& verdicts) {
  std::vector<std::string> reasons;
  for (const Verdict& verdict : verdicts) {
    reasons.push_back(verdict.text + (verdict.holds ? "" : ", but counts until a pass deletes it"));
  }
  TellRecord(driver, reasons);
  return reasons;
}

}  // namespace kvsim
