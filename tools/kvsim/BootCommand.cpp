#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Errors.h"
#include "Report.h"
#include "Time.h"
#include "common/Output.h"

namespace kvsim {

int Boot(const BootOptions& options) {
  const std::uint64_t first = options.at.empty() ? HostTime() : ParseTime(options.at, "--at");
  const std::uint64_t every = ParseDuration(options.every, "--every");
  if (options.starts > 1 && every > (LastTime - first) / (options.starts - 1)) {
    throw UsageError("--every: the last start would be after the year 9999; expected an earlier one");
  }
  Session session(options.machine, first);
  tools::PrintNotes("kvsim", session.Notes());
  if (!options.save.empty()) {
    session.CheckTarget(options.save);
  }
  const tools::Terminal terminal = tools::Terminal::ForOutput();
  nlohmann::json document = {{"schema", JsonSchema},
                             {"machine", options.machine},
                             {"notes", session.Notes()},
                             {"starts", nlohmann::json::array()}};
  StartReport report;
  for (unsigned int i = 0; i < options.starts; ++i) {
    report.number = i + 1;
    report.facts = session.Start(first + i * every);
    report.outcomes = Explain(report.facts);
    if (options.json) {
      document["starts"].push_back(StartJson(report, options.trace));
    } else {
      tools::Print(StartText(report, options.starts, options.trace, terminal));
    }
  }
  if (!options.save.empty()) {
    session.Save(options.save);
  }
  if (options.json) {
    document["clean"] = report.facts.after.IsClean();
    tools::Print(tools::JsonText(document));
  } else {
    tools::Print(SummaryText(report, terminal));
    if (!options.save.empty()) {
      tools::Print(fmt::format("Saved to {}.\n", tools::OneLine(options.save)));
    }
  }
  return ExitCode::done;
}

}  // namespace kvsim
