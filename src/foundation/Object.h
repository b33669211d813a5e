#pragma once

#include <atomic>
#include <cstddef>

/// The root polymorphic class of heap objects. Their memory comes from the memory manager: creating one
/// throws `std::bad_alloc` without memory or without a manager. Destructors of this family may report an
/// assertion and are therefore not `noexcept`.
class LObject {
 public:
  LObject() = default;
  LObject(const LObject&) = delete;
  LObject& operator=(const LObject&) = delete;
  virtual ~LObject() noexcept(false);

  /// Deletes the object, which must have been created with `new`.
  virtual void Release();

  static void* operator new(std::size_t size);
  static void operator delete(void* block) noexcept;
};

/// An object that counts its holders and is held through `LPtrRef`. A new object starts with one reference,
/// which belongs to its creator. The count changes atomically, so holders may live on several threads.
/// Classes reached along several paths of inheritance derive from it virtually, so that each object has one
/// count.
class LRefObject : public LObject {
 public:
  LRefObject() = default;
  /// Asserts that nobody but the creator still holds the object. While another exception unwinds the stack
  /// nothing is reported.
  ~LRefObject() noexcept(false) override;

  /// Gives one reference back; the last one deletes the object. Asserts that there is a reference.
  void Release() override;
  /// Takes one more reference. Asserts that there is one already.
  virtual void AddRef();

 private:
  std::atomic<unsigned int> m_uReferenceCount{1};
};
