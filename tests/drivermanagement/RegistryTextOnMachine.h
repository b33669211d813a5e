#pragma once

#include <string>
#include <string_view>

#include "machine/Registry.h"

/// A key's contents on one line: its values as name=number, name="text" or name=hexadecimal bytes, those of
/// other types than REG_DWORD, REG_SZ and REG_BINARY with the type's number in front, then its subkeys as
/// name{contents}; "none" without the key.
std::string RegistryText(winsim::Registry& registry, std::u16string_view path);
