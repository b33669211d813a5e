#include <fmt/format.h>

#include <string_view>

#include "Commands.h"
#include "Errors.h"
#include "HostFile.h"
#include "Key.h"
#include "common/Output.h"

namespace kvsign {
namespace {

constexpr mode_t NewFileMode = 0644;

constexpr std::string_view Source =
    R"(// A public key for the build, as `kvsign export-key` writes it. SHA-256 of its DER form:
// {}

#include "imagesigning/BuiltInKey.h"

// clang-format off
const DriverManagement::ImageSigning1::PublicKey DriverManagement::ImageSigning1::BuiltInKey = {{
    {{{}}},
    {{{}}}}};
)";

/// Sixteen bytes to a line.
template <std::size_t Size>
std::string ByteList(const unsigned char (&bytes)[Size]) {
  std::string text;
  for (std::size_t index = 0; index < Size; ++index) {
    const char* const separator = index == 0 ? "\n     " : index % 16 == 0 ? ",\n     " : ", ";
    text += fmt::format("{}0x{:02X}", separator, bytes[index]);
  }
  return text;
}

}  // namespace

int ExportKey(const ExportKeyOptions& options) {
  const NamedPublicKey key = ReadPublicKey(options.key);
  const std::string source =
      fmt::format(Source, key.fingerprint, ByteList(key.numbers.exponent), ByteList(key.numbers.modulus));
  if (options.output) {
    WriteHostFile(*options.output, Bytes(source.begin(), source.end()), NewFileMode);
  } else {
    tools::Print(source);
  }
  return ExitCode::done;
}

}  // namespace kvsign
