#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tools {

/// What is wrong with a command line, in one line that ends with where to look.
std::string UsageHint(const CLI::App& app, const CLI::ParseError& error);

}  // namespace tools
