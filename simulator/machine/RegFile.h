#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "machine/Registry.h"

namespace winsim {

/// A registry file that cannot be taken as it is. The message has one line: "FILE:LINE: what is wrong and
/// what is expected there".
class RegFileError : public std::runtime_error {
 public:
  RegFileError(const std::string& file, std::size_t line, const std::string& text);
  /// Counted from 1; a value that spans several lines is reported at its first.
  std::size_t Line() const { return m_line; }
  /// What is wrong and what is expected, without the place.
  const std::string& Text() const { return m_text; }

 private:
  std::size_t m_line;
  std::string m_text;
};

/// Told how many of the file's bytes have been read so far.
using RegFileProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Adds the keys and values of a registry file to `registry`: "Windows Registry Editor Version 5.00" in
/// UTF-16 or UTF-8, with a byte order mark or without, or REGEDIT4 in an ANSI code page (1252 for one that
/// is not known); keys below HKEY_LOCAL_MACHINE. Such a file describes what there is: lines that delete are
/// refused. Numbers have all their digits (dword 8, each byte 2), so that a line that was cut off is found.
/// Returns the line of the first byte that depends on the code page, 0 for none. Throws RegFileError, having
/// added what stands before the fault; std::runtime_error when the file cannot be read.
std::size_t LoadRegFile(const std::filesystem::path& file, Registry& registry,
                        const RegFileProgress& progress = {}, std::uint32_t ansiCodePage = 1252);
/// The same for the bytes of a file; `name` stands for it in messages.
std::size_t ParseRegFile(std::string_view bytes, const std::string& name, Registry& registry,
                         const RegFileProgress& progress = {}, std::uint32_t ansiCodePage = 1252);

/// Writes everything below HKEY_LOCAL_MACHINE as the registry editor exports it: UTF-16LE with a byte order
/// mark, in the order of names. Keys at the top that hold one key and nothing else are implied by those below
/// them, unless `isWritten`. The file takes the place of an older one only when it is complete. Throws
/// std::runtime_error when it cannot be written.
void SaveRegFile(const std::filesystem::path& file, Registry& registry);
/// The same as the bytes of a file.
std::string FormatRegFile(Registry& registry);

}  // namespace winsim
