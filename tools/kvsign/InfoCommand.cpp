#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Errors.h"
#include "Image.h"
#include "ImageFacts.h"
#include "InfoReport.h"
#include "Session.h"
#include "common/Output.h"

namespace kvsign {
namespace {

ImageFacts FactsOf(const std::string& name) {
  const Bytes bytes = ReadHostFile(name, MaximalImageSize).bytes;
  const Session session;
  try {
    return ReadFacts(bytes);
  } catch (const std::bad_alloc&) {
    throw FileError(name, NoMemory);
  }
}

}  // namespace

int Info(const InfoOptions& options) {
  const ImageFacts facts = FactsOf(options.file);
  if (options.json) {
    nlohmann::json document = FactsJson(facts);
    document["schema"] = JsonSchema;
    document["file"] = options.file;
    tools::Print(tools::JsonText(document));
  } else {
    tools::Print(FactsText(options.file, facts, tools::Terminal::ForOutput()));
  }
  return facts.refusal ? ExitCode::refused : ExitCode::done;
}

}  // namespace kvsign
