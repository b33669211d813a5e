#include "Risks.h"

#include <fmt/format.h>
#include <winerror.h>

#include "ErrorText.h"
#include "Time.h"
#include "common/Terminal.h"

namespace kvsim {
namespace {

void AddClaimRisks(const std::vector<Verdict>& verdicts, std::uint64_t now, std::vector<Risk>& risks) {
  for (const Verdict& verdict : verdicts) {
    const Claim& claim = verdict.claim;
    if (verdict.isDoubtful) {
      risks.push_back(
          {"file-not-seen", claim.client,
           fmt::format("claim \"{}\" counts as lapsed although its file may be there: the look at it "
                       "failed ({})",
                       claim.client, ErrorText(verdict.lookError))});
    }
    if (claim.kind == Claim::Kind::time && claim.time > now) {
      risks.push_back({"time-ahead", claim.client,
                       fmt::format("claim \"{}\" is dated {}, ahead of the clock ({}): one of two clocks was "
                                   "wrong, and its 30 days begin with that date",
                                   claim.client, FormatTime(claim.time), FormatTime(now))});
    }
  }
}

void AddDeviceRisk(const Component& driver, std::vector<Risk>& risks) {
  const std::uint32_t error = driver.deviceError;
  if (error != 0 && error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) {
    risks.push_back({"device-refuses", "",
                     fmt::format("its device \\\\.\\{}i refuses to be opened ({}): when no claim keeps the "
                                 "driver, every pass breaks off here",
                                 driver.name, ErrorText(error))});
  }
}

void AddServiceRisks(const StartFacts& facts, std::vector<Risk>& risks) {
  std::vector<std::string> lying;
  for (const Component& component : facts.after.components) {
    if (component.isDriver && component.IsPresent() && !component.IsLeaving()) {
      lying.push_back(component.name);
    }
  }
  const bool willRun = facts.program.ran && facts.after.Service().entry && !facts.after.Service().marked;
  if (!lying.empty() && !willRun) {
    risks.push_back(
        {"nobody-removes", "",
         fmt::format("nothing will ever remove {}: {}", tools::Join(lying),
                     facts.program.ran ? "the service's entry has gone before them" : facts.program.whyNot)});
  }
  if (facts.after.Service().wow64Mark) {
    risks.push_back({"wow64-mark", "",
                     "its service key has the mark WOW64: a 64-bit Windows looks for its program in "
                     "SysWOW64, not in system32"});
  }
}

}  // namespace

std::vector<Risk> FindRisks(const StartFacts& facts, std::size_t component) {
  std::vector<Risk> risks;
  const Component& after = facts.after.components[component];
  if (after.isDriver) {
    AddClaimRisks(facts.verdicts[component], facts.after.time, risks);
    AddDeviceRisk(after, risks);
  } else {
    AddServiceRisks(facts, risks);
  }
  return risks;
}

}  // namespace kvsim
