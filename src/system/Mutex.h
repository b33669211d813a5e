#pragma once

#include "foundation/Exception.h"
#include "foundation/UnicodeString.h"
#include "system/SecurityDescriptor.h"
#include "system/WaitableObject.h"

namespace LCommon::System {

/// A mutex, shared by its name between processes. It is taken with `Wait`; whoever acquired it must `Leave`
/// it on the same thread. The platform's mutex goes with its last handle anywhere.
///
/// A failing platform call throws `AccessDeniedException` for error 5, otherwise `Exception`; both carry the
/// code.
class Mutex : public WaitableObject {
 public:
  class Exception : public WindowsErrorException {
   public:
    using WindowsErrorException::WindowsErrorException;
  };
  class AccessDeniedException : public Exception {
   public:
    using Exception::Exception;
  };

  /// The namespace of a name: as the name says, of the session, of the machine. Before Windows 2000 there is
  /// one namespace only and the name is used as given.
  enum NsType { nsDefault = 0, nsLocal = 1, nsGlobal = 2 };

  /// See `Initialize`.
  Mutex(LUnicodeString name, NsType ns, unsigned int inheritHandle, LPtrRef<SecurityDescriptor> descriptor);

  /// Creates the mutex, owned by nobody, or opens the one that has this name. An empty name makes an unnamed
  /// mutex, a null `descriptor` asks for the default security; with a non-zero `inheritHandle` child
  /// processes inherit the handle. Replaces the mutex held so far, unless it fails.
  void Initialize(LUnicodeString name, NsType ns, unsigned int inheritHandle,
                  LPtrRef<SecurityDescriptor> descriptor);

  /// Gives up the calling thread's ownership.
  void Leave();
};

}  // namespace LCommon::System
