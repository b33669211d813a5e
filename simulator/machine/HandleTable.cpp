#include "machine/HandleTable.h"

namespace winsim {

void HandleTable::CloseAll() {
  while (!m_objects.empty()) {
    auto node = m_objects.extract(std::prev(m_objects.end()));
  }
}

std::vector<std::string> HandleTable::Describe() const {
  std::vector<std::string> result;
  for (const auto& [number, object] : m_objects) {
    result.push_back(object->Describe());
  }
  return result;
}

std::uintptr_t HandleTable::AddNumber(std::shared_ptr<Object> object) {
  m_next += 4;
  m_objects.emplace(m_next, std::move(object));
  return m_next;
}

}  // namespace winsim
