#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "machine/Object.h"

namespace winsim {

/// The handles of one process. Every kind of handle has its numbers from one sequence of multiples of four,
/// so that a handle given to a function of another kind is found out.
class HandleTable {
 public:
  /// A new handle to `object`, as the pointer-like value that the Windows functions hand out.
  template <class Handle>
  Handle Add(std::shared_ptr<Object> object) {
    return reinterpret_cast<Handle>(AddNumber(std::move(object)));
  }

  /// The object behind `handle` when it is one of kind T, else null.
  template <class T>
  std::shared_ptr<T> Find(const void* handle) const {
    const auto found = m_objects.find(NumberOf<T>(handle));
    return found == m_objects.end() ? nullptr : std::dynamic_pointer_cast<T>(found->second);
  }

  /// Closes `handle` when it refers to an object of kind T; false leaves everything as it was.
  template <class T>
  bool Close(const void* handle) {
    if (Find<T>(handle) == nullptr) {
      return false;
    }
    // Taken out first: the object's end may look at this table.
    auto node = m_objects.extract(NumberOf<T>(handle));
    return true;
  }

  /// Closes the first opened handle to an object of kind T for which `matches` holds; false when there is
  /// none.
  template <class T, class Predicate>
  bool CloseFirst(Predicate matches) {
    for (const auto& [number, object] : m_objects) {
      const auto candidate = std::dynamic_pointer_cast<T>(object);
      if (candidate != nullptr && matches(*candidate)) {
        return Close<T>(reinterpret_cast<const void*>(number));
      }
    }
    return false;
  }

  /// Closes every handle, the last opened first.
  void CloseAll();

  std::size_t Count() const { return m_objects.size(); }
  /// What the open handles refer to, the first opened first.
  std::vector<std::string> Describe() const;

 private:
  /// The two lowest bits of a handle to a kernel object do not count.
  template <class T>
  static std::uintptr_t NumberOf(const void* handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    return std::is_base_of_v<KernelObject, T> ? number & ~std::uintptr_t{3} : number;
  }

  std::uintptr_t AddNumber(std::shared_ptr<Object> object);

  std::map<std::uintptr_t, std::shared_ptr<Object>> m_objects;
  std::uintptr_t m_next = 0x40;
};

}  // namespace winsim
