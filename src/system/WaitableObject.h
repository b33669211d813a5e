#pragma once

#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "system/Handle.h"

namespace LCommon::System {

/// A kernel object that can be waited on.
class WaitableObject : public LRefObject {
 public:
  explicit WaitableObject(LPtrRef<Handle> handle) : m_handle(handle) {}

  LPtrRef<Handle> GetHandle() const { return m_handle; }

  /// Waits at most `timeout` milliseconds, without limit for `INFINITE`. True when the object was acquired,
  /// also from a holder that ended without leaving it; false on time-out. A non-zero `alertable` lets queued
  /// procedure calls run meanwhile, which does not shorten or lengthen the wait. Throws `Waiter::Exception`.
  bool Wait(unsigned int timeout, unsigned int alertable);

 protected:
  WaitableObject() = default;

  /// Takes `handle` in place of the one held so far.
  void SetHandle(LPtrRef<Handle> handle) { m_handle = handle; }

 private:
  LPtrRef<Handle> m_handle;
};

}  // namespace LCommon::System
