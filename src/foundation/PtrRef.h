#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

/// The intrusive pointer to an `LRefObject` or a class derived from it: each non-null instance holds one
/// reference. Null is valid and stands for the absence of an object. One instance is not safe for use on
/// several threads; instances on different threads may hold the same object.
template <class T>
class LPtrRef {
 public:
  LPtrRef() noexcept = default;
  LPtrRef(std::nullptr_t) noexcept {}
  /// Adopts the creator's reference to a new object: the count does not change.
  explicit LPtrRef(T* object) noexcept : m_object(object) {}
  LPtrRef(const LPtrRef& other) : LPtrRef(other.Get(), AddReference{}) {}
  LPtrRef(LPtrRef&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
  /// Points to the `T` part of the other's target, holding a reference of its own.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  LPtrRef(const LPtrRef<U>& other) : LPtrRef(other.Get(), AddReference{}) {}
  virtual ~LPtrRef() noexcept(false) {
    if (m_object) m_object->Release();
  }

  /// The pointer has its new value before the old target is released, so that a target whose destructor looks
  /// at the pointer never finds itself.
  LPtrRef& operator=(LPtrRef other) {
    std::swap(m_object, other.m_object);
    return *this;
  }

  T* Get() const { return m_object; }
  bool Valid() const { return m_object != nullptr; }
  explicit operator bool() const { return Valid(); }

  /// Only on a pointer that is not null.
  T* operator->() const { return m_object; }
  T& operator*() const { return *m_object; }

  /// A pointer to the object with a reference of its own: for code that has no `LPtrRef` to copy, such as an
  /// object that hands out itself.
  static LPtrRef Share(T* object) { return LPtrRef(object, AddReference{}); }

 private:
  struct AddReference {};
  LPtrRef(T* object, AddReference) : m_object(object) {
    if (m_object) m_object->AddRef();
  }

  T* m_object = nullptr;
};

/// A new `T` made from `arguments`, held by the returned pointer alone.
template <class T, class... Args>
LPtrRef<T> LMakeRef(Args&&... arguments) {
  return LPtrRef<T>(new T(std::forward<Args>(arguments)...));
}

/// The same object as a `T`; null when `object` is null or of another kind.
template <class T, class U>
LPtrRef<T> LDynamicCast(const LPtrRef<U>& object) {
  return LPtrRef<T>::Share(dynamic_cast<T*>(object.Get()));
}
