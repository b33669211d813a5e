#include "common/CommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "common/Failure.h"

namespace tools {
namespace {

/// How many letters must be put in, left out or changed to make one word of the other.
std::size_t Distance(const std::string& left, const std::string& right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), 0u);
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t changed = diagonal + (left[i] == right[j] ? 0 : 1);
      diagonal = std::exchange(row[j + 1], std::min({changed, row[j] + 1, row[j + 1] + 1}));
    }
  }
  return row.back();
}

/// The word that was meant by `typed`; empty when none is near enough.
std::string Nearest(const std::string& typed, const std::vector<std::string>& words) {
  std::string nearest;
  std::size_t least = std::min<std::size_t>(2, typed.size() / 2) + 1;
  for (const std::string& word : words) {
    if (const std::size_t distance = Distance(typed, word); distance < least) {
      least = distance;
      nearest = word;
    }
  }
  return nearest;
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : app.get_subcommands({})) {
    names.push_back(command->get_name());
  }
  return names;
}

std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
  return names;
}

/// What to say about a word that nothing takes.
std::string AboutUnknown(const std::string& word, const CLI::App& app, const CLI::App* command) {
  const bool isOption = word.starts_with('-');
  const std::string text = fmt::format("unknown {} '{}'",
                                       isOption             ? "option"
                                       : command == nullptr ? "command"
                                                            : "argument",
                                       word);
  const std::vector<std::string> words = isOption ? OptionNames(command == nullptr ? app : *command)
                                         : command == nullptr ? CommandNames(app)
                                                              : std::vector<std::string>();
  if (isOption && command != nullptr && std::find(words.begin(), words.end(), word) != words.end()) {
    return fmt::format("the option '{}' belongs behind the command {}", word, command->get_name());
  }
  const std::string nearest = Nearest(word, words);
  return nearest.empty() ? text : fmt::format("{} (did you mean '{}'?)", text, nearest);
}

}  // namespace

std::string CalledAs(const char* argv0, const char* tool) {
  const bool isScript = argv0 != nullptr && std::filesystem::path(argv0).filename() == "run";
  return isScript ? argv0 : tool;
}

void Parse(CLI::App& app, std::vector<std::string> words) {
  constexpr const char* hint = "is empty; is a variable of a script not set?";
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.empty()) {
      throw UsageError(
          fmt::format("{} {}", i == 0 ? "the first argument" : "what follows '" + words[i - 1] + "'", hint));
    }
    if (word.starts_with("--") && word.ends_with('=')) {
      throw UsageError(fmt::format("the value of '{}' {}", word, hint));
    }
  }
  if (!words.empty() && words.front() == "help") {
    const std::vector<std::string> commands = CommandNames(app);
    if (words.size() > 1 && std::find(commands.begin(), commands.end(), words[1]) == commands.end()) {
      throw UsageError(AboutUnknown(words[1], app, nullptr) + "; see " + app.get_name() + " --help");
    }
    words.front() = "--help";
    std::reverse(words.begin(), words.begin() + std::min<std::ptrdiff_t>(2, std::ssize(words)));
  }
  std::reverse(words.begin(), words.end());
  app.parse(std::move(words));
}

std::string UsageHint(const CLI::App& app, const CLI::ParseError& error) {
  const auto& commands = app.get_subcommands();
  const CLI::App* const command = commands.empty() ? nullptr : commands.front();
  // The parser's own message about unknown arguments lists them all and says little.
  const std::vector<std::string> unknown = app.remaining(true);
  std::string what = error.what();
  if (!unknown.empty()) {
    what = AboutUnknown(unknown.front(), app, command);
  } else if (command == nullptr && !CommandNames(app).empty()) {
    what = fmt::format("a command is missing: {}", fmt::join(CommandNames(app), ", "));
  }
  return fmt::format("{}; see {}{} --help", what, app.get_name(),
                     command == nullptr ? "" : ' ' + command->get_name());
}

}  // namespace tools
