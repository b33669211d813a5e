#pragma once

#include <memory>
#include <string>
#include <vector>

#include "foundation/UnicodeString.h"

// What tests need of a machine and the program has no wrappers for. Each kind of machine has its own.

/// The names of a registry key's values in any order.
std::vector<std::string> ValueNames(LUnicodeString path);

/// Makes the device ROOT\LEGACY_<SERVICE>\<instance> of the class "LegacyDriver", as Windows does for a
/// driver that is not Plug and Play. The class must exist; the service's name is in capitals.
void AddLegacyDevice(LUnicodeString service, LUnicodeString instance);

void MakeFolder(const wchar_t* path);
/// Of an empty folder.
void RemoveFolder(const wchar_t* path);

/// Uses the image file as running programs use theirs, until the end of the result.
std::shared_ptr<void> UseImage(LUnicodeString path);
