#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "machine/FileSystem.h"

namespace winsim {

class Process;

/// An executable file that was looked for.
struct FoundProgram {
  /// Why it cannot run: 2 no such file, 3 no such directory, 5 refused or a folder, 32 open for writing, 193
  /// no program that the machine knows; 0 when it can.
  std::uint32_t error = 0;
  /// Full path, spelled as on the disk.
  std::u16string path;
  /// The machine's program of that name.
  const std::function<int()>* program = nullptr;
};

/// The file that a path names, taken as it stands.
FoundProgram FindProgramAt(Machine& machine, const PathContext& context, std::u16string_view path);

/// The program that a command line begins with, by the rules of CreateProcess: its first word in quotes, or
/// else every beginning up to a space, the shortest first, with ".exe" when that has no extension. A word
/// without directory is looked for in `directories` in order.
FoundProgram FindProgramOf(Machine& machine, const PathContext& context, std::u16string_view commandLine,
                           const std::vector<std::u16string>& directories);

/// Where programs that `process` starts are looked for: its program's own directory, the current directory,
/// those of the system and of Windows, and those of the variable PATH.
std::vector<std::u16string> ProgramDirectories(const Process& process);

}  // namespace winsim
