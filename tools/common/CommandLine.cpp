#include "common/CommandLine.h"

#include <fmt/format.h>

namespace tools {

std::string UsageHint(const CLI::App& app, const CLI::ParseError& error) {
  const auto& commands = app.get_subcommands();
  const std::string command = commands.empty() ? "" : ' ' + commands.front()->get_name();
  // The parser's own message about unknown arguments lists them all and says little.
  const std::vector<std::string> unknown = app.remaining(true);
  const std::string what =
      unknown.empty() ? error.what() : fmt::format("unknown argument '{}'", unknown.front());
  return fmt::format("{}; see {}{} --help", what, app.get_name(), command);
}

}  // namespace tools
