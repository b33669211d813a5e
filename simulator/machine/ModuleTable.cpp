#include "machine/ModuleTable.h"

namespace winsim {

ModuleTable::ModuleTable() {
  for (const char16_t* const name : {u"kernel32.dll", u"ntdll.dll", u"advapi32.dll"}) {
    Load(name);
    m_modules.find(name)->second.permanent = true;
  }
}

std::uintptr_t ModuleTable::Find(std::u16string_view fileName) const {
  const auto found = m_modules.find(fileName);
  return found == m_modules.end() ? 0 : found->second.handle;
}

std::uintptr_t ModuleTable::Load(std::u16string_view fileName) {
  const auto [module, isNew] = m_modules.try_emplace(std::u16string(fileName), Module{m_next, 0, false});
  if (isNew) {
    m_next += 0x100000;
  }
  ++module->second.count;
  return module->second.handle;
}

bool ModuleTable::Free(std::uintptr_t handle) {
  for (auto module = m_modules.begin(); module != m_modules.end(); ++module) {
    if (module->second.handle == handle) {
      if (!module->second.permanent && --module->second.count == 0) {
        m_modules.erase(module);
      }
      return true;
    }
  }
  return false;
}

std::u16string ModuleTable::NameOf(std::uintptr_t handle) const {
  for (const auto& [name, module] : m_modules) {
    if (module.handle == handle) {
      return name;
    }
  }
  return {};
}

std::vector<std::string> ModuleTable::Describe() const {
  std::vector<std::string> result;
  for (const auto& [name, module] : m_modules) {
    if (!module.permanent) {
      result.push_back("library " + ToUtf8(name));
    }
  }
  return result;
}

}  // namespace winsim
