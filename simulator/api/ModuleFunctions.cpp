#include <algorithm>

#include "api/Call.h"
#include "api/RunTimeFunctions.h"
#include "machine/CodePages.h"

// Libraries. The machine has those whose functions it simulates, in the system directory, without files.

using namespace winsim;

namespace {

/// The file name that a library's name means: without the system directory, with ".dll" unless there is an
/// extension. Empty for a name that leads elsewhere.
std::u16string LibraryFile(const Machine& machine, std::u16string name) {
  const std::size_t slash = name.find_last_of(u"\\/");
  if (slash != std::u16string::npos) {
    if (!EqualsIgnoringCase(std::u16string_view(name).substr(0, slash), machine.SystemDirectory())) {
      return {};
    }
    name.erase(0, slash + 1);
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
  const std::u16string file = LibraryFile(thread.GetMachine(), name);
  if (!HasLibrary(thread.GetMachine(), file)) {
    error = ERROR_MOD_NOT_FOUND;
    return nullptr;
  }
  return reinterpret_cast<HMODULE>(thread.process->modules.Load(file));
}

HMODULE FindLoaded(Thread& thread, const std::u16string& name, DWORD& error) {
  const Machine& machine = thread.GetMachine();
  const std::u16string file = LibraryFile(machine, name);
  const std::uintptr_t handle = HasLibrary(machine, file) ? thread.process->modules.Find(file) : 0;
  if (handle == 0) {
    error = ERROR_MOD_NOT_FOUND;
  }
  return reinterpret_cast<HMODULE>(handle);
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
