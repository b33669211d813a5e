#pragma once

#include <string>
#include <vector>

#include "Explain.h"

namespace kvsim {

/// The risks of one component as it is after a start: for a driver those of its claims and of its device, for
/// the service those of its entry.
std::vector<Risk> FindRisks(const StartFacts& facts, std::size_t component);

}  // namespace kvsim
