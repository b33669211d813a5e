#pragma once

#include <filesystem>
#include <string>

#include "machine/Registry.h"

namespace winsim {

/// Makes of the control sets in a registry file what they are on a running machine: System\CurrentControlSet
/// and the set that System\Select, Current, names are one key. With only one of the two in the file, the
/// other leads to it and stays unwritten; with both, as the registry editor exports them, CurrentControlSet
/// counts and both are written. Returns what the user should know about that, empty when there is nothing.
///
/// Throws MachineFolderError, for `file`, when the services of a machine are not there: a part of the
/// registry, or another one, would otherwise pass for a machine without drivers.
std::string SetUpControlSets(Registry& registry, const std::filesystem::path& file);

}  // namespace winsim
