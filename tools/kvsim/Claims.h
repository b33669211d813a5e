#pragma once

#include <string>
#include <vector>

#include "Look.h"

namespace kvsim {

/// Whether a claim keeps its driver at some time, and why.
struct Verdict {
  Claim claim;
  bool holds = false;
  /// Error of looking at the file that it is bound to; 0 when that is there.
  std::uint32_t lookError = 0;
  /// It has lapsed although its file may be there: the look failed for a reason of its own.
  bool isDoubtful = false;
  /// A clause that begins with the claim's name.
  std::string text;
};

/// Judges the claims of one driver by the clock and the files of the machine, which must be idle: those
/// that hold first.
std::vector<Verdict> Judge(winsim::Machine& machine, const std::vector<Claim>& claims, std::uint64_t time);

}  // namespace kvsim
