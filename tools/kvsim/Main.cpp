#include <fmt/format.h>

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
  std::string make_usage(const CLI::App* command, std::string) const override {
    return fmt::format("Usage: {} exec MACHINE [OPTIONS] -- COMMAND LINE\n",
                       command->get_parent()->get_name());
  }
};

/// The end of a help text; in the examples "kvsim" is as the user calls it.
std::string FooterWith(std::string examples, const std::string& calledAs) {
  for (std::size_t at = 0; (at = examples.find("kvsim ", at)) != std::string::npos;
       at += calledAs.size() + 1) {
    examples.replace(at, 5, calledAs);
  }
  return "Examples:\n" + examples + '\n' + Footer;
}

constexpr const char* AppExamples = R"(  kvsim boot samples/workshop --at 2026-03-01T08:00:00Z --starts 2
  kvsim exec samples/workshop -- kvdel01.exe can-remove-now
  kvsim help boot
)";
constexpr const char* BootExamples = R"(  kvsim boot MACHINE                             what a start does now
  kvsim boot MACHINE --starts 5 --every 10d      and at the starts after it
  kvsim boot MACHINE --starts 3 --save after     the machine after the third one
  kvsim boot MACHINE --at 2026-11-22T20:00+01:00 --json
)";
constexpr const char* ExecExamples = R"(  kvsim exec MACHINE -- kvdel01.exe can-remove-now
  kvsim exec MACHINE --trace -- kvdel01.exe
  kvsim exec MACHINE -- '"C:\Program Files\x\kvdel01.exe" can-remove-now'
)";

void AddCommonOptions(CLI::App& command, CommonOptions& options) {
  command.add_option("MACHINE", options.machine, "Machine folder; it is only read")->required();
  command
      .add_option("--at", options.at,
                  "Time on the machine's clock, e.g. 2026-11-22T20:00:00Z or ...+01:00; else now")
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
  const std::string calledAs = tools::CalledAs(argv[0], "kvsim");
  CLI::App app("Puts kvdel01.exe on a simulated Windows machine and shows what it does there.", calledAs);
  app.set_version_flag("-V,--version", "kvsim " KVSIM_VERSION);
  app.footer(FooterWith(AppExamples, calledAs));
  app.require_subcommand(1);
  CLI::App& bootCommand = *app.add_subcommand(
      "boot", "Starts the machine, once or several times, and tells what became of every driver and why");
  AddCommonOptions(bootCommand, boot);
  CLI::Option* const starts = bootCommand.add_option("--starts", boot.starts, "Number of starts (1)")
                                  ->type_name("NUMBER")
                                  ->check(CLI::Range(1u, 10'000u).description(""));
  bootCommand
      .add_option("--every", boot.every, "Time from one start to the next, e.g. 12d, 1d12h, PT12H (1d)")
      ->type_name("DURATION")
      ->needs(starts);
  bootCommand.footer(FooterWith(BootExamples, calledAs));
  CLI::App& execCommand = *app.add_subcommand(
      "exec", "Runs a command line on the started machine and ends with the program's exit code");
  execCommand.formatter(std::make_shared<ExecFormatter>());
  AddCommonOptions(execCommand, exec);
  execCommand.footer(FooterWith(ExecExamples, calledAs));

  try {
    try {
      const bool isExec = dashes - argv > 1 && std::string_view(argv[1]) == "exec";
      const bool hasCommandLine = !exec.words.empty() && !exec.words.front().empty();
      try {
        tools::Parse(app, {argv + 1, dashes});
      } catch (const CLI::ExtrasError&) {
        // Most likely they are the command line.
        if (!isExec || hasCommandLine || app.remaining(true).front().starts_with('-')) {
          throw;
        }
      }
      if (isExec != hasCommandLine) {
        throw UsageError(
            isExec ? "exec needs a command line behind '--', such as: -- kvdel01.exe can-remove-now"
                   : fmt::format("only exec takes a command line behind '--'; see {} boot --help", calledAs));
      }
      return isExec ? Exec(exec) : Boot(boot);
    } catch (const CLI::CallForVersion& version) {
      tools::Print(std::string(version.what()) + '\n');
    } catch (const CLI::Success&) {
      tools::Print(app.help());
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
