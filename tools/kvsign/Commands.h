#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kvsign {

struct SignOptions {
  std::string key;
  std::string input;
  std::string output;
  bool keepDiscardable = false;
};

struct VerifyOptions {
  std::optional<std::string> key;  // else the one built into the product
  std::vector<std::string> files;
  bool json = false;
};

struct InfoOptions {
  std::string file;
  bool json = false;
};

struct ExportKeyOptions {
  std::string key;
  std::optional<std::string> output;  // else standard output
};

/// The number of the form of all JSON that kvsign writes; it rises when a reader could stumble.
inline constexpr int JsonSchema = 1;

// The commands: they write to standard output and return the exit code. Failures are thrown.

int Sign(const SignOptions& options);
int Verify(const VerifyOptions& options);
int PrintDigests(const std::vector<std::string>& files);
int Info(const InfoOptions& options);
int ExportKey(const ExportKeyOptions& options);

/// One line about a file on standard error: "kvsign: FILE: MESSAGE".
void Warn(const std::string& file, const std::string& message);

}  // namespace kvsign
