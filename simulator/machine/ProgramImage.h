#pragma once

#include <string>

#include "machine/Machine.h"

namespace winsim {

/// A program in a shared module of the host that exports WinMain. Every process gets a copy of the module of
/// its own, so that it begins with fresh globals, as on Windows. Throws std::runtime_error when the module
/// cannot be read or loaded or has no WinMain.
Program LoadProgramImage(const std::string& modulePath);

/// Path of the file `name` in the directory of the running host program.
std::string BesideThisProgram(const std::string& name);

}  // namespace winsim
