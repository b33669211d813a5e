#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Explain.h"
#include "Session.h"
#include "common/Terminal.h"

namespace kvsim {

/// The number of the form of all JSON that kvsim writes; it rises when a reader could stumble.
inline constexpr int JsonSchema = 1;

/// One start and what became of the components.
struct StartReport {
  unsigned int number = 1;
  StartFacts facts;
  std::vector<Outcome> outcomes;
};

// --- for people ---

std::string StartText(const StartReport& report, unsigned int starts, bool withTrace,
                      const tools::Terminal& terminal);
/// What is left after the last start.
std::string SummaryText(const StartReport& last, const tools::Terminal& terminal);
/// What a command line showed.
std::string CommandText(const CommandRun& run, bool withTrace, const tools::Terminal& terminal);
/// Why the program answered as it did, for standard error; empty when there is nothing to say.
std::string AnswerText(const CommandRun& run);

// --- for programs ---

nlohmann::json StartJson(const StartReport& report, bool withTrace);
nlohmann::json CommandJson(const CommandRun& run, bool withTrace);

}  // namespace kvsim
