#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <string_view>

#include "Commands.h"
#include "Errors.h"
#include "common/CommandLine.h"
#include "common/Failure.h"
#include "common/Output.h"
#include "foundation/Exception.h"

namespace kvsign {

void Warn(const std::string& file, const std::string& message) {
  tools::Report("kvsign", {0, "", message, file}, false, JsonSchema);
}

namespace {

constexpr const char* Footer = R"(Exit codes; of several files the worst counts:
  0  done; valid
  1  not valid: no signature, or not this image's
  2  the command line is wrong
  3  an image or a key cannot be read, or is refused: the reason is told
  4  the result cannot be written
  5  a fault of kvsign itself
Messages begin with "kvsign: " and go to standard error.)";

int Report(const tools::Failure& failure, bool json) {
  return tools::Report("kvsign", failure, json, JsonSchema);
}

/// The commands and their options.
class CommandLine {
 public:
  CommandLine() {
    app.set_version_flag("-V,--version", "kvsign " KVSIGN_VERSION);
    app.footer(FooterWith("kvsign verify kvlnk03.sys\n  kvsign help sign"));
    app.require_subcommand(1);

    signCommand = Add("sign", "Signs an image and writes the signed one to OUT, which may be IN",
                      "kvsign sign --key private.pem kvlnk03.sys signed/kvlnk03.sys");
    signCommand->add_option("--key", sign.key, "Private key (RSA, 1024 bits, PEM, not encrypted)")
        ->type_name("KEY.pem")
        ->required();
    signCommand->add_flag("--keep-discardable", sign.keepDiscardable,
                          "Refuse an image whose imports or relocations are discardable; without it\n"
                          "their sections cease to be discardable");
    signCommand->add_option("IN", sign.input, "Image to sign (.sys, .dll, .exe)")->required();
    signCommand->add_option("OUT", sign.output, "Signed image")->required();

    verifyCommand = Add("verify", "Tells whether images carry a valid signature, one line for each",
                        "kvsign verify *.sys\n  kvsign verify --key public.pem --json kvlnk03.sys");
    verifyCommand->add_option("--key", verify.key, "Public key to verify with; else the product's own")
        ->type_name("PUB.pem");
    verifyCommand->add_flag("--json", verify.json, "Write one JSON document instead of text");
    verifyCommand->add_option("FILE", verify.files, "Images")->required();

    digestCommand =
        Add("digest", "Prints the SHA-512 of what a signature covers, as sha512sum does for files",
            "kvsign digest kvlnk03.sys");
    digestCommand->add_option("FILE", digestFiles, "Images")->required();

    infoCommand = Add("info", "Shows an image's headers and sections, and what of them a signature covers",
                      "kvsign info kvlnk03.sys\n  kvsign info --json kvlnk03.sys");
    infoCommand->add_flag("--json", info.json, "Write one JSON document instead of text");
    infoCommand->add_option("FILE", info.file, "Image")->required();

    exportCommand = Add("export-key",
                        "Writes a public key as the source file that the build takes "
                        "(-DKV_PUBLIC_KEY=FILE)",
                        "kvsign export-key public.pem --output PublicKey.cpp");
    exportCommand->add_option("--output", exportKey.output, "File to write; else standard output")
        ->type_name("FILE");
    exportCommand->add_option("PUB.pem", exportKey.key, "Public key (RSA, 1024 bits, PEM)")->required();
  }

  int Run() const {
    return signCommand->parsed()     ? Sign(sign)
           : verifyCommand->parsed() ? Verify(verify)
           : digestCommand->parsed() ? PrintDigests(digestFiles)
           : infoCommand->parsed()   ? Info(info)
                                     : ExportKey(exportKey);
  }

  CLI::App app{"Signs driver images for kvdel01, and verifies and explains their signatures.", "kvsign"};

 private:
  static std::string FooterWith(const std::string& examples) {
    return "Examples:\n  " + examples + "\n\n" + Footer;
  }

  CLI::App* Add(const char* name, const char* text, const char* example) {
    CLI::App* const command = app.add_subcommand(name, text);
    command->footer(FooterWith(example));
    return command;
  }

  SignOptions sign;
  VerifyOptions verify;
  std::vector<std::string> digestFiles;
  InfoOptions info;
  ExportKeyOptions exportKey;
  CLI::App* signCommand;
  CLI::App* verifyCommand;
  CLI::App* digestCommand;
  CLI::App* infoCommand;
  CLI::App* exportCommand;
};

int Run(int argc, char** argv) {
  const bool json =
      std::any_of(argv, argv + argc, [](const char* word) { return std::string_view(word) == "--json"; });
  CommandLine line;
  try {
    try {
      tools::Parse(line.app, {argv + 1, argv + argc});
      return line.Run();
    } catch (const CLI::CallForVersion& version) {
      tools::Print(std::string(version.what()) + '\n');
    } catch (const CLI::Success& help) {
      line.app.exit(help);
    } catch (const CLI::ParseError& error) {
      throw UsageError(tools::UsageHint(line.app, error));
    }
    return ExitCode::done;
  } catch (const UsageError& error) {
    return Report({ExitCode::usageWrong, "usage", error.what()}, json);
  } catch (const FileError& error) {
    return Report({ExitCode::refused, "file", error.what(), error.file}, json);
  } catch (const tools::OutputError& error) {
    return Report({ExitCode::resultNotWritten, "output", error.what()}, json);
  } catch (const std::bad_alloc&) {
    return Report({ExitCode::refused, "file", "there is not enough memory"}, json);
  } catch (const std::exception& error) {
    return Report({ExitCode::internalFault, "kvsign", error.what()}, json);
  } catch (const LBaseException& error) {
    return Report({ExitCode::internalFault, "kvsign",
                   fmt::format("unexpected failure at line {} of {}", error.Line(), error.Function())},
                  json);
  }
}

}  // namespace
}  // namespace kvsign

int main(int argc, char** argv) {
  return kvsign::Run(argc, argv);
}
