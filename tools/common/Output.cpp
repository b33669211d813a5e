#include "common/Output.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace tools {

void Print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw OutputError("standard output cannot be written to");
  }
}

std::string JsonText(const nlohmann::json& document) {
  return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

}  // namespace tools
