#pragma once

#include <string>
#include <string_view>

namespace tools {

/// `text` (UTF-8) with what a terminal would obey and not show replaced: control characters but for line
/// breaks, direction marks and others that are invisible become "<U+202E>", bytes that are no UTF-8 "?".
/// Names on a machine are not commands to the terminal, and none looks like another.
std::string Printable(std::string_view text);
/// The same, line breaks too.
std::string OneLine(std::string_view text);

/// The text of a JSON document with the same characters, which may stand in its strings only, as "\u202e".
std::string PrintableJson(std::string_view document);

}  // namespace tools
