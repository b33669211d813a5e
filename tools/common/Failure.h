#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace tools {

/// The command line is wrong; one line.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Everything that can end a command early, as the outside sees it.
struct Failure {
  int code;  // the exit code
  const char* kind;
  std::string message;
  std::string file = {};
  std::size_t line = 0;
};

/// Writes one line to standard error, "TOOL: FILE:LINE: MESSAGE", and with `json` a document of form `schema`
/// to standard output. Returns the exit code.
int Report(const char* tool, const Failure& failure, bool json, int schema);

}  // namespace tools
