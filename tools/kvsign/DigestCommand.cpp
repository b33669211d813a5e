#include <fmt/format.h>

#include "Commands.h"
#include "Errors.h"
#include "Image.h"
#include "Session.h"
#include "common/Output.h"

namespace kvsign {
namespace {

/// A line as sha512sum writes it: a backslash in front tells that the name has escapes in it.
std::string Line(const std::string& digest, const std::string& name) {
  std::string escaped;
  for (const char character : name) {
    escaped += character == '\\'   ? "\\\\"
               : character == '\n' ? "\\n"
               : character == '\r' ? "\\r"
                                   : std::string(1, character);
  }
  return fmt::format("{}{}  {}\n", escaped == name ? "" : "\\", digest, escaped);
}

}  // namespace

int PrintDigests(const std::vector<std::string>& files) {
  const Session session;
  int code = ExitCode::done;
  for (const std::string& name : files) {
    try {
      tools::Print(Line(Hexadecimal(DigestOf(name, ReadHostFile(name, MaximalImageSize).bytes)), name));
    } catch (const FileError& error) {
      Warn(error.file, error.what());
      code = ExitCode::refused;
    }
  }
  return code;
}

}  // namespace kvsign
