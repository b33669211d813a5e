#include "api/Call.h"

// The thread's last error. Reading and setting it is no call to the machine: neither traced nor counted.

using namespace winsim;

DWORD WINAPI GetLastError() {
  return Thread::Current().lastError;
}

void WINAPI SetLastError(DWORD error) {
  Thread::Current().lastError = error;
}
