#include <nlohmann/json.hpp>

#include "Report.h"
#include "Time.h"

namespace kvsim {
namespace {

using nlohmann::json;

json OperationJson(const FileOperation& operation) {
  json result = {{"file", operation.from}};
  if (!operation.to.empty()) {
    result["to"] = operation.to;
  }
  return result;
}

json CallJson(const winsim::TraceEntry& call) {
  return {{"process", call.process},
          {"function", call.function},
          {"arguments", call.arguments},
          {"error", call.error}};
}

json TraceJson(const std::vector<winsim::TraceEntry>& trace) {
  json result = json::array();
  for (const winsim::TraceEntry& entry : trace) {
    result.push_back(CallJson(entry));
  }
  return result;
}

json PassJson(const Pass& pass) {
  json result = {{"complete", pass.complete}};
  if (!pass.complete) {
    result["brokeOffAt"] = pass.at.empty() ? json(nullptr) : json(pass.at);
    result["cause"] = pass.Cause();
    result["call"] = pass.call.has_value() ? CallJson(*pass.call) : json(nullptr);
    result["stopPending"] = pass.stopPending;
    result["notReached"] = pass.notReached;
    result["repeats"] = pass.repeats;
  }
  return result;
}

/// Null after the year 9999.
json TimeJson(std::uint64_t time) {
  return time > LastTime ? json(nullptr) : json(FormatIso(time));
}

json ClaimJson(const Verdict& verdict) {
  static constexpr const char* kinds[] = {"file", "time", "broken"};
  const Claim& claim = verdict.claim;
  json result = {{"client", claim.client},
                 {"bound", kinds[static_cast<std::size_t>(claim.kind)]},
                 {"holds", verdict.holds},
                 {"text", verdict.text}};
  switch (claim.kind) {
    case Claim::Kind::file:
      result["file"] = winsim::ToUtf8(claim.file);
      result["lookError"] = verdict.lookError;
      result["doubtful"] = verdict.isDoubtful;
      break;
    case Claim::Kind::time:
      result["time"] = TimeJson(claim.time);
      result["lapses"] = TimeJson(claim.lapses);
      break;
    case Claim::Kind::broken:
      result["fault"] = {
          {"value", claim.fault.value}, {"found", claim.fault.found}, {"expected", claim.fault.expected}};
      break;
  }
  return result;
}

/// What is there of a component.
json PartsJson(const Component& component) {
  json result = {{"serviceEntry", component.entry},
                 {"markedForDeletion", component.marked},
                 {"image", component.image},
                 {"imageScheduled", component.imageScheduled},
                 {"logSource", component.logSource}};
  if (component.isDriver) {
    result["loaded"] = component.loaded;
    result["deviceNodes"] = component.deviceNodes;
    result["lifetimeRecord"] = component.record.has_value();
    result["auto"] =
        component.record && component.record->automatic ? json(*component.record->automatic) : json(nullptr);
  }
  return result;
}

json ComponentJson(const StartReport& report, std::size_t index) {
  const StartFacts& facts = report.facts;
  const Component& after = facts.after.components[index];
  json result = {{"name", after.name},
                 {"kind", after.isDriver ? "driver" : "service"},
                 {"result", ResultName(report.outcomes[index].result)},
                 {"reasons", report.outcomes[index].reasons},
                 {"risks", json::array()},
                 {"imagePath", winsim::ToUtf8(after.imagePath)},
                 {"before", PartsJson(facts.before.components[index])},
                 {"after", PartsJson(after)}};
  for (const Risk& risk : report.outcomes[index].risks) {
    json& added = result["risks"].emplace_back(json{{"kind", risk.kind}, {"text", risk.text}});
    if (!risk.client.empty()) {
      added["client"] = risk.client;
    }
  }
  if (after.isDriver) {
    result["claims"] = json::array();
    for (const Verdict& verdict : facts.verdicts[index]) {
      result["claims"].push_back(ClaimJson(verdict));
    }
  }
  return result;
}

}  // namespace

json StartJson(const StartReport& report, bool withTrace) {
  const StartFacts& facts = report.facts;
  const ProgramRun& program = facts.program;
  json result = {{"number", report.number}, {"time", FormatIso(facts.before.time)}};
  result["windows"] = {{"servicesRemoved", facts.servicesGone}, {"fileOperations", json::array()}};
  for (const CarriedOut& carriedOut : facts.operations) {
    json operation = OperationJson(carriedOut.operation);
    operation["done"] = carriedOut.done;
    result["windows"]["fileOperations"].push_back(std::move(operation));
  }
  result["program"] = {{"ran", program.ran}};
  if (program.ran) {
    result["program"]["exitCode"] = static_cast<std::int32_t>(program.exitCode);
    result["program"]["seconds"] = program.duration / UnitsPerSecond;
    result["program"]["leftOpen"] = program.leftOpen;
    if (!program.fault.empty()) {
      result["program"]["fault"] = program.fault;
    }
    if (program.pass.has_value()) {
      result["program"]["pass"] = PassJson(*program.pass);
    }
  } else {
    result["program"]["reason"] = program.whyNot;
  }
  result["components"] = json::array();
  for (std::size_t i = 0; i < report.outcomes.size(); ++i) {
    result["components"].push_back(ComponentJson(report, i));
  }
  result["atNextRestart"] = {{"services", facts.after.markedServices}, {"fileOperations", json::array()}};
  for (const FileOperation& operation : facts.after.fileOperations) {
    result["atNextRestart"]["fileOperations"].push_back(OperationJson(operation));
  }
  result["clean"] = facts.after.IsClean();
  if (withTrace) {
    result["trace"] = TraceJson(program.trace);
  }
  return result;
}

json CommandJson(const CommandRun& run, bool withTrace) {
  json result = {{"exitCode", static_cast<std::int32_t>(run.exitCode)},
                 {"leftOpen", run.leftOpen},
                 {"messageBoxes", json::array()}};
  for (const winsim::ShownMessageBox& box : run.messageBoxes) {
    result["messageBoxes"].push_back(
        {{"caption", winsim::ToUtf8(box.caption)}, {"text", winsim::ToUtf8(box.text)}, {"type", box.type}});
  }
  result["stillNeeded"] = json::array();
  for (const Needed& needed : run.needed) {
    result["stillNeeded"].push_back({{"name", needed.driver}, {"reasons", needed.reasons}});
  }
  if (!run.failure.empty()) {
    result["cause"] = run.failure;
  }
  if (!run.fault.empty()) {
    result["fault"] = run.fault;
  }
  if (withTrace) {
    result["trace"] = TraceJson(run.trace);
  }
  return result;
}

}  // namespace kvsim
