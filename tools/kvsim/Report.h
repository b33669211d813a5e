#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Explain.h"
#include "Session.h"
#include "Terminal.h"

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
                      const Terminal& terminal);
/// What is left after the last start.
std::string SummaryText(const StartReport& last, const Terminal& terminal);
/// What a command line showed.
std::string CommandText(const CommandRun& run, bool withTrace, const Terminal& terminal);

// --- for programs ---

/// The text of a document; bytes that are no UTF-8 (of host paths) become U+FFFD.
std::string JsonText(const nlohmann::json& document);
nlohmann::json StartJson(const StartReport& report, bool withTrace);
nlohmann::json CommandJson(const CommandRun& run, bool withTrace);

}  // namespace kvsim
