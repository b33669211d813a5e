#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "common/Failure.h"

namespace kvsign {

/// How kvsign ends. Of several files the worst counts: refused, then notValid, then done.
enum ExitCode : int {
  done = 0,
  notValid = 1,
  usageWrong = 2,
  refused = 3,
  resultNotWritten = 4,
  internalFault = 5,
};

using tools::UsageError;

/// A file cannot be read or used, or a key is not one for this scheme: one line without the file's name.
struct FileError : std::runtime_error {
  FileError(std::string name, const std::string& message)
      : std::runtime_error(message), file(std::move(name)) {}

  std::string file;
};

}  // namespace kvsign
