#pragma once

#include "foundation/Object.h"
#include "foundation/PtrRef.h"

namespace LCommon::System {

/// What `Manager::DisableWow64FsRedirection` did: whether it switched redirection off and what to put back; a
/// new one stands for nothing switched.
class Wow64FsRedirectionState : public LRefObject {
 public:
  /// Notes that redirection was switched off; `previous` is the platform's own value.
  void SwitchedOff(void* previous) {
    m_supported = 1;
    m_previous = previous;
  }

  bool IsSupported() const { return m_supported != 0; }
  /// The previous value. Asserts "m_supported".
  void* GetState() const;

 private:
  unsigned int m_supported = 0;
  void* m_previous = nullptr;
};

/// Keeps the file-system redirection of 32-bit processes switched off for the calling thread as long as it
/// lives. Made and destroyed on the same thread. Making one throws what `Manager::DisableWow64FsRedirection`
/// does, the end what `Manager::RestoreWow64FsRedirection` does, unless another exception is ending the scope
/// already.
class Wow64FsRedirectionDisabler : public LObject {
 public:
  Wow64FsRedirectionDisabler();
  ~Wow64FsRedirectionDisabler() noexcept(false) override;

 private:
  const LPtrRef<Wow64FsRedirectionState> m_state;
  const int m_exceptionsBefore;
};

}  // namespace LCommon::System
