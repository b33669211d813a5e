#pragma once

#include <windows.h>

#include <vector>

namespace winsim {

/// A function of a library, as GetProcAddress finds it.
struct ExportedFunction {
  const char* library;
  const char* name;
  FARPROC address;
};

/// A function's address without its type.
template <class Result, class... Arguments>
FARPROC Erase(Result(WINAPI* function)(Arguments...)) {
  // By way of the one function type that converts to every other without a warning.
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

// Functions that no header declares: programs get them from GetProcAddress alone.
std::vector<ExportedFunction> VersionExports();
std::vector<ExportedFunction> Wow64Exports();
std::vector<ExportedFunction> LibraryExports();

/// Every function of every library that the machine has.
const std::vector<ExportedFunction>& ExportedFunctions();

}  // namespace winsim
