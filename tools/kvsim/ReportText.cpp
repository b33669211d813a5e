#include <fmt/format.h>

#include <cctype>
#include <optional>

#include "Report.h"
#include "Time.h"

namespace kvsim {
namespace {

using tools::Columns;
using tools::Join;
using tools::OneLine;
using tools::Padded;
using tools::Printable;
using tools::Terminal;
using Style = Terminal::Style;

constexpr std::size_t NameColumns = 10;
constexpr std::size_t ResultColumns = 17;
constexpr std::size_t TextColumn = 2 + NameColumns + ResultColumns;
constexpr std::size_t LabelColumns = 13;
constexpr const char* RiskLabel = "risk: ";

Style StyleOf(Result result) {
  switch (result) {
    case Result::removed:
    case Result::gone:
      return Style::good;
    case Result::restartPending:
      return Style::waiting;
    case Result::notRemoved:
      return Style::bad;
    case Result::absent:
    case Result::untouched:
      return Style::quiet;
    case Result::kept:
      break;
  }
  return Style::heading;
}

/// A line about something else than a component.
std::string Row(const Terminal& terminal, const std::string& label, const std::string& text,
                std::optional<Style> style = std::nullopt) {
  const std::string lead = Padded(label, LabelColumns);
  return terminal.Hanging("  " + (style.has_value() ? terminal.Styled(*style, lead) : lead), 2 + LabelColumns,
                          Printable(text), 2) +
         '\n';
}

std::string ComponentRows(const Terminal& terminal, const Component& component, const Outcome& outcome) {
  const std::string result = Padded(ResultText(outcome.result), ResultColumns);
  const std::string lead =
      "  " + Padded(component.name, NameColumns) + terminal.Styled(StyleOf(outcome.result), result);
  if (outcome.reasons.empty() && outcome.risks.empty()) {
    return lead.substr(0, lead.find_last_not_of(' ') + 1) + '\n';
  }
  std::string text;
  for (const std::string& reason : outcome.reasons) {
    const std::string front = text.empty() ? lead : std::string(TextColumn, ' ');
    text += terminal.Hanging(front, TextColumn, Printable(reason), 2) + '\n';
  }
  for (const Risk& risk : outcome.risks) {
    const std::string front = text.empty() ? lead : std::string(TextColumn, ' ');
    text += terminal.Hanging(front + terminal.Styled(Style::warning, RiskLabel),
                             TextColumn + Columns(RiskLabel), Printable(risk.text)) +
            '\n';
  }
  return text;
}

std::string OperationText(const FileOperation& operation) {
  return operation.to.empty() ? "deletes " + operation.from
                              : "moves " + operation.from + " to " + operation.to;
}

std::string PassEnd(const Pass& pass) {
  return pass.at.empty() ? "before the first driver" : "at " + pass.at;
}

std::string ProgramText(const StartFacts& facts) {
  const ProgramRun& run = facts.program;
  if (!run.ran) {
    return "did not run: " + run.whyNot;
  }
  std::string text = fmt::format("ran, exit code {}", static_cast<std::int32_t>(run.exitCode));
  if (!run.fault.empty()) {
    text += ": it died of " + run.fault;
  }
  if (run.duration >= UnitsPerSecond) {
    text += fmt::format("; waited {} for other programs", FormatDuration(run.duration));
  }
  if (run.BrokeOff()) {
    text += ", but its pass broke off " + PassEnd(*run.pass) + ": " + run.pass->Cause();
  } else if (!run.pass.has_value()) {
    text += fmt::format(", but made no pass: its service entry runs \"{}\"",
                        winsim::ToUtf8(facts.after.Service().commandLine));
  }
  return text;
}

/// What waits behind a pass that broke off, and what comes of it.
std::string BehindText(const Pass& pass) {
  const std::string next = pass.repeats ? "the next start does the same if nothing changes"
                                        : "there is no next pass: the service's entry has gone";
  return (pass.notReached.empty() ? "" : "not reached: " + Join(pass.notReached) + "; ") + next;
}

std::string TraceText(const std::vector<winsim::TraceEntry>& trace) {
  std::string text;
  for (const winsim::TraceEntry& entry : trace) {
    text += fmt::format("    {} {}\n", entry.process, Printable(entry.Line()));
  }
  return text;
}

std::string LeaksText(const std::vector<std::string>& leftOpen, const Terminal& terminal) {
  std::string text;
  for (const std::string& handle : leftOpen) {
    text += Row(terminal, "left open", handle);
  }
  return text;
}

/// The next moment at which a claim lapses that keeps a driver now.
std::optional<std::pair<std::uint64_t, std::string>> NextLapse(const StartFacts& facts) {
  std::optional<std::pair<std::uint64_t, std::string>> next;
  for (std::size_t i = 0; i < facts.verdicts.size(); ++i) {
    for (const Verdict& verdict : facts.verdicts[i]) {
      const bool counts = verdict.holds && verdict.claim.kind == Claim::Kind::time;
      if (counts && (!next.has_value() || verdict.claim.lapses < next->first)) {
        next.emplace(verdict.claim.lapses,
                     fmt::format("\"{}\" on {}", verdict.claim.client, facts.after.components[i].name));
      }
    }
  }
  return next;
}

}  // namespace

std::string StartText(const StartReport& report, unsigned int starts, bool withTrace,
                      const Terminal& terminal) {
  const StartFacts& facts = report.facts;
  std::string text = terminal.Styled(Style::heading, fmt::format("Start {} of {} on {}", report.number,
                                                                 starts, FormatTime(facts.before.time)));
  text += "\n\n";
  for (const std::string& service : facts.servicesGone) {
    text +=
        Row(terminal, "Windows", "removes the service entry " + service + ", which was marked for deletion");
  }
  for (const CarriedOut& carriedOut : facts.operations) {
    text +=
        Row(terminal, "Windows",
            OperationText(carriedOut.operation) + (carriedOut.done ? ", as scheduled" : ": not possible"));
  }
  if (facts.program.BrokeOff()) {
    text += Row(terminal, ProgramName, ProgramText(facts), Style::bad);
    text += Row(terminal, "", BehindText(*facts.program.pass));
  } else {
    text += Row(terminal, ProgramName, ProgramText(facts));
  }
  text += LeaksText(facts.program.leftOpen, terminal);
  text += '\n';
  for (std::size_t i = 0; i < report.outcomes.size(); ++i) {
    text += ComponentRows(terminal, facts.after.components[i], report.outcomes[i]);
  }
  if (!facts.after.markedServices.empty() || !facts.after.fileOperations.empty()) {
    text += "\n  " + terminal.Styled(Style::heading, "At the next restart Windows") + '\n';
    for (const std::string& service : facts.after.markedServices) {
      text += "    " + Printable("removes the service entry " + service) + '\n';
    }
    for (const FileOperation& operation : facts.after.fileOperations) {
      text += "    " + Printable(OperationText(operation)) + '\n';
    }
  }
  if (withTrace) {
    text += "\n  " +
            terminal.Styled(Style::heading, fmt::format("Trace, {} calls", facts.program.trace.size())) +
            '\n';
    text += TraceText(facts.program.trace);
  }
  return text + '\n';
}

std::string SummaryText(const StartReport& last, const Terminal& terminal) {
  const StartFacts& facts = last.facts;
  if (facts.after.IsClean()) {
    return terminal.Styled(Style::good,
                           "The machine is clean: nothing of the drivers and of the service is left.") +
           '\n';
  }
  std::vector<std::string> left;
  for (const Component& component : facts.after.components) {
    if (component.IsPresent() && !component.IsLeaving()) {
      left.push_back(component.name);
    }
  }
  std::string text, failure;
  if (facts.program.BrokeOff()) {
    const Pass& pass = *facts.program.pass;
    failure = "The pass broke off " + PassEnd(pass) + ": " + pass.Cause() + ".";
    std::string behind = BehindText(pass);
    behind[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(behind[0])));
    text = behind + ". ";
  }
  if (left.empty()) {
    text += "What is left goes with the next restart.";
  } else {
    text += "Still installed: " + Join(left) + ".";
    if (const auto next = NextLapse(facts); next.has_value()) {
      text += fmt::format(" The next claim to lapse: {}, on {}.", next->second, FormatTime(next->first));
    }
  }
  failure =
      failure.empty() ? "" : terminal.Styled(Style::bad, terminal.Hanging("", 0, Printable(failure))) + '\n';
  return failure + terminal.Hanging("", 0, Printable(text)) + '\n';
}

std::string AnswerText(const CommandRun& run) {
  if (!run.failure.empty()) {
    return OneLine(fmt::format("{} failed: {}", ProgramName, run.failure)) + '\n';
  }
  std::string text = run.needed.empty() ? "" : fmt::format("{} cannot go yet\n", ProgramName);
  for (const Needed& needed : run.needed) {
    for (const std::string& reason : needed.reasons) {
      text += OneLine("  " + Padded(needed.driver, NameColumns) + reason) + '\n';
    }
  }
  return text;
}

std::string CommandText(const CommandRun& run, bool withTrace, const Terminal& terminal) {
  std::string text;
  for (const winsim::ShownMessageBox& box : run.messageBoxes) {
    text += terminal.Styled(Style::heading, Printable(winsim::ToUtf8(box.caption))) + "\n\n";
    text += terminal.Hanging("", 0, Printable(winsim::ToUtf8(box.text))) + "\n";
  }
  text += LeaksText(run.leftOpen, terminal);
  if (withTrace) {
    text += (text.empty() ? "" : "\n") +
            terminal.Styled(Style::heading, fmt::format("Trace, {} calls", run.trace.size())) + '\n';
    text += TraceText(run.trace);
  }
  return text;
}

}  // namespace kvsim
