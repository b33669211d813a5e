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

json TraceJson(const std::vector<winsim::TraceEntry>& trace) {
  json result = json::array();
  for (const winsim::TraceEntry& entry : trace) {
    result.push_back({{"process", entry.process},
                      {"function", entry.function},
                      {"arguments", entry.arguments},
                      {"error", entry.error}});
  }
  return result;
}

json ClaimJson(const Verdict& verdict) {
  static constexpr const char* kinds[] = {"file", "time", "broken"};
  const Claim& claim = verdict.claim;
  json result = {{"client", claim.client},
                 {"bound", kinds[static_cast<std::size_t>(claim.kind)]},
                 {"holds", verdict.holds},
                 {"text", verdict.text}};
  if (claim.kind == Claim::Kind::file) {
    result["file"] = winsim::ToUtf8(claim.file);
  } else if (claim.kind == Claim::Kind::time) {
    result["lapses"] = claim.lapses > LastTime ? json(nullptr) : json(FormatIso(claim.lapses));
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
    result["lifetimeRecord"] = component.record;
    result["auto"] = component.automatic.has_value() ? json(*component.automatic) : json(nullptr);
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
                 {"imagePath", winsim::ToUtf8(after.imagePath)},
                 {"before", PartsJson(facts.before.components[index])},
                 {"after", PartsJson(after)}};
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
  if (!run.fault.empty()) {
    result["fault"] = run.fault;
  }
  if (withTrace) {
    result["trace"] = TraceJson(run.trace);
  }
  return result;
}

}  // namespace kvsim
