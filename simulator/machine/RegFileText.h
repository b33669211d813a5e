#pragma once

#include <string>
#include <string_view>

#include "machine/CodePages.h"

namespace winsim {

/// The text of a registry file.
struct RegFileText {
  std::u16string units;
  /// In the file.
  unsigned int bytesPerUnit = 1;
  /// REGEDIT4, whose texts are in an ANSI code page.
  bool isOld = false;
  /// The line of the first byte that depends on that code page; 0 for none.
  std::size_t ansiLine = 0;
};

/// Tells the encoding of a file by its first bytes: UTF-16 of either order or UTF-8, with a byte order mark
/// or without, or, for REGEDIT4, `ansiCodePage`. Throws RegFileError, with `name`, for bytes that are none of
/// it.
RegFileText DecodeRegFile(std::string_view bytes, const std::string& name, const CodePage& ansiCodePage);

}  // namespace winsim
