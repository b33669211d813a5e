#include "system/Waiter.h"

namespace LCommon::System {

namespace {

/// The handles of one wait.
struct Handles {
  DWORD count = 0;
  HANDLE values[MAXIMUM_WAIT_OBJECTS];

  DWORD Wait(unsigned int waitAll, unsigned int timeout, BOOL alertable) const {
    return WaitForMultipleObjectsEx(count, values, waitAll ? TRUE : FALSE, timeout, alertable);
  }
};

/// Waits again for the rest of the time whenever a queued procedure call ended the platform's wait.
DWORD WaitAlertably(const Handles& handles, unsigned int waitAll, unsigned int timeout) {
  const DWORD start = timeout == INFINITE ? 0 : GetTickCount();
  DWORD remaining = timeout;
  for (;;) {
    const DWORD result = handles.Wait(waitAll, remaining, TRUE);
    if (result != WAIT_IO_COMPLETION) return result;
    if (timeout == INFINITE) continue;
    const DWORD elapsed = GetTickCount() - start;
    if (elapsed >= timeout) return WAIT_TIMEOUT;
    remaining = timeout - elapsed;
  }
}

}  // namespace

LPtrRef<WaitableObject> Waiter::Wait(unsigned int timeout, unsigned int waitAll, unsigned int alertable) {
  if (m_objects.Length() == 0) throw NoObjectsException(L_HERE);
  if (m_objects.Length() > MAXIMUM_WAIT_OBJECTS) throw TooMuchObjectsException(L_HERE);
  Handles handles;
  while (handles.count < m_objects.Length()) {
    handles.values[handles.count] = m_objects[handles.count]->GetHandle()->Get();
    ++handles.count;
  }

  const DWORD result =
      alertable ? WaitAlertably(handles, waitAll, timeout) : handles.Wait(waitAll, timeout, FALSE);
  if (result == WAIT_TIMEOUT) return nullptr;
  if (result < handles.count) return m_objects[result];
  if (result >= WAIT_ABANDONED_0 && result - WAIT_ABANDONED_0 < handles.count) {
    return m_objects[result - WAIT_ABANDONED_0];
  }
  throw Exception(L_HERE);
}

}  // namespace LCommon::System
