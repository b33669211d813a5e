#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Report.h"
#include "Time.h"
#include "common/Output.h"

namespace kvsim {

std::string CommandLineOf(const std::vector<std::string>& words) {
  if (words.size() == 1) {
    return words.front();
  }
  std::string line;
  for (const std::string& word : words) {
    const bool needsQuotes = word.empty() || word.find_first_of(" \t") != std::string::npos;
    const bool hasQuotes = word.find('"') != std::string::npos;
    line += (&word == &words.front() ? "" : " ") + (needsQuotes && !hasQuotes ? '"' + word + '"' : word);
  }
  return line;
}

int Exec(const ExecOptions& options) {
  const std::uint64_t time = options.at.empty() ? HostTime() : ParseTime(options.at, "--at");
  Session session(options.machine, time);
  tools::PrintNotes("kvsim", session.Notes());
  if (!options.save.empty()) {
    session.CheckTarget(options.save);
  }
  const std::string commandLine = CommandLineOf(options.words);
  const CommandRun run = session.Run(winsim::FromUtf8(commandLine));
  if (!options.save.empty()) {
    session.Save(options.save);
  }
  if (options.json) {
    nlohmann::json document = CommandJson(run, options.trace);
    document["schema"] = JsonSchema;
    document["machine"] = options.machine;
    document["notes"] = session.Notes();
    document["commandLine"] = commandLine;
    document["time"] = FormatIso(time);
    tools::Print(tools::JsonText(document));
  } else {
    tools::Print(CommandText(run, options.trace, tools::Terminal::ForOutput()));
    if (!options.save.empty()) {
      tools::Print(fmt::format("Saved to {}.\n", tools::OneLine(options.save)));
    }
    std::fputs(AnswerText(run).c_str(), stderr);
    if (!run.fault.empty()) {
      std::fputs(fmt::format("kvsim: the program died of {}\n", run.fault).c_str(), stderr);
    }
  }
  return static_cast<int>(run.exitCode & 0xFF);
}

}  // namespace kvsim
