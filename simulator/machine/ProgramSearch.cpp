#include "machine/ProgramSearch.h"

#include <winbase.h>
#include <winerror.h>

#include <algorithm>
#include <optional>

#include "machine/Machine.h"

namespace winsim {
namespace {

bool HasDirectory(std::u16string_view name) {
  return name.find_first_of(u"\\/:") != std::u16string_view::npos;
}

/// The name, then the name with ".exe" unless it has an extension.
std::vector<std::u16string> Spellings(const std::u16string& name) {
  const std::size_t slash = name.find_last_of(u"\\/:");
  const bool hasExtension =
      name.find(u'.', slash == std::u16string::npos ? 0 : slash) != std::u16string::npos;
  return hasExtension ? std::vector{name} : std::vector{name, name + u".exe"};
}

/// Looks for one word of a command line. A word that is not found fails with what its bare spelling failed
/// with.
FoundProgram FindWord(Machine& machine, const PathContext& context, const std::u16string& word,
                      const std::vector<std::u16string>& directories) {
  std::vector<std::u16string> places = {u""};
  if (!HasDirectory(word)) {
    places.clear();
    for (const std::u16string& directory : directories) {
      places.push_back(directory + (directory.ends_with(u'\\') ? u"" : u"\\"));
    }
  }
  std::uint32_t firstError = ERROR_FILE_NOT_FOUND;
  for (const std::u16string& place : places) {
    for (const std::u16string& spelling : Spellings(word)) {
      FoundProgram found = FindProgramAt(machine, context, place + spelling);
      if (found.error != ERROR_FILE_NOT_FOUND && found.error != ERROR_PATH_NOT_FOUND) {
        return found;
      }
      if (HasDirectory(word)) {
        firstError = found.error;
      }
    }
  }
  return {firstError, {}, nullptr};
}

}  // namespace

FoundProgram FindProgramAt(Machine& machine, const PathContext& context, std::u16string_view path) {
  std::shared_ptr<KernelObject> object;
  bool existed = false;
  const std::uint32_t error = machine.files.Open(
      context, path, {GENERIC_READ | GENERIC_EXECUTE, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, 0},
      object, existed);
  if (error != 0) {
    return {error, {}, nullptr};
  }
  const auto file = std::dynamic_pointer_cast<FileObject>(object);
  if (file == nullptr) {
    return {ERROR_BAD_EXE_FORMAT, {}, nullptr};  // a device
  }
  FoundProgram found{0, file->Node()->Path(), machine.FindProgram(file->Node()->name)};
  if (found.program == nullptr) {
    found.error = ERROR_BAD_EXE_FORMAT;
  }
  return found;
}

FoundProgram FindProgramOf(Machine& machine, const PathContext& context, std::u16string_view commandLine,
                           const std::vector<std::u16string>& directories) {
  if (commandLine.starts_with(u'"')) {
    commandLine.remove_prefix(1);
    return FindWord(machine, context, std::u16string(commandLine.substr(0, commandLine.find(u'"'))),
                    directories);
  }
  std::optional<FoundProgram> firstFailure;
  for (std::size_t end = 0; end != commandLine.size();) {
    end = std::min(commandLine.find_first_of(u" \t", end + 1), commandLine.size());
    FoundProgram found = FindWord(machine, context, std::u16string(commandLine.substr(0, end)), directories);
    if (!found.path.empty()) {
      return found;
    }
    firstFailure = firstFailure.value_or(found);
  }
  return firstFailure.value_or(FoundProgram{ERROR_FILE_NOT_FOUND, {}, nullptr});
}

std::vector<std::u16string> ProgramDirectories(const Process& process) {
  const Machine& machine = process.GetMachine();
  std::vector<std::u16string> directories;
  if (const std::size_t slash = process.imagePath.rfind(u'\\'); slash != std::u16string::npos) {
    directories.push_back(process.imagePath.substr(0, slash));
  }
  directories.insert(directories.end(), {process.currentDirectory, machine.SystemDirectory(),
                                         machine.settings.windowsDirectory});
  if (const auto variable = process.environment.find(u"PATH"); variable != process.environment.end()) {
    const std::u16string& list = variable->second;
    for (std::size_t start = 0; start < list.size();) {
      const std::size_t end = std::min(list.find(u';', start), list.size());
      if (end > start) {
        directories.push_back(list.substr(start, end - start));
      }
      start = end + 1;
    }
  }
  return directories;
}

}  // namespace winsim
