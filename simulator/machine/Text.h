#pragma once

#include <string>
#include <string_view>

namespace winsim {

// Text inside the machine is UTF-16 in std::u16string; the Windows functions speak wchar_t of 16 bits. Text
// passes between the two by copying units.

/// The units up to the terminator; empty for null.
std::u16string FromWide(const wchar_t* text);
std::u16string FromWide(const wchar_t* text, std::size_t length);

/// Copies `text` and a terminator to `target`, which must have room for them.
void CopyToWide(std::u16string_view text, wchar_t* target);

/// Unpaired surrogates become U+FFFD.
std::string ToUtf8(std::u16string_view text);
/// Malformed sequences become U+FFFD.
std::u16string FromUtf8(std::string_view text);

/// The form in which names are compared: each unit in upper case (ASCII, Latin-1, Latin Extended-A, Greek and
/// Cyrillic letters), as the registry and file systems of Windows do it unit by unit.
std::u16string FoldCase(std::u16string_view text);
char16_t FoldCase(char16_t unit);
bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right);

/// Orders names as the registry lists them.
struct CaseInsensitiveLess {
  using is_transparent = void;
  bool operator()(std::u16string_view left, std::u16string_view right) const;
};

}  // namespace winsim
