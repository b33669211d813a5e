#pragma once

#include "foundation/ClassArray.h"
#include "foundation/Exception.h"
#include "foundation/Object.h"
#include "foundation/PtrRef.h"
#include "system/WaitableObject.h"

namespace LCommon::System {

/// Waits for one or all of up to 64 objects.
class Waiter : public LRefObject {
 public:
  /// A wait that the platform refused or that ended in an unknown way.
  class Exception : public LBaseException {
   public:
    using LBaseException::LBaseException;
  };
  class NoObjectsException : public Exception {
   public:
    using Exception::Exception;
  };
  class TooMuchObjectsException : public Exception {
   public:
    using Exception::Exception;
  };

  Waiter() = default;
  explicit Waiter(LPtrRef<WaitableObject> object) { Add(object); }

  void Add(LPtrRef<WaitableObject> object) { m_objects.Append(object); }

  /// Waits at most `timeout` milliseconds, without limit for `INFINITE`, until one object (with a non-zero
  /// `waitAll`: every object) is acquired. Returns the object that ended the wait, also one abandoned by its
  /// holder, or null on time-out. With a non-zero `alertable` queued procedure calls run meanwhile; the wait
  /// then goes on for the rest of its time.
  ///
  /// Throws `NoObjectsException` without objects, `TooMuchObjectsException` with more than 64 and `Exception`
  /// when the platform answers neither an object nor the time-out.
  LPtrRef<WaitableObject> Wait(unsigned int timeout, unsigned int waitAll, unsigned int alertable);

 private:
  LClassArray<LPtrRef<WaitableObject>, LPtrRef<WaitableObject>, 16> m_objects;
};

}  // namespace LCommon::System
