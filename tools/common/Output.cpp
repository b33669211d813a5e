#include "common/Output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <system_error>

#include "common/Printable.h"

namespace tools {

void Print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw OutputError("standard output cannot be written to: " + std::generic_category().message(errno));
  }
}

void PrintNotes(const char* tool, const std::vector<std::string>& notes) {
  for (const std::string& note : notes) {
    std::fputs(fmt::format("{}: note: {}\n", tool, OneLine(note)).c_str(), stderr);
  }
}

std::string JsonText(const nlohmann::json& document) {
  return PrintableJson(document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace)) + '\n';
}

}  // namespace tools
