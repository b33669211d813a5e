#pragma once

#include <memory>
#include <type_traits>

#include "system/WindowsApi.h"

// Libraries of Windows that the program is not linked with, because it seldom needs them or older versions of
// Windows lack them.

namespace LCommon::System {

/// The address of a function of `module`, null when there is no module or no such function.
template <class Function>
Function FindFunction(HMODULE module, const char* name) {
  if (!module) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

/// A module that this process loaded for itself.
struct ModuleCloser {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using LoadedModule = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleCloser>;

/// Loads a library by its full path in the system directory, so that no file of its name beside the program
/// is taken for it. A 32-bit process on 64-bit Windows gets its own also while the thread's file-system
/// redirection is off. Null when there is none. Throws `std::bad_alloc`.
LoadedModule LoadSystemLibrary(const wchar_t* fileName);

/// What libraries load in turn is from now on searched for in the system directory only, where Windows can do
/// that (since version 8). It holds for the whole process, so only a program calls it, and first of all.
void SearchOnlySystemDirectory();

}  // namespace LCommon::System
