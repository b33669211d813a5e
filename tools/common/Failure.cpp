#include "common/Failure.h"

#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "common/Output.h"
#include "common/Printable.h"

namespace tools {

int Report(const char* tool, const Failure& failure, bool json, int schema) {
  if (json) {
    nlohmann::json error = {{"code", failure.code}, {"kind", failure.kind}, {"message", failure.message}};
    if (!failure.file.empty()) {
      error["file"] = failure.file;
    }
    if (failure.line != 0) {
      error["line"] = failure.line;
    }
    std::fputs(JsonText({{"schema", schema}, {"error", error}}).c_str(), stdout);
  }
  const std::string place = failure.file + (failure.line == 0 ? "" : fmt::format(":{}", failure.line)) +
                            (failure.file.empty() ? "" : ": ");
  std::fputs(fmt::format("{}: {}\n", tool, OneLine(place + failure.message)).c_str(), stderr);
  return failure.code;
}

}  // namespace tools
