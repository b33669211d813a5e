#include "api/Call.h"
#include "api/PseudoHandles.h"

using namespace winsim;

BOOL WINAPI CloseHandle(HANDLE handle) {
  return BoolCall("CloseHandle", {Argument::Handle(handle)}, [&](Thread& thread) -> DWORD {
    const bool closed =
        handle == CurrentProcessHandle() || thread.process->handles.Close<KernelObject>(handle);
    return closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
  });
}
