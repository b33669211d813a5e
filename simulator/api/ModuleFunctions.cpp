#include <algorithm>

#include "api/Call.h"
#include "api/RunTimeFunctions.h"
#include "machine/CodePages.h"

// Libraries. The machine has those whose functions it simulates, in the system directory; no other directory
// has any.

using namespace winsim;

namespace {

/// Empty for a name without one.
std::u16string_view DirectoryOf(std::u16string_view name) {
  const std::size_t slash = name.find_last_of(u"\\/");
  return name.substr(0, slash == std::u16string_view::npos ? 0 : slash);
}

/// The directory of a 32-bit process's own libraries on a 64-bit Windows.
bool IsWow64Directory(const Thread& thread, std::u16string_view directory) {
  return thread.process->wow64 && EqualsIgnoringCase(directory, thread.GetMachine().Wow64Directory());
}

/// The file name that a library's name means: without the system directory, with ".dll" unless there is an
/// extension. Empty for a name that leads elsewhere.
std::u16string LibraryFile(const Thread& thread, std::u16string name) {
  if (const std::u16string_view directory = DirectoryOf(name); !directory.empty()) {
    if (!EqualsIgnoringCase(directory, thread.GetMachine().SystemDirectory()) &&
        !IsWow64Directory(thread, directory)) {
      return {};
    }
    name.erase(0, directory.size() + 1);
  }
  if (name.ends_with(u'.')) {
    name.pop_back();
  } else if (name.find(u'.') == std::u16string::npos) {
    name += u".dll";
  }
  return name;
}

bool HasLibrary(const Machine& machine, const std::u16string& file) {
  const auto& functions = ExportedFunctions();
  return machine.settings.missingModules.count(file) == 0 &&
         std::any_of(functions.begin(), functions.end(), [&](const ExportedFunction& function) {
           return EqualsIgnoringCase(FromUtf8(function.library), file);
         });
}

HMODULE Load(Thread& thread, const std::u16string& name, DWORD& error) {
  if (name.empty()) {
    error = ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  const std::u16string file = LibraryFile(thread, name);
  if (!HasLibrary(thread.GetMachine(), file)) {
    error = ERROR_MOD_NOT_FOUND;
    return nullptr;
  }
  // Without redirection all other names lead to the 64-bit library.
  if (thread.redirectionDisabled && !IsWow64Directory(thread, DirectoryOf(name)) &&
      thread.process->modules.Find(file) == 0) {
    error = ERROR_BAD_EXE_FORMAT;
    return nullptr;
  }
  return reinterpret_cast<HMODULE>(thread.process->modules.Load(file));
}

HMODULE FindLoaded(Thread& thread, const std::u16string& name, DWORD& error) {
  const std::u16string file = LibraryFile(thread, name);
  const std::uintptr_t handle =
      HasLibrary(thread.GetMachine(), file) ? thread.process->modules.Find(file) : 0;
  if (handle == 0) {
    error = ERROR_MOD_NOT_FOUND;
  }
  return reinterpret_cast<HMODULE>(handle);
}

/// What libraries need in turn is not searched for here, so only the flags matter.
BOOL WINAPI SetDefaultDllDirectories(DWORD flags) {
  return BoolCall("SetDefaultDllDirectories", {flags}, [&](Thread&) -> DWORD {
    constexpr DWORD known = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_USER_DIRS |
                            LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
    return flags == 0 || (flags & ~known) != 0 ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
  });
}

bool IsProgram(HMODULE module) {
  return module == nullptr || reinterpret_cast<std::uintptr_t>(module) == ModuleTable::ProgramHandle;
}

}  // namespace

HMODULE WINAPI LoadLibraryA(LPCSTR name) {
  return ValueCall<HMODULE>("LoadLibraryA", {name}, nullptr, [&](Thread& thread, DWORD& error) {
    return Load(thread, FromAnsiFileName(thread.GetMachine(), name), error);
  });
}

HMODULE WINAPI LoadLibraryW(LPCWSTR name) {
  return ValueCall<HMODULE>("LoadLibraryW", {name}, nullptr, [&](Thread& thread, DWORD& error) {
    return Load(thread, FromWide(name), error);
  });
}

HMODULE WINAPI GetModuleHandleA(LPCSTR name) {
  return ValueCall<HMODULE>("GetModuleHandleA", {name}, nullptr, [&](Thread& thread, DWORD& error) {
    return name == nullptr ? reinterpret_cast<HMODULE>(ModuleTable::ProgramHandle)
                           : FindLoaded(thread, FromAnsiFileName(thread.GetMachine(), name), error);
  });
}

HMODULE WINAPI GetModuleHandleW(LPCWSTR name) {
  return ValueCall<HMODULE>("GetModuleHandleW", {name}, nullptr, [&](Thread& thread, DWORD& error) {
    return name == nullptr ? reinterpret_cast<HMODULE>(ModuleTable::ProgramHandle)
                           : FindLoaded(thread, FromWide(name), error);
  });
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
  // Small numbers are ordinals, which none of the libraries has.
  const bool isOrdinal = reinterpret_cast<std::uintptr_t>(name) < 0x10000;
  return ValueCall<FARPROC>(
      "GetProcAddress", {isOrdinal ? "" : name}, nullptr, [&](Thread& thread, DWORD& error) -> FARPROC {
        const std::u16string library =
            thread.process->modules.NameOf(reinterpret_cast<std::uintptr_t>(module));
        if (library.empty() && !IsProgram(module)) {
          error = ERROR_MOD_NOT_FOUND;
          return nullptr;
        }
        if (isOrdinal) {
          error = ERROR_INVALID_ORDINAL;
          return nullptr;
        }
        const std::string_view wanted = name;
        if (thread.GetMachine().settings.missingFunctions.count(std::string(wanted)) == 0) {
          for (const ExportedFunction& function : ExportedFunctions()) {
            if (function.name == wanted && EqualsIgnoringCase(FromUtf8(function.library), library)) {
              return function.address;
            }
          }
        }
        error = ERROR_PROC_NOT_FOUND;
        return nullptr;
      });
}

BOOL WINAPI FreeLibrary(HMODULE module) {
  return BoolCall("FreeLibrary", {}, [&](Thread& thread) -> DWORD {
    if (module == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    const bool freed =
        IsProgram(module) || thread.process->modules.Free(reinterpret_cast<std::uintptr_t>(module));
    return freed ? ERROR_SUCCESS : ERROR_MOD_NOT_FOUND;
  });
}

namespace winsim {

std::vector<ExportedFunction> LibraryExports() {
  return {{"kernel32.dll", "SetDefaultDllDirectories", Erase(&::SetDefaultDllDirectories)}};
}

}  // namespace winsim
