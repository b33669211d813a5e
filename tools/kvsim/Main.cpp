#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Errors.h"
#include "Report.h"
#include "common/CommandLine.h"
#include "common/Failure.h"
#include "common/Output.h"

namespace kvsim {
namespace {

constexpr const char* Footer = R"(Exit codes:
  0  done               (exec: the program's exit code, 255 for -1)
  2  the command line is wrong
  3  the machine cannot be read, or cannot start the command line
  4  the result cannot be written
  5  kvsim is incomplete: kvdel01.so is not beside it
Messages of kvsim itself begin with "kvsim: " and go to standard error.)";

int Report(const tools::Failure& failure, bool json) {
  return tools::Report("kvsim", failure, json, JsonSchema);
}

class ExecFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "Usage: kvsim exec MACHINE [OPTIONS] -- COMMAND LINE\n";
  }
};

void AddCommonOptions(CLI::App& command, CommonOptions& options) {
  command.add_option("MACHINE", options.machine, "Machine folder; it is only read")->required();
  command
      .add_option("--at", options.at,
                  "Time on the machine's clock (UTC), e.g. 2026-11-22T20:00:00Z; else now")
      ->type_name("TIME");
  command.add_option("--save", options.save, "Save the machine to a new or empty folder")
      ->type_name("FOLDER");
  command.add_flag("--json", options.json, "Write one JSON document instead of text");
  command.add_flag("--trace", options.trace, "Show every Windows function that the program calls");
}

int Run(int argc, char** argv) {
  // The command line behind "--" is the simulated machine's.
  char** const end = argv + argc;
  char** const dashes =
      std::find_if(argv, end, [](const char* word) { return std::string_view(word) == "--"; });
  const bool json =
      std::any_of(argv, dashes, [](const char* word) { return std::string_view(word) == "--json"; });

  BootOptions boot;
  ExecOptions exec;
  if (dashes != end) {
    exec.words.assign(dashes + 1, end);
  }
  CLI::App app("Puts kvdel01.exe on a simulated Windows machine and shows what it does there.", "kvsim");
  app.set_version_flag("--version", "kvsim " KVSIM_VERSION);
  app.footer(Footer);
  app.require_subcommand(1);
  CLI::App& bootCommand = *app.add_subcommand(
      "boot", "Starts the machine, once or several times, and tells what became of every driver and why");
  AddCommonOptions(bootCommand, boot);
  bootCommand.add_option("--starts", boot.starts, "Number of starts (1)")
      ->type_name("NUMBER")
      ->check(CLI::Range(1u, 10'000u).description(""));
  bootCommand
      .add_option("--every", boot.every, "Time from one start to the next, e.g. 12d, 1d12h, PT12H (1d)")
      ->type_name("DURATION");
  bootCommand.footer(Footer);
  CLI::App& execCommand = *app.add_subcommand(
      "exec", "Runs a command line on the started machine and ends with the program's exit code");
  execCommand.formatter(std::make_shared<ExecFormatter>());
  AddCommonOptions(execCommand, exec);
  execCommand.footer(
      std::string("The command line begins with the program, as in: -- kvdel01.exe can-remove-now\n") +
      Footer);

  try {
    try {
      app.parse(static_cast<int>(dashes - argv), argv);
      const bool isExec = execCommand.parsed();
      if (isExec == exec.words.empty()) {
        throw UsageError(isExec
                             ? "exec needs a command line behind '--', such as: -- kvdel01.exe can-remove-now"
                             : "only exec takes a command line behind '--'; see kvsim boot --help");
      }
      return isExec ? Exec(exec) : Boot(boot);
    } catch (const CLI::CallForVersion& version) {
      tools::Print(std::string(version.what()) + '\n');
    } catch (const CLI::Success& help) {
      app.exit(help);
    } catch (const CLI::ParseError& error) {
      throw UsageError(tools::UsageHint(app, error));
    }
    return ExitCode::done;
  } catch (const UsageError& error) {
    return Report({ExitCode::usageWrong, "usage", error.what()}, json);
  } catch (const winsim::MachineFolderError& error) {
    return Report({ExitCode::machineUnreadable, "machine", error.Text(), error.File(), error.Line()}, json);
  } catch (const CommandError& error) {
    return Report({ExitCode::machineUnreadable, "command", error.what()}, json);
  } catch (const winsim::SaveError& error) {
    return Report({ExitCode::resultNotWritten, "output", error.what()}, json);
  } catch (const tools::OutputError& error) {
    return Report({ExitCode::resultNotWritten, "output", error.what()}, json);
  } catch (const std::exception& error) {
    return Report({ExitCode::kvsimIncomplete, "kvsim", error.what()}, json);
  }
}

}  // namespace
}  // namespace kvsim

int main(int argc, char** argv) {
  return kvsim::Run(argc, argv);
}
