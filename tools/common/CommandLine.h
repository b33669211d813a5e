#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace tools {

/// How the user calls the tool: `argv0` when that is the script "run", else the tool's own name.
std::string CalledAs(const char* argv0, const char* tool);

/// Parses the words behind the program's name; "help" and "help COMMAND" are the same as "--help". Throws
/// what CLI::App::parse throws, and UsageError for a word that is empty or an option whose value is: scripts
/// with a variable that is not set make such.
void Parse(CLI::App& app, std::vector<std::string> words);

/// What is wrong with a command line, in one line that ends with where to look; with what may have been meant
/// in place of an unknown word.
std::string UsageHint(const CLI::App& app, const CLI::ParseError& error);

}  // namespace tools
