#pragma once

#include <string>

namespace winsim {

class Thread;

/// What a handle refers to. An object lives while a handle, or the machine, holds it; what closing its last
/// handle means on Windows happens in its destructor. Destructors run with the machine's state at hand, but
/// must not change it once the power is off.
class Object {
 public:
  virtual ~Object() = default;
  /// For traces: what the handle stands for, in UTF-8 ("HKLM\System", "file C:\x").
  virtual std::string Describe() const = 0;
};

/// An object whose handles CloseHandle closes. Other kinds (registry keys, services, searches) have a closing
/// function of their own and derive from Object directly.
class KernelObject : public Object {};

/// An object that can be waited on.
class Waitable : public KernelObject {
 public:
  /// Whether a wait of `thread` would end at once.
  virtual bool IsSignaled(const Thread& thread) const = 0;
  /// Takes what a satisfied wait takes (the ownership of a mutex). True when the previous owner died with it.
  virtual bool Acquire(Thread& thread) = 0;
};

}  // namespace winsim
