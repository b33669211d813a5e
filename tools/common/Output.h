#pragma once

#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace tools {

/// The result cannot be written; one line.
struct OutputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Writes to standard output. Throws OutputError when that does not take it.
void Print(const std::string& text);

/// Writes a line to standard error for each note, "TOOL: note: ...": what the user should know about a
/// result.
void PrintNotes(const char* tool, const std::vector<std::string>& notes);

/// The text of a document; bytes that are no UTF-8 (of host paths) become U+FFFD, and what a
/// terminal would obey is escaped.
std::string JsonText(const nlohmann::json& document);

}  // namespace tools
