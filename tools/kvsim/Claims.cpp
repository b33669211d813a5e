#include "Claims.h"

#include <fmt/format.h>
#include <winerror.h>

#include <algorithm>

#include "ErrorText.h"
#include "Time.h"

namespace kvsim {
namespace {

using winsim::ToUtf8;

bool MeansMissing(std::uint32_t error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_NO_MORE_FILES;
}

Verdict JudgeFile(winsim::Machine& machine, const Claim& claim) {
  const std::string path = ToUtf8(claim.file);
  std::shared_ptr<winsim::FileNode> file;
  std::u16string name;
  // As the program looks: without redirection, from the directory in which services begin.
  const std::uint32_t error =
      machine.files.FindFirst({machine.SystemDirectory(), false}, claim.file, file, name);
  if (error == 0) {
    return {claim, true, error, false, fmt::format("holds: {} is there", path)};
  }
  if (error == ERROR_ACCESS_DENIED) {
    return {claim, true, error, false,
            fmt::format("holds: looking at {} is refused ({})", path, ErrorText(error))};
  }
  if (MeansMissing(error)) {
    return {claim, false, error, false, fmt::format("lapsed: {} is missing", path)};
  }
  const bool canExist = error != ERROR_INVALID_NAME && error != ERROR_BAD_PATHNAME;
  return {claim, false, error, canExist,
          fmt::format("lapsed: {} cannot be looked at ({})", path, ErrorText(error))};
}

Verdict JudgeTime(const Claim& claim, std::uint64_t time) {
  const bool holds = time < claim.lapses;
  return {claim, holds, 0, false,
          fmt::format("{} {}", holds ? "holds until" : "lapsed on", FormatTime(claim.lapses))};
}

Verdict JudgeBroken(const Claim& claim) {
  const Claim::Fault& fault = claim.fault;
  return {claim, false, 0, false,
          fmt::format("counts for nothing: its \"{}\" is {}; expected {}", fault.value, fault.found,
                      fault.expected)};
}

}  // namespace

std::vector<Verdict> Judge(winsim::Machine& machine, const std::vector<Claim>& claims, std::uint64_t time) {
  std::vector<Verdict> verdicts;
  for (const Claim& claim : claims) {
    Verdict verdict = claim.kind == Claim::Kind::file   ? JudgeFile(machine, claim)
                      : claim.kind == Claim::Kind::time ? JudgeTime(claim, time)
                                                        : JudgeBroken(claim);
    verdict.text = fmt::format("claim \"{}\" {}", claim.client, verdict.text);
    verdicts.push_back(std::move(verdict));
  }
  std::stable_partition(verdicts.begin(), verdicts.end(),
                        [](const Verdict& verdict) { return verdict.holds; });
  return verdicts;
}

}  // namespace kvsim
