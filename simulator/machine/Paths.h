#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace winsim {

// The rules by which Windows reads the text of a path. Nothing here looks at a disk.

/// The absolute path that GetFullPathName makes of `name`: slashes become backslashes, "." and ".." are
/// resolved, trailing dots and spaces go. Empty when nothing but spaces is left of the name.
std::u16string FullPath(std::u16string_view name, std::u16string_view currentDirectory);

/// Number of units in front of the last component of a full path; its length when it has none.
std::size_t FilePartOffset(std::u16string_view fullPath);

/// The root of a full path, with a trailing backslash: "C:\", "\\server\share\" or "\\.\name\"; empty when
/// there is none.
std::u16string RootOfPath(std::u16string_view fullPath);

/// The name by which the system opens a file: "\??\C:\...", "\??\UNC\server\share\..." or "\??\device". What
/// begins with "\\?\" or "\??\" is taken as it stands. Empty for an empty name.
std::u16string NtPath(std::u16string_view name, std::u16string_view currentDirectory);

/// The pieces between backslashes, empty ones too; none for an empty text.
std::vector<std::u16string> SplitAtBackslashes(std::u16string_view text);

/// Whether a component can be the name of a file or folder.
bool IsValidFileName(std::u16string_view name);

/// Whether `text` has the form of a drive: a letter and a colon.
bool IsDrive(std::u16string_view text);

/// The DOS device (NUL, CON, AUX, PRN, COM1 to COM9, LPT1 to LPT9) that the last component of a path stands
/// for, in whatever folder and with whatever extension, as it is spelled there; empty when it is none.
std::u16string_view DosDeviceName(std::u16string_view name);

/// The pattern that the system gets for the last component of a path that a program searches; `endedInDot`
/// when the path did, before its trailing dots and spaces went. "*.*" is everything and "*." what has no dot.
std::u16string SearchPattern(std::u16string_view name, bool endedInDot);

/// Whether a file name matches a pattern of the system, without regard to case, in steps of their lengths'
/// product. The wildcards: * any text, < any text without the name's last dot, > a unit but a dot, or none in
/// front of a dot and at the end, " a dot, or none at the end.
bool MatchesPattern(std::u16string_view name, std::u16string_view pattern);

}  // namespace winsim
