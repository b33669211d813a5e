#pragma once

#include <stdexcept>

#include "common/Failure.h"

namespace kvsim {

/// How kvsim ends; `exec` ends with the simulated program's exit code instead of `done`.
enum ExitCode : int {
  done = 0,
  usageWrong = 2,
  machineUnreadable = 3,
  resultNotWritten = 4,
  kvsimIncomplete = 5,
};

using tools::UsageError;

/// The machine cannot start the command line; one line.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// kvsim cannot do its work although its input is right: the program's module is not beside it.
struct IncompleteError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace kvsim
