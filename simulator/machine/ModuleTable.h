#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "machine/Text.h"

namespace winsim {

/// The libraries that one process has loaded, with their counts. A handle is the module's base address;
/// nothing lies there.
class ModuleTable {
 public:
  /// A process begins with these, for good: kernel32, ntdll and advapi32.
  ModuleTable();

  /// The handle of a loaded library by its file name, or 0.
  std::uintptr_t Find(std::u16string_view fileName) const;
  /// Loads a library, or counts it once more.
  std::uintptr_t Load(std::u16string_view fileName);
  /// Gives up one count; false when `handle` is no loaded library's.
  bool Free(std::uintptr_t handle);
  /// File name of the library, or empty when `handle` is none's.
  std::u16string NameOf(std::uintptr_t handle) const;
  /// What the process loaded and has not freed, as texts.
  std::vector<std::string> Describe() const;

  /// Handle of the program itself.
  static constexpr std::uintptr_t ProgramHandle = 0x00400000;

 private:
  struct Module {
    std::uintptr_t handle;
    unsigned int count;
    bool permanent;
  };
  std::map<std::u16string, Module, CaseInsensitiveLess> m_modules;
  std::uintptr_t m_next = 0x70000000;
};

}  // namespace winsim
