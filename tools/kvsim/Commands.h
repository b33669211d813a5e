#pragma once

#include <string>
#include <vector>

namespace kvsim {

/// Options that both commands have.
struct CommonOptions {
  std::string machine;
  std::string at;    // empty: now
  std::string save;  // empty: nowhere
  bool json = false;
  bool trace = false;
};

struct BootOptions : CommonOptions {
  unsigned int starts = 1;
  std::string every = "1d";
};

struct ExecOptions : CommonOptions {
  /// The words behind "--".
  std::vector<std::string> words;
};

/// The commands: they write to standard output and return the exit code. Failures are thrown.
int Boot(const BootOptions& options);
int Exec(const ExecOptions& options);

/// One word is a command line as it stands. Several are put together with blanks between them; those that
/// have blanks in them, or nothing, get double quotes unless they have some already.
std::string CommandLineOf(const std::vector<std::string>& words);

}  // namespace kvsim
