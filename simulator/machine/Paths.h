#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace winsim {

// The rules by which Windows reads the text of a path. Nothing here looks at a disk. Not modelled: the file
// names that stand for DOS devices (NUL, CON ...), and a current directory for each drive (a path relative to
// another drive than the current one begins at that drive's root).

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

/// Whether a file name matches a search pattern of FindFirstFile with its * and ?, without regard to case. As
/// on Windows "*.*" matches names without a dot too, "*." those only, and ? also stands for no character
/// before a dot and at the end.
bool MatchesPattern(std::u16string_view name, std::u16string_view pattern);

}  // namespace winsim
