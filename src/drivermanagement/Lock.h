#pragma once

#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "system/Mutex.h"

namespace DriverManagement {

/// The machine-wide lock around every installation and removal of the managed components, shared with all
/// other programs that work on them, across sessions and accounts: a named mutex open to everybody. One
/// thread that holds it may enter again; each `Enter` needs its own `Leave` on the same thread.
class Lock : public LRefObject {
 public:
  /// Makes or opens the mutex in the global namespace, or, where that is refused, in the session's own.
  /// Throws the exceptions of `LCommon::System::SecurityDescriptor` and `LCommon::System::Mutex`.
  Lock();

  /// Waits without limit. A holder that died leaves the lock free. `LCommon::System::Waiter::Exception` when
  /// the wait fails.
  void Enter();
  /// Throws the exceptions of `LCommon::System::Mutex`.
  void Leave();

 private:
  LPtrRef<LCommon::System::Mutex> m_mutex;
};

/// Holds a lock for the life of a scope, however the scope ends. Stays on its thread. A lock that cannot be
/// left throws what `Leave` does, unless another exception is ending the scope already.
class Locker : public LObject {
 public:
  /// A null `lock` is nothing to take.
  explicit Locker(LPtrRef<Lock> lock);
  ~Locker() noexcept(false) override;

 private:
  const LPtrRef<Lock> m_lock;
  const int m_exceptionsBefore;
};

}  // namespace DriverManagement
